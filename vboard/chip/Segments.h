// SPDX-License-Identifier: MIT
#pragma once

// The address space of a part: which region an address belongs to, and the segments by which its
// flash is erased.
//
// Segments lie on multiples of their size, as the maker counts them from the top of memory down; a
// range that begins or ends inside one has a part of it.

#include <cstddef>
#include <cstdint>

#include "vboard/chip/ChipModel.h"

namespace vboard {

/// What lies at an address.
enum class Region : std::uint8_t { kMain, kInfo, kRam, kNone };

/// Room for the segments of any part in the table.
inline constexpr std::size_t kMostSegments = 512;

/// The layout of one part. Holds copies, so it may be copied freely.
class Segments {
public:
    /// What it needs of `model` is copied.
    explicit Segments(const ChipModel& model);

    /// kNone as well for what lies beyond the address space.
    [[nodiscard]] Region RegionAt(std::size_t address) const;
    /// True for main and information memory.
    [[nodiscard]] bool IsFlash(std::size_t address) const;
    /// The segment that holds a flash address; the address alone for any other.
    [[nodiscard]] AddressRange SegmentOf(std::uint16_t address) const;
    /// How many there are, information memory's included; at most kMostSegments.
    [[nodiscard]] std::size_t Count() const;
    /// The number of the segment that holds a flash address, below Count(): those of main memory
    /// first, then those of information memory, each from the lowest address on.
    [[nodiscard]] std::size_t IndexOf(std::uint16_t flashAddress) const;

    /// Main memory and information memory, each as one range.
    [[nodiscard]] const AddressRange& Main() const { return m_main; }
    [[nodiscard]] const AddressRange& Info() const { return m_info; }

    /// Calls `visit` with each segment that `flash`, a range in one region of flash, touches, from
    /// the lowest on; the first and the last are cut to the range.
    template <class Visit>
    void ForEach(AddressRange flash, Visit visit) const {
        for (std::size_t address = flash.first; address <= flash.last;) {
            const AddressRange segment = SegmentOf(static_cast<std::uint16_t>(address));
            const std::uint16_t last = segment.last < flash.last ? segment.last : flash.last;
            visit(AddressRange{static_cast<std::uint16_t>(address), last});
            address = std::size_t{last} + 1;
        }
    }

private:
    AddressRange m_main;
    AddressRange m_info;
    AddressRange m_ram;
    std::uint16_t m_mainSegmentBytes;
    std::uint16_t m_infoSegmentBytes;
};

}  // namespace vboard
