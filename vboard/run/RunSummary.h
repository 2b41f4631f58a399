// SPDX-License-Identifier: MIT
#pragma once

// The summary of a run for programs. docs/SUMMARY.md describes the object.

#include <string>

#include "image/MemoryImage.h"
#include "vboard/board/BoardFile.h"
#include "vboard/record/Summary.h"
#include "vboard/session/Session.h"

namespace vboard {

/// All that it is made of; nothing is owned.
struct RunResult {
    int status = 0;  ///< As waitpid gives it.
    const RunReport& report;
    const SummaryCounts& counts;
    const BoardFile& board;  ///< As the run left it.
    const image::MemoryImage* image =
        nullptr;  ///< To compare the flash with; nullptr: none was given.
    std::string imagePath;
};

/// One JSON object over several lines, with a line end. Equal runs give equal texts.
[[nodiscard]] std::string SummaryJson(const RunResult& result);

/// How the flash of a chip and an image differ.
struct FlashComparison {
    std::size_t differentBytes = 0;  ///< Of those that the image covers.
    int firstDifference = -1;        ///< Its address; -1: none.
    std::size_t leftoverBytes = 0;   ///< In main memory outside the image, and not erased.
};
/// Holds the flash of a kept board against `image`, whose bytes lie in the part's flash.
[[nodiscard]] FlashComparison CompareFlash(const image::MemoryImage& image, const BoardFile& board);

}  // namespace vboard
