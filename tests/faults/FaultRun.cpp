// SPDX-License-Identifier: MIT
#include "tests/faults/FaultRun.h"

#include <algorithm>

#include "tests/runs/Lines.h"
#include "tests/runs/Transcript.h"

namespace faults {
namespace {

constexpr const char* kStrike = "fault   ";

/// Without their times.
std::vector<std::string> Transcript(const runs::Outcome& run) {
    std::vector<std::string> lines;
    for (const runs::TranscriptLine& line : runs::ReadTranscript(run.transcript)) {
        lines.emplace_back(line.both);
    }
    return lines;
}

bool IsStrike(const std::string& line) {
    return line.starts_with(kStrike);
}

std::string Joined(std::vector<std::string>::const_iterator from,
                   std::vector<std::string>::const_iterator to) {
    std::string text;
    for (; from != to; ++from) {
        text += *from + "\n";
    }
    return text;
}

}  // namespace

runs::Outcome RunWith(const std::vector<std::string>& rules) {
    runs::Board board;
    for (const std::string& rule : rules) {
        board.With("--fault", rule);
    }
    return board.Runs({"-f", runs::BlinkyPath()});
}

std::string FromStrike(const runs::Outcome& run, std::size_t count, std::size_t n) {
    const std::vector<std::string> lines = Transcript(run);
    auto strike = lines.begin();
    for (std::size_t number = 1;; ++number, ++strike) {
        strike = std::find_if(strike, lines.end(), IsStrike);
        if (strike == lines.end()) {
            return "no strike " + std::to_string(n);
        }
        if (number == n) {
            break;
        }
    }
    const auto left = static_cast<std::size_t>(lines.end() - strike);
    return Joined(strike, strike + static_cast<std::ptrdiff_t>(std::min(count, left)));
}

std::size_t Strikes(const runs::Outcome& run) {
    const std::vector<std::string> lines = Transcript(run);
    return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), IsStrike));
}

}  // namespace faults
