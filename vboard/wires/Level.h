// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

namespace vboard {

/// The three lines between the board's processor and the chip, by their role on the host side.
enum class HostLine : std::uint8_t { kReset, kRxdNmi, kMspTck };
inline constexpr std::size_t kHostLineCount = 3;

/// What the host does to a line: drives it, or lets go of it (an input), so that a pull resistor
/// decides.
enum class Drive : std::uint8_t { kLow, kHigh, kReleased };

}  // namespace vboard
