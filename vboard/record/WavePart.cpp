// SPDX-License-Identifier: MIT
#include "vboard/record/WavePart.h"

#include <algorithm>
#include <array>

namespace vboard {
namespace {

constexpr std::array<WavePartInfo, static_cast<std::size_t>(WavePart::kCount)> kParts{{
    {WavePart::kRun, "run", "the whole run"},
    {WavePart::kEntry, "entry", "the way into the loader, up to its first answer"},
    {WavePart::kReset, "reset", "the way back to the application"},
    {WavePart::kBlock, "block", "one block with its sync"},
    {WavePart::kRetry, "retry", "a frame that was not accepted, and the next try"},
}};

}  // namespace

std::span<const WavePartInfo> AllWaveParts() {
    return kParts;
}

WavePart FindWavePart(std::string_view word) {
    const auto found = std::find_if(kParts.begin(), kParts.end(),
                                    [word](const WavePartInfo& info) { return info.word == word; });
    return found == kParts.end() ? WavePart::kCount : found->part;
}

}  // namespace vboard
