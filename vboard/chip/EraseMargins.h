// SPDX-License-Identifier: MIT
#pragma once

// How well the flash of a part with cumulative erase is erased.
//
// The cells of such a part need 200 ms of erase time in all, which several erases give them. What
// the maker does not publish is assumed: after the first erase a cell reads as erased; until its
// 200 ms are full it only lacks margin, and is weak. A byte programmed on top of that is weak as
// well, since its ones are.
//
// Kept for each segment, as the time it still lacks. Erase time counts from the first erase after
// the segment was programmed; what a segment lacks as a whole, each of its bytes lacks.

#include <cstddef>
#include <cstdint>
#include <span>

#include "vboard/chip/Segments.h"
#include "vboard/time/VirtualClock.h"

namespace vboard {

/// The erase time that a cell needs in all (data sheets of F1xx parts: cumulative mass erase time).
inline constexpr Duration kCumulativeEraseTime = std::chrono::milliseconds{200};

/// Bytes that lack margin.
struct WeakBytes {
    std::size_t erased = 0;      ///< They hold 0xFF.
    std::size_t programmed = 0;  ///< They hold something else.
    bool operator==(const WeakBytes&) const = default;
};

/// A word for each segment, in the order of Segments::IndexOf: the erase time in nanoseconds that
/// it lacks, and kErasedSince. All zeros stand for a chip as delivered, which lacks nothing.
using EraseWords = std::span<std::uint32_t, kMostSegments>;

/// Counts the erase time of one chip in the words that are kept for it.
class EraseMargins {
public:
    /// `words` is changed in place and must outlive this.
    EraseMargins(const Segments& segments, EraseWords words)
        : m_segments(segments), m_words(words) {}

    /// The segment at a flash address has been under erase for `spent`, not negative. `allErased`:
    /// whether all its bytes held 0xFF before.
    void Erase(std::uint16_t address, Duration spent, bool allErased);

    /// A byte in the segment at a flash address has been programmed.
    void Program(std::uint16_t address);

    /// Counts the bytes of the flash in `memory`, the whole address space.
    [[nodiscard]] WeakBytes Count(std::span<const std::uint8_t> memory) const;

private:
    [[nodiscard]] WeakBytes CountIn(AddressRange flash, std::span<const std::uint8_t> memory) const;

    Segments m_segments;
    EraseWords m_words;
};

}  // namespace vboard
