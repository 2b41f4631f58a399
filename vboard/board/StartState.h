// SPDX-License-Identifier: MIT
#pragma once

// What a new board holds and does.

#include <cstdint>
#include <span>
#include <string_view>

#include "image/MemoryImage.h"
#include "vboard/board/Board.h"

namespace vboard {

/// One row of the listing of start states.
struct StartStateInfo {
    StartState state;
    std::string_view name;
    std::string_view meaning;
};

/// The table, in the order of the enumeration.
[[nodiscard]] std::span<const StartStateInfo> AllStartStates();

/// False, with a sentence in `problem`, for an image with a byte where the part has no flash.
[[nodiscard]] bool FitsFlash(const ChipModel& part, const image::MemoryImage& image,
                             std::string& problem);

/// Fills the memory of a new board: from an image where there is one, else with the older firmware
/// that a delivered chip holds, and with nothing where the board starts erased. False, with a
/// sentence in `problem`, for an image that does not fit the part or contradicts the start.
[[nodiscard]] bool FillMemory(const BoardSetup& setup, const image::MemoryImage* image,
                              Memory memory, std::string& problem);

/// The state of a new board whose memory has been filled.
[[nodiscard]] BoardState StateAtStart(const BoardSetup& setup,
                                      std::span<const std::uint8_t, kMemorySizeBytes> memory);

}  // namespace vboard
