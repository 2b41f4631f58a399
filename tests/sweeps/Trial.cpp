// SPDX-License-Identifier: MIT
#include "tests/sweeps/Trial.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>

#include "tests/runs/Lines.h"
#include "tests/runs/Process.h"
#include "tests/runs/Transcript.h"
#include "tests/sweeps/Conversation.h"
#include "vboard/board/BoardFile.h"
#include "vboard/text/Format.h"

namespace sweeps {
namespace {

constexpr std::ptrdiff_t kMainMemoryStart = 0x2100;

constexpr int kExitSuccess = 0;
constexpr int kExitFailure = 255;
constexpr int kExitHeld = 124;
constexpr int kExitKilled = 128 + 9;

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// "SOURCE:LINE LEVEL TEXT" without the line number.
std::vector<std::string> LogLines(const std::string& output) {
    std::vector<std::string> lines = runs::LinesOf(output);
    for (std::string& line : lines) {
        const std::size_t colon = line.find(':');
        const std::size_t blank = line.find(' ', colon);
        if (colon != std::string::npos && blank != std::string::npos) {
            line.erase(colon, blank - colon);
        }
    }
    return lines;
}

std::string DifferenceOf(const std::vector<std::string>& expected,
                         const std::vector<std::string>& printed) {
    const auto [wanted, got] =
        std::mismatch(expected.begin(), expected.end(), printed.begin(), printed.end());
    if (wanted == expected.end() && got == printed.end()) {
        return {};
    }
    return vboard::Formatted(
        "log line {}: expected '{}', printed '{}'", std::distance(expected.begin(), wanted) + 1,
        wanted == expected.end() ? "(none)" : *wanted, got == printed.end() ? "(none)" : *got);
}

/// The program may wait for ever only where the chip owes it an answer to a frame that was written
/// whole.
bool WaitsForTheChip(const std::vector<Event>& recording) {
    if (recording.empty()) {
        return false;
    }
    const Event& last = recording.back();
    return last.name == "write" && last.target == "/dev/ttyS1" && !last.failed;
}

}  // namespace

std::string ReplayText(const std::string& imageName, const std::vector<std::string>& rules) {
    std::string text = "vboard run";
    for (const std::string& rule : rules) {
        text += vboard::Formatted(" --fault '{}'", rule);
    }
    return vboard::Formatted("{} -- flashmcu -f tests/sweeps/images/{}.hex", text, imageName);
}

Worker::Worker(const Tools& tools, unsigned number)
    : m_tools(tools), m_prefix(vboard::Formatted("{}/worker-{}", tools.folder, number)) {}

Worker::~Worker() {
    for (const char* name : {"board", "transcript", "output", "errors", "calls"}) {
        unlink(File(name).c_str());
    }
}

std::string Worker::File(const char* name) const {
    return vboard::Formatted("{}.{}", m_prefix, name);
}

Worker::Ended Worker::Start(const Image& image, const std::vector<std::string>& rules) {
    std::vector<std::string> words{
        m_tools.vboard,     "run",     "--quiet",     "--board",      File("board"), "--transcript",
        File("transcript"), "--calls", File("calls"), "--time-limit", "100000"};
    for (const std::string& rule : rules) {
        words.insert(words.end(), {"--fault", rule});
    }
    words.insert(words.end(), {"--", m_tools.flashmcu, "-f",
                               vboard::Formatted("{}/{}.hex", m_tools.folder, image.Name())});
    const int status =
        runs::WaitForEnd(runs::StartProcess(words, m_tools.folder, File("output"), File("errors")));
    return {status, ReadFile(File("output")), ReadFile(File("errors")),
            ReadFile(File("transcript"))};
}

Verdict Worker::Run(const Image& image, const std::vector<std::string>& rules) {
    unlink(File("board").c_str());
    return RunAgain(image, rules);
}

Verdict Worker::RunAgain(const Image& image, const std::vector<std::string>& rules) {
    return Judge(image, Start(image, rules));
}

bool Worker::HoldsImage(const Image& image) const {
    const int descriptor = open(File("board").c_str(), O_RDWR | O_CLOEXEC);
    vboard::BoardFile file;
    std::string problem;
    const bool opened = descriptor >= 0 && file.Attach(descriptor, problem);
    close(descriptor);
    return opened && std::equal(image.Memory().begin() + kMainMemoryStart, image.Memory().end(),
                                file.ChipMemory().begin() + kMainMemoryStart);
}

Verdict Worker::Judge(const Image& image, const Ended& ended) const {
    const std::vector<Event> recording = EventsOf(ended.transcript);
    const Expectation expected = Follow(recording, image, false);
    Verdict verdict;
    verdict.log = LogLines(ended.output);
    verdict.problem = expected.problem;
    if (verdict.problem.empty()) {
        verdict.problem = DifferenceOf(expected.log, verdict.log);
    }
    const bool cut = ended.status == kExitHeld || ended.status == kExitKilled;
    if (verdict.problem.empty() && expected.complete == cut) {
        verdict.problem = vboard::Formatted(
            "status {}: {}", ended.status,
            cut ? "cut short behind its end" : "ended in the middle of a conversation");
    }
    if (verdict.problem.empty() && expected.complete && expected.status != ended.status) {
        verdict.problem =
            vboard::Formatted("status {} where {} was due", ended.status, expected.status);
    }
    switch (ended.status) {
        case kExitSuccess:
            verdict.outcome = HoldsImage(image) ? Outcome::kComplete : Outcome::kIncomplete;
            break;
        case kExitFailure:
            verdict.outcome = Outcome::kFailed;
            break;
        case kExitKilled:
            verdict.outcome = Outcome::kKilled;
            break;
        case kExitHeld:
            verdict.outcome = runs::Has(ended.errors, "ordered not to return") ? Outcome::kHeld
                                                                               : Outcome::kSilent;
            if (verdict.outcome == Outcome::kSilent && !WaitsForTheChip(recording)) {
                verdict.problem = "waits for ever although the chip owes no answer";
            }
            break;
        default:
            verdict.problem = vboard::Formatted("status {}: {}", ended.status, ended.errors);
            break;
    }
    return verdict;
}

Places Worker::FindPlaces(const Image& image) {
    unlink(File("board").c_str());
    const Ended ended = Start(image, {});
    Places places;
    std::istringstream calls(ReadFile(File("calls")));
    std::string number;
    std::string path;
    for (Places::Call call; calls >> number >> call.kind >> path >> call.sizeBytes;) {
        places.calls.push_back(call);
    }
    for (const runs::TranscriptLine& line : runs::ReadTranscript(ended.transcript)) {
        std::istringstream words{std::string(line.words)};
        const std::string_view column = line.column;
        std::string first;
        words >> first;
        if (column == "wire") {
            const auto count =
                static_cast<unsigned>(std::distance(std::istream_iterator<std::string>(words), {}));
            (first == ">" ? places.charactersToChip : places.charactersToHost) += count;
        } else if (column == "loader") {
            ++places.answers;
        } else if (column == "line") {
            for (std::size_t i = 0; i < std::size(kLines); ++i) {
                places.edges[i] += first == kLines[i] ? 1 : 0;
            }
        }
    }
    return places;
}

}  // namespace sweeps
