// SPDX-License-Identifier: MIT
#include "vboard/chip/Segments.h"

#include <algorithm>

#include "vboard/time/MustHold.h"

namespace vboard {
namespace {

std::size_t NumberIn(AddressRange range, std::uint16_t segmentBytes, std::uint16_t address) {
    return std::size_t{address} / segmentBytes - std::size_t{range.first} / segmentBytes;
}

std::size_t CountIn(AddressRange range, std::uint16_t segmentBytes) {
    return NumberIn(range, segmentBytes, range.last) + 1;
}

AddressRange SegmentIn(AddressRange range, std::uint16_t segmentBytes, std::uint16_t address) {
    const std::uint32_t first = address - address % std::uint32_t{segmentBytes};
    const std::uint32_t last = first + segmentBytes - 1;
    return {static_cast<std::uint16_t>(std::max<std::uint32_t>(first, range.first)),
            static_cast<std::uint16_t>(std::min<std::uint32_t>(last, range.last))};
}

}  // namespace

Segments::Segments(const ChipModel& model)
    : m_main(model.mainMemory),
      m_info(model.infoMemory),
      m_ram(model.ram),
      m_mainSegmentBytes(model.mainSegmentBytes),
      m_infoSegmentBytes(model.infoSegmentBytes) {}

Region Segments::RegionAt(std::size_t address) const {
    const auto inSpace = static_cast<std::uint16_t>(address);
    if (inSpace != address) {
        return Region::kNone;
    }
    if (m_main.Contains(inSpace)) {
        return Region::kMain;
    }
    if (m_info.Contains(inSpace)) {
        return Region::kInfo;
    }
    return m_ram.Contains(inSpace) ? Region::kRam : Region::kNone;
}

bool Segments::IsFlash(std::size_t address) const {
    const Region region = RegionAt(address);
    return region == Region::kMain || region == Region::kInfo;
}

AddressRange Segments::SegmentOf(std::uint16_t address) const {
    switch (RegionAt(address)) {
        case Region::kMain:
            return SegmentIn(m_main, m_mainSegmentBytes, address);
        case Region::kInfo:
            return SegmentIn(m_info, m_infoSegmentBytes, address);
        case Region::kRam:
        case Region::kNone:
            break;
    }
    return {address, address};
}

std::size_t Segments::Count() const {
    return CountIn(m_main, m_mainSegmentBytes) + CountIn(m_info, m_infoSegmentBytes);
}

std::size_t Segments::IndexOf(std::uint16_t flashAddress) const {
    MustHold(IsFlash(flashAddress), "a segment is asked for where flash is");
    if (RegionAt(flashAddress) == Region::kMain) {
        return NumberIn(m_main, m_mainSegmentBytes, flashAddress);
    }
    return CountIn(m_main, m_mainSegmentBytes) + NumberIn(m_info, m_infoSegmentBytes, flashAddress);
}

}  // namespace vboard
