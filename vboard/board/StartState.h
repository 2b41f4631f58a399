// SPDX-License-Identifier: MIT
#pragma once

// What a new board holds and does.

#include <cstdint>
#include <span>
#include <string>

#include "image/MemoryImage.h"
#include "vboard/board/Board.h"

namespace vboard {

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
