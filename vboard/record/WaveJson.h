// SPDX-License-Identifier: MIT
#pragma once

// A run, or a part of it, as the source of a WaveDrom picture (WaveJSON). docs/WAVEFORMS.md says
// how time becomes columns.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "vboard/record/WaveLog.h"

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

/// The picture's source, one lane a line, with a line end. Where the run has no such part, the
/// picture is empty but for a title that says so. The log must be finished.
[[nodiscard]] std::string WaveJson(const WaveLog& log, WavePart part);

}  // namespace vboard
