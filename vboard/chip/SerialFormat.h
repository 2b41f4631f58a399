// SPDX-License-Identifier: MIT
#pragma once

// How one side of the serial link sends and expects characters.

#include <cstdint>

#include "vboard/time/BitTime.h"

namespace vboard {

/// Whether a parity bit follows the data bits, and what it makes of the count of ones.
enum class Parity : std::uint8_t { kNone, kEven, kOdd };

/// How a character stands on a serial line; the loader's after an entry when nothing else is said.
struct SerialFormat {
    std::uint32_t bitsPerSecond = 9600;
    std::uint8_t dataBits = 8;  ///< 5 to 8.
    Parity parity = Parity::kEven;
    std::uint8_t stopBits = 1;  ///< 1 or 2.

    /// Start, data, parity and stop bits together: 7 to 12.
    [[nodiscard]] constexpr unsigned BitsPerCharacter() const {
        return 1U + dataBits + (parity == Parity::kNone ? 0U : 1U) + stopBits;
    }
    /// 8E1 at 9600 baud: 11 bits, 1 145.833 µs.
    [[nodiscard]] constexpr Duration CharacterTime() const {
        return TimeOfBits(BitsPerCharacter(), bitsPerSecond);
    }
    bool operator==(const SerialFormat&) const = default;
};

/// A character as a receiver got it.
struct ReceivedCharacter {
    std::uint8_t value = 0;
    bool parityError = false;
    bool framingError = false;
    Instant start{};  ///< When its start bit began.
};

}  // namespace vboard
