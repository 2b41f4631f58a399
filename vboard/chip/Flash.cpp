// SPDX-License-Identifier: MIT
#include "vboard/chip/Flash.h"

#include <algorithm>

namespace vboard {
namespace {

constexpr std::uint64_t kNsPerSecond = 1'000'000'000;

std::size_t SizeOf(AddressRange range) {
    return std::size_t{range.last} - range.first + 1;
}

// Segments lie on multiples of their size, as the maker counts them from the top of memory down; a
// range that begins or ends inside one has a part of it.
std::size_t SegmentNumber(AddressRange range, std::uint16_t segmentBytes, std::uint16_t address) {
    return std::size_t{address} / segmentBytes - std::size_t{range.first} / segmentBytes;
}

std::size_t SegmentCount(AddressRange range, std::uint16_t segmentBytes) {
    return SegmentNumber(range, segmentBytes, range.last) + 1;
}

AddressRange SegmentIn(AddressRange range, std::uint16_t segmentBytes, std::uint16_t address) {
    const std::uint32_t first = address - address % std::uint32_t{segmentBytes};
    const std::uint32_t last = first + segmentBytes - 1;
    return {static_cast<std::uint16_t>(std::max<std::uint32_t>(first, range.first)),
            static_cast<std::uint16_t>(std::min<std::uint32_t>(last, range.last))};
}

}  // namespace

Flash::Flash(const ChipModel& model, const ChipOptions& options, Faults& faults, Memory memory)
    : m_main(model.mainMemory),
      m_info(model.infoMemory),
      m_ram(model.ram),
      m_mainSegmentBytes(model.mainSegmentBytes),
      m_infoSegmentBytes(model.infoSegmentBytes),
      m_massErasePeriods(model.massErasePeriods),
      m_clockHz(std::max<std::uint32_t>(options.flashClockHz, 1)),
      m_cumulativeErase(options.cumulativeErase),
      m_faults(faults),
      m_memory(memory),
      m_eraseTime(SegmentCount(m_main, m_mainSegmentBytes) +
                  SegmentCount(m_info, m_infoSegmentBytes)) {}

Region Flash::RegionAt(std::size_t address) const {
    if (address >= kMemorySizeBytes) {
        return Region::kNone;
    }
    const auto inSpace = static_cast<std::uint16_t>(address);
    if (m_main.Contains(inSpace)) {
        return Region::kMain;
    }
    if (m_info.Contains(inSpace)) {
        return Region::kInfo;
    }
    return m_ram.Contains(inSpace) ? Region::kRam : Region::kNone;
}

AddressRange Flash::SegmentOf(std::uint16_t address) const {
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

bool Flash::Holds(std::uint16_t address, std::size_t sizeBytes) const {
    for (std::size_t offset = 0; offset < sizeBytes; ++offset) {
        if (RegionAt(address + offset) == Region::kNone) {
            return false;
        }
    }
    return true;
}

std::uint16_t Flash::WordAt(std::uint16_t address) const {
    const auto next = static_cast<std::uint16_t>(address + 1);
    return static_cast<std::uint16_t>(m_memory[address] | m_memory[next] << 8);
}

std::span<const std::uint8_t> Flash::Block(std::uint16_t address, std::size_t sizeBytes) const {
    if (address + sizeBytes > kMemorySizeBytes) {
        return {};
    }
    return m_memory.subspan(address, sizeBytes);
}

bool Flash::IsErased(std::uint16_t address, std::size_t sizeBytes) const {
    if (address + sizeBytes > kMemorySizeBytes) {
        return false;
    }
    const auto cells = Block(address, sizeBytes);
    return std::all_of(cells.begin(), cells.end(),
                       [](std::uint8_t cell) { return cell == kErasedByte; });
}

Duration Flash::Periods(std::uint64_t count, std::uint64_t divisor) const {
    return Duration{count * kNsPerSecond / (std::uint64_t{m_clockHz} * divisor)};
}

Duration Flash::TimeOfBytes(std::size_t flashBytes) const {
    return Periods(std::uint64_t{flashBytes} * kWordPeriods, 2);
}

Duration Flash::BeginProgramming(std::uint16_t address, std::span<const std::uint8_t> data) {
    m_work = Work::kProgram;
    m_address = address;
    m_dataSize = std::min(data.size(), m_data.size());
    std::copy_n(data.begin(), m_dataSize, m_data.begin());
    m_dataDone = 0;
    m_flashBytesDone = 0;
    std::size_t flashBytes = 0;
    for (std::size_t offset = 0; offset < m_dataSize; ++offset) {
        const Region region = RegionAt(m_address + offset);
        flashBytes += region == Region::kMain || region == Region::kInfo ? 1 : 0;
    }
    m_workTime = TimeOfBytes(flashBytes);
    return m_workTime;
}

Duration Flash::BeginSegmentErase(std::uint16_t address) {
    m_eraseRanges[0] = SegmentOf(address);
    m_eraseRangeCount = 1;
    return BeginErase(kSegmentErasePeriods);
}

Duration Flash::BeginAreaErase(Region area) {
    m_eraseRanges[0] = area == Region::kInfo ? m_info : m_main;
    m_eraseRangeCount = 1;
    return BeginErase(m_massErasePeriods);
}

Duration Flash::BeginMassErase() {
    m_eraseRanges = {m_info, m_main};
    if (m_main.first < m_info.first) {
        std::swap(m_eraseRanges[0], m_eraseRanges[1]);
    }
    m_eraseRangeCount = 2;
    return BeginErase(m_massErasePeriods);
}

Duration Flash::BeginErase(std::uint32_t periods) {
    m_work = Work::kErase;
    m_workTime = Periods(periods);
    return m_workTime;
}

void Flash::Progress(Duration elapsed) {
    if (m_work != Work::kProgram) {
        return;
    }
    for (; m_dataDone < m_dataSize; ++m_dataDone) {
        const std::size_t address = m_address + m_dataDone;
        const Region region = RegionAt(address);
        if (region == Region::kNone) {
            continue;
        }
        const auto inSpace = static_cast<std::uint16_t>(address);
        if (region == Region::kRam) {
            m_memory[inSpace] = m_data[m_dataDone];
            continue;
        }
        if (TimeOfBytes(m_flashBytesDone + 1) > elapsed) {
            return;
        }
        ++m_flashBytesDone;
        ProgramByte(inSpace, m_data[m_dataDone]);
    }
}

void Flash::ProgramByte(std::uint16_t address, std::uint8_t value) {
    std::uint8_t& cell = m_memory[address];
    cell = m_faults.OnProgram(address, cell, static_cast<std::uint8_t>(cell & value));
}

void Flash::Finish() {
    Progress(m_workTime);
    if (m_work == Work::kErase && m_cumulativeErase) {
        EraseSpending(m_workTime);
    } else if (m_work == Work::kErase) {
        EraseFirst(kMemorySizeBytes);
    }
    Drop();
}

void Flash::Abort(Duration elapsed) {
    elapsed = std::clamp(elapsed, Duration::zero(), m_workTime);
    Progress(elapsed);
    if (m_work == Work::kErase && m_cumulativeErase) {
        EraseSpending(elapsed);
    } else if (m_work == Work::kErase && m_workTime > Duration::zero()) {
        std::int64_t cellCount = 0;
        for (std::size_t i = 0; i < m_eraseRangeCount; ++i) {
            cellCount += static_cast<std::int64_t>(SizeOf(m_eraseRanges[i]));
        }
        EraseFirst(static_cast<std::size_t>(cellCount * elapsed.count() / m_workTime.count()));
    }
    Drop();
}

void Flash::Drop() {
    m_work = Work::kNone;
    m_workTime = Duration::zero();
}

void Flash::EraseFirst(std::size_t cellCount) {
    for (std::size_t i = 0; i < m_eraseRangeCount && cellCount > 0; ++i) {
        const AddressRange range = m_eraseRanges[i];
        const std::size_t here = std::min(cellCount, SizeOf(range));
        EraseCells({range.first, static_cast<std::uint16_t>(range.first + here - 1)});
        cellCount -= here;
    }
}

// An erased cell has nothing to lose, so the faults are asked about the others only; most cells of
// a repeated erase are passed over at the speed of a search.
void Flash::EraseCells(AddressRange cells) {
    const auto range = m_memory.subspan(cells.first, SizeOf(cells));
    const auto programmed = [](std::uint8_t cell) { return cell != kErasedByte; };
    auto cell = std::find_if(range.begin(), range.end(), programmed);
    for (; cell != range.end(); cell = std::find_if(cell + 1, range.end(), programmed)) {
        const auto address = static_cast<std::uint16_t>(cells.first + (cell - range.begin()));
        *cell = m_faults.OnErase(address, *cell);
    }
}

// The model of cumulative erase: each segment sums up the erase time spent on it, and all its cells
// change at the end of the erase that brings the sum to 200 ms; the sum then starts anew. It is not
// kept between runs.
void Flash::EraseSpending(Duration spent) {
    for (std::size_t i = 0; i < m_eraseRangeCount; ++i) {
        SpendOn(m_eraseRanges[i], spent);
    }
}

void Flash::SpendOn(AddressRange range, Duration spent) {
    for (std::size_t address = range.first; address <= range.last;) {
        const AddressRange segment = SegmentOf(static_cast<std::uint16_t>(address));
        Duration& sum = m_eraseTime[SegmentIndex(segment.first)];
        sum += spent;
        if (sum >= kCumulativeEraseTime) {
            sum = Duration::zero();
            EraseCells(segment);
        }
        address = std::size_t{segment.last} + 1;
    }
}

std::size_t Flash::SegmentIndex(std::uint16_t address) const {
    if (RegionAt(address) == Region::kMain) {
        return SegmentNumber(m_main, m_mainSegmentBytes, address);
    }
    return SegmentCount(m_main, m_mainSegmentBytes) +
           SegmentNumber(m_info, m_infoSegmentBytes, address);
}

}  // namespace vboard
