// SPDX-License-Identifier: MIT
#pragma once

// What there is to see of a kept board, for people and for programs.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "image/MemoryImage.h"
#include "vboard/board/BoardFile.h"

namespace vboard {

/// A stretch of whole segments (the ends of the area may cut one) that are alike.
struct MemoryStretch {
    AddressRange range;
    std::size_t programmedBytes = 0;  ///< Those that do not hold 0xFF; 0: all is erased.
};

/// One memory of the chip and how full it is.
struct MemoryArea {
    std::string_view name;  ///< "main", "information"
    AddressRange range;
    std::uint16_t segmentBytes = 0;
    std::vector<MemoryStretch> stretches;  ///< In ascending order; together the whole area.
};

/// One of the three lines between host and chip.
struct LineView {
    std::string_view name;  ///< "reset_gpio"
    unsigned gpio = 0;
    bool exported = false;
    bool output = false;
    bool high = false;  ///< The level on the line, whoever decides it.
};

/// All that `vboard show` tells, before it becomes words.
struct BoardView {
    const BoardFile& file;
    std::vector<LineView> lines;
    std::vector<MemoryArea> areas;
    std::optional<std::uint16_t> runningVersion;  ///< None: no application runs.
    WeakBytes weak;  ///< Bytes of the flash that were erased for too short a time.
};

/// `file` must outlive the view.
[[nodiscard]] BoardView LookAt(const BoardFile& file);

/// A page for people.
[[nodiscard]] std::string TextOf(const BoardView& view);
/// One JSON object with a line end. docs/BOARD.md describes it.
[[nodiscard]] std::string JsonOf(const BoardView& view);

/// What the flash holds, without the rows of sixteen bytes that are erased.
[[nodiscard]] image::MemoryImage ProgrammedImage(const BoardFile& file);

}  // namespace vboard
