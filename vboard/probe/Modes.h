// SPDX-License-Identifier: MIT
#pragma once

// What the values of Signal::kChipMode and Signal::kLoaderState mean.

#include <cstddef>
#include <cstdint>

namespace vboard {

/// What the chip is doing. The numbers are those of Signal::kChipMode and of board files.
enum class ChipMode : std::uint8_t {
    kReset = 0,        ///< Held in reset by either reset input.
    kArmed = 1,        ///< Entry asked for; TCK has still to rise.
    kLoader = 2,       ///< In the ROM bootstrap loader.
    kApplication = 3,  ///< Running its firmware.
    kStopped = 4,      ///< Out of reset with nothing to run: the reset vector is erased.
    kUnpowered = 5,    ///< No supply: nothing moves, the flash keeps what it holds.
};
/// How many there are.
inline constexpr std::size_t kChipModeCount = 6;

/// True in the modes that an operation on the chip goes through: from the moment it is put into
/// reset until it starts again, or has nothing to start.
[[nodiscard]] constexpr bool IsWithinOperation(ChipMode mode) {
    return mode == ChipMode::kReset || mode == ChipMode::kArmed || mode == ChipMode::kLoader;
}

/// What the loader is doing. The numbers are those of Signal::kLoaderState.
enum class LoaderState : std::uint8_t {
    kOff = 0,        ///< The chip is not in its loader.
    kSync = 1,       ///< Waits for the sync character.
    kFrame = 2,      ///< Waits for a frame or the rest of one.
    kWorking = 3,    ///< Deaf: carries out a command.
    kAnswering = 4,  ///< Deaf: sends.
};
/// How many there are.
inline constexpr std::size_t kLoaderStateCount = 5;

}  // namespace vboard
