// SPDX-License-Identifier: MIT
#pragma once

// Random faults, the same for the same seed on every machine.
//
// The generator is SplitMix64 (a counter that steps by 0x9E3779B97F4A7C15, and two rounds of xor,
// shift and multiply over it); only integer arithmetic decides, so that no library's distributions
// take part. A choice among n takes the remainder by n: for the small n here the bias does not
// matter.

#include <cstddef>
#include <cstdint>
#include <optional>

#include "vboard/faults/FaultRule.h"

namespace vboard {

class NoiseSource {
public:
    /// `rate` is the share of events struck, from 0 to 1.
    NoiseSource(double rate, std::uint64_t seed);

    /// Asked once for each event: what strikes it, if anything does, out of `actions` (one bit for
    /// each FaultAction; not none). `sizeBytes` is what a read or write asked for.
    [[nodiscard]] std::optional<FaultOutcome> Strike(std::uint32_t actions,
                                                     std::size_t sizeBytes = 0);

private:
    std::uint64_t Next();
    std::size_t Below(std::size_t count);
    FaultAction Choose(std::uint32_t actions);
    void FillBytes(FaultOutcome& outcome, std::size_t count);

    std::uint64_t m_threshold;  ///< Of 2^53.
    std::uint64_t m_state;
};

}  // namespace vboard
