// SPDX-License-Identifier: MIT
#include "tests/sweeps/Cases.h"

#include <map>
#include <sstream>

#include "vboard/text/Format.h"

namespace sweeps {
namespace {

using Words = std::vector<std::string>;

const Words& OutcomesOf(const std::string& kind, bool thorough) {
    static const std::map<std::string, Words> kUsual{
        {"open", {"enoent", "eacces", "eio", "ebusy", "enxio", "silence"}},
        {"fopen", {"enoent", "eacces", "eio", "emfile", "silence"}},
        {"read",
         {"eio", "eintr", "eagain", "short 0", "bytes 41", "bytes a0", "bytes 90 90", "silence"}},
        {"write", {"eio", "eintr", "eagain", "short 0", "silence"}},
        {"flush", {"eio", "ebusy", "einval", "eperm", "short 0", "silence"}},
        {"close", {"eio", "eintr", "silence"}},
        {"ioctl", {"enotty", "eio", "einval", "silence"}},
        {"select", {"eintr", "ebadf", "timeout", "silence"}},
        {"tcsetattr", {"einval", "eio", "enotty", "silence"}},
        {"pause", {"silence"}},
    };
    static const std::map<std::string, Words> kMore = [] {
        std::map<std::string, Words> more = kUsual;
        for (auto& [name, words] : more) {
            if (name != "pause") {
                words.insert(words.end(), {"enodev", "eperm", "enomem", "eoverflow"});
            }
        }
        more["read"].insert(more["read"].end(), {"bytes 00", "bytes ff", "bytes 90 a0"});
        return more;
    }();
    return (thorough ? kMore : kUsual).at(kind);
}

void AddCalls(std::size_t image, const Places& places, bool thorough, std::vector<Case>& cases) {
    for (std::size_t i = 0; i < places.calls.size(); ++i) {
        const Places::Call& call = places.calls[i];
        const auto add = [&](const std::string& outcome) {
            cases.push_back({image, {vboard::Formatted("call#{}={}", i + 1, outcome)}, false, {}});
        };
        for (const std::string& outcome : OutcomesOf(call.kind, thorough)) {
            add(outcome);
        }
        if ((call.kind == "write" || call.kind == "flush") && call.sizeBytes > 1) {
            add("short 1");
            add(vboard::Formatted("short {}", call.sizeBytes - 1));
        }
    }
}

/// The program killed, or the chip's power cut, at each call; then the same update once more.
void AddInterruptions(std::size_t image, const Places& places, std::vector<Case>& cases) {
    for (std::size_t i = 1; i <= places.calls.size(); ++i) {
        cases.push_back({image, {vboard::Formatted("call#{}=kill", i)}, true, {}});
        cases.push_back(
            {image, {vboard::Formatted("call#{}=power off", i)}, true, {"power@0s=on"}});
        cases.push_back({image, {vboard::Formatted("call#{}=power off 20ms", i)}, true, {}});
    }
}

void AddWire(std::size_t image, const Places& places, bool thorough, std::vector<Case>& cases) {
    const auto add = [&](const char* direction, unsigned number, const char* outcome) {
        cases.push_back(
            {image, {vboard::Formatted("char:{}#{}={}", direction, number, outcome)}, false, {}});
    };
    Words outcomes{"lost", "change 00", "change 80", "parity", "double", "late 3ms"};
    if (thorough) {
        outcomes.insert(outcomes.end(), {"change ff", "change 90", "late 1s"});
    }
    for (const std::string& outcome : outcomes) {
        for (unsigned i = 1; i <= places.charactersToChip; ++i) {
            add("to-chip", i, outcome.c_str());
        }
        for (unsigned i = 1; i <= places.charactersToHost; ++i) {
            add("to-host", i, outcome.c_str());
        }
    }
    for (unsigned i = 1; i <= places.answers; ++i) {
        for (const char* outcome : {"nak", "silence", "bytes 41", "bytes 90 90", "preceded 41",
                                    "late 300ms", "ack", "power off", "power off 5ms"}) {
            cases.push_back({image, {vboard::Formatted("answer:*#{}={}", i, outcome)}, false, {}});
        }
    }
}

void AddLines(std::size_t image, const Places& places, std::vector<Case>& cases) {
    for (std::size_t line = 0; line < std::size(kLines); ++line) {
        for (unsigned i = 1; i <= places.edges[line]; ++i) {
            cases.push_back(
                {image, {vboard::Formatted("edge:{}#{}=lost", kLines[line], i)}, false, {}});
        }
    }
    for (const char* cell :
         {"0x2100", "0x2101", "0x2104", "0x2105", "0xffe0", "0xfffe", "0xffff"}) {
        for (const char* outcome : {"stuck-erased", "stuck-programmed"}) {
            cases.push_back({image, {vboard::Formatted("cell:{}={}", cell, outcome)}, false, {}});
        }
    }
}

}  // namespace

std::vector<Places::Call> CallsOf(const std::string& list) {
    std::vector<Places::Call> calls;
    std::istringstream words(list);
    std::string number;
    std::string path;
    for (Places::Call call; words >> number >> call.kind >> path >> call.sizeBytes;) {
        calls.push_back(call);
    }
    return calls;
}

std::string KindOf(const Case& one, const Places& places) {
    const std::string rule = one.rules.empty() ? "" : one.rules.front();
    const std::size_t number = rule.find('#');
    const std::size_t outcome = rule.find('=');
    if (number >= outcome) {
        return rule;
    }
    const std::string what = rule.substr(0, number);
    const std::string kind = what + rule.substr(outcome);
    return what == "call"
               ? places.calls.at(std::stoul(rule.substr(number + 1)) - 1).kind + " " + kind
               : kind;
}

std::vector<Case> CasesFor(std::size_t image, const Places& places, bool thorough) {
    std::vector<Case> cases{{image, {}, true, {}}};
    AddCalls(image, places, thorough, cases);
    AddInterruptions(image, places, cases);
    AddWire(image, places, thorough, cases);
    AddLines(image, places, cases);
    return cases;
}

}  // namespace sweeps
