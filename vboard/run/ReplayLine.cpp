// SPDX-License-Identifier: MIT
#include "vboard/run/ReplayLine.h"

#include "vboard/text/Format.h"

namespace vboard {

std::string ShellQuoted(std::string_view word) {
    constexpr std::string_view kPlain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_=/:.,@%+";
    if (!word.empty() && word.find_first_not_of(kPlain) == std::string_view::npos) {
        return std::string(word);
    }
    std::string quoted = "'";
    for (const char letter : word) {
        quoted += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
    }
    return quoted + "'";
}

std::string ReplayLine(const RunOptions& options, const std::vector<std::string>& faults) {
    std::string line = "vboard run";
    const auto add = [&line](std::string_view option, std::string_view value) {
        line += Formatted(" {} {}", option, ShellQuoted(value));
    };
    if (!options.boardPath.empty()) {
        add("--board", options.boardPath);
    }
    for (const std::string& setting : options.settings) {
        add("--option", setting);
    }
    if (options.timeLimitSeconds > 0) {
        add("--time-limit", Formatted("{}", options.timeLimitSeconds));
    }
    for (const std::string& rule : faults) {
        add("--fault", rule);
    }
    if (options.noiseRate > 0) {
        line += Formatted(" --noise {} --seed {}", options.noiseRate, options.noiseSeed);
    }
    if (!options.via.empty()) {
        add("--library", options.libraryPath);
        add("--via", options.via);
    }
    line += " --";
    for (const std::string& word : options.program) {
        line += Formatted(" {}", ShellQuoted(word));
    }
    return line;
}

}  // namespace vboard
