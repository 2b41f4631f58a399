// SPDX-License-Identifier: MIT
#pragma once

// A run's transcript, as docs/TRANSCRIPT.md describes it, cut into its columns.

#include <string_view>
#include <vector>

namespace runs {

/// "    1.651000 call    write /dev/ttyS1 80 = 1".
struct TranscriptLine {
    long timeUs;
    std::string_view column;  ///< "call", "pause", "wire" ...
    std::string_view words;   ///< What stands behind the column.
    std::string_view both;    ///< Column and words, the line without its time.
};

/// The lines of a transcript in order. They point into `text`, which has to live as long.
std::vector<TranscriptLine> ReadTranscript(std::string_view text);

/// The lines of a column, each with its words alone.
std::vector<std::string_view> WordsOf(std::string_view transcript, std::string_view column);

}  // namespace runs
