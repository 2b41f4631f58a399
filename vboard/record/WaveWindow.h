// SPDX-License-Identifier: MIT
#pragma once

// Which stretches of a run a picture shows, and how the lines stand in each.
//
//     moment      all changes of one instant, unless a line changes twice in it: then another one
//     stretch     from one moment to the next; nothing that the picture shows moves within it
//     fold        many exchanges that went well, one after another, shown as one stretch

#include <optional>
#include <string>
#include <vector>

#include "vboard/record/WaveLog.h"
#include "vboard/record/WavePart.h"

namespace vboard {

struct WaveStretch {
    WaveState state;
    std::string label;       ///< How long it lasts; empty at both ends of the picture.
    std::size_t folded = 0;  ///< Exchanges that are left out in it.
};

/// The stretches of a part, the first of them before its first moment and the last behind its last
/// one. Empty where the run has no such part.
[[nodiscard]] std::vector<WaveStretch> StretchesOf(const WaveLog& log, WavePart part);

/// The instant at which a part begins, if the run has it.
[[nodiscard]] std::optional<Instant> StartOf(const WaveLog& log, WavePart part);

}  // namespace vboard
