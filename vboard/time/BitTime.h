// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "vboard/time/VirtualClock.h"

namespace vboard {

/// How long `halves` half bits last on a line of `bitsPerSecond` (not 0), rounded once to the
/// nearest nanosecond: sums of rounded bits would drift away from the line.
[[nodiscard]] constexpr Duration TimeOfHalfBits(std::uint64_t halves, std::uint32_t bitsPerSecond) {
    constexpr std::uint64_t kNsPerSecond = 1'000'000'000;
    const std::uint64_t halvesPerSecond = std::uint64_t{bitsPerSecond} * 2;
    return Duration{(halves * kNsPerSecond + bitsPerSecond) / halvesPerSecond};
}

/// The same for whole bits: 11 of them take 1 145 833 ns at 9600 baud.
[[nodiscard]] constexpr Duration TimeOfBits(std::uint64_t bits, std::uint32_t bitsPerSecond) {
    return TimeOfHalfBits(bits * 2, bitsPerSecond);
}

}  // namespace vboard
