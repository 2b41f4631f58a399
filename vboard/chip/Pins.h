// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace vboard {

/// The level at a pin of the chip. Host lines have levels of their own (wires/Level.h); the two
/// never mix.
enum class PinLevel : std::uint8_t { kLow = 0, kHigh = 1 };

enum class Pin : std::uint8_t {
    kHold,    ///< The board's reset circuit: high holds the whole chip in reset, low lets it go.
    kRstNmi,  ///< RST/NMI: low holds the processor in reset; its rise starts the application or the
              ///< loader.
    kTck,     ///< TCK: its falls while RST/NMI is low ask for the loader.
};

}  // namespace vboard
