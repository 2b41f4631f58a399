// SPDX-License-Identifier: MIT
#pragma once

// A run, or a part of it, as the source of a WaveDrom picture (WaveJSON). docs/WAVEFORMS.md says
// how time becomes columns.

#include <string>

#include "vboard/record/WaveLog.h"
#include "vboard/record/WavePart.h"

namespace vboard {

/// The picture's source, one lane a line, with a line end. Where the run has no such part, the
/// picture is empty but for a title that says so. The log must be finished.
[[nodiscard]] std::string WaveJson(const WaveLog& log, WavePart part);

}  // namespace vboard
