// SPDX-License-Identifier: MIT
#include "tests/runs/Transcript.h"

#include <algorithm>

namespace runs {
namespace {

constexpr std::size_t kColumnWidth = 8;

/// "1.651000" without the dot is a count of microseconds.
long Microseconds(std::string_view time) {
    long microseconds = 0;
    for (const char c : time) {
        if (c >= '0' && c <= '9') {
            microseconds = microseconds * 10 + (c - '0');
        }
    }
    return microseconds;
}

TranscriptLine ReadLine(std::string_view line) {
    const std::size_t time = std::min(line.find_first_not_of(' '), line.size());
    const std::size_t timeEnd = std::min(line.find(' ', time), line.size());
    const std::string_view both = line.substr(std::min(timeEnd + 1, line.size()));
    const std::string_view column = both.substr(0, both.find(' '));
    return {Microseconds(line.substr(time, timeEnd - time)), column,
            both.substr(std::min(kColumnWidth, both.size())), both};
}

}  // namespace

std::vector<TranscriptLine> ReadTranscript(std::string_view text) {
    std::vector<TranscriptLine> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        lines.push_back(ReadLine(text.substr(0, end)));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

std::vector<std::string_view> WordsOf(std::string_view transcript, std::string_view column) {
    std::vector<std::string_view> words;
    for (const TranscriptLine& line : ReadTranscript(transcript)) {
        if (line.column == column) {
            words.push_back(line.words);
        }
    }
    return words;
}

}  // namespace runs
