// SPDX-License-Identifier: MIT
#pragma once

// The parts of a run of which there are pictures.

#include <cstdint>
#include <span>
#include <string_view>

namespace vboard {

/// What a picture shows.
enum class WavePart : std::uint8_t { kRun, kEntry, kReset, kBlock, kRetry, kCount };

struct WavePartInfo {
    WavePart part;
    std::string_view word;   ///< As the command line takes it.
    std::string_view title;  ///< What stands above the picture.
};

/// The table, in the order of the enumeration.
[[nodiscard]] std::span<const WavePartInfo> AllWaveParts();
/// kCount when there is no such word.
[[nodiscard]] WavePart FindWavePart(std::string_view word);

}  // namespace vboard
