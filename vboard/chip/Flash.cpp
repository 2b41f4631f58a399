// SPDX-License-Identifier: MIT
#include "vboard/chip/Flash.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace vboard {
namespace {

constexpr std::uint64_t kNsPerSecond = 1'000'000'000;

/// At the speed of memcmp: most cells that are erased again hold nothing.
bool AllErased(std::span<const std::uint8_t> cells) {
    return cells.empty() || (cells.front() == kErasedByte &&
                             std::memcmp(cells.data(), cells.data() + 1, cells.size() - 1) == 0);
}

}  // namespace

Flash::Flash(const ChipModel& model, const ChipOptions& options, Faults& faults, Memory memory,
             EraseWords eraseWords)
    : m_layout(model),
      m_massErasePeriods(model.massErasePeriods),
      m_clockHz(std::max<std::uint32_t>(options.flashClockHz, 1)),
      m_cumulativeErase(options.cumulativeErase.value_or(model.cumulativeErase)),
      m_faults(faults),
      m_memory(memory),
      m_margins(m_layout, eraseWords) {
    const auto rom = m_memory.subspan(kRomFacts.first, kRomFacts.SizeBytes());
    std::ranges::fill(rom, std::uint8_t{0});
    const auto put = [&rom](std::size_t at, std::uint16_t word) {
        rom[at] = static_cast<std::uint8_t>(word >> 8);
        rom[at + 1] = static_cast<std::uint8_t>(word & 0xFF);
    };
    put(kRomChipIdAt, model.chipId);
    put(kRomLoaderVersionAt, model.loaderVersion);
}

bool Flash::Holds(std::uint16_t address, std::size_t sizeBytes) const {
    for (std::size_t offset = 0; offset < sizeBytes; ++offset) {
        if (m_layout.RegionAt(address + offset) == Region::kNone) {
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
    return AllErased(Block(address, sizeBytes));
}

void Flash::KeepWord(std::uint16_t address, std::uint16_t word) {
    m_memory[address] = static_cast<std::uint8_t>(word & 0xFF);
    m_memory[static_cast<std::uint16_t>(address + 1)] = static_cast<std::uint8_t>(word >> 8);
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
        flashBytes += m_layout.IsFlash(m_address + offset) ? 1 : 0;
    }
    m_workTime = TimeOfBytes(flashBytes);
    return m_workTime;
}

Duration Flash::BeginSegmentErase(std::uint16_t address) {
    m_eraseRanges[0] = m_layout.SegmentOf(address);
    m_eraseRangeCount = 1;
    return BeginErase(kSegmentErasePeriods);
}

Duration Flash::BeginAreaErase(Region area) {
    m_eraseRanges[0] = area == Region::kInfo ? m_layout.Info() : m_layout.Main();
    m_eraseRangeCount = 1;
    return BeginErase(m_massErasePeriods);
}

Duration Flash::BeginMassErase() {
    m_eraseRanges = {m_layout.Info(), m_layout.Main()};
    if (m_layout.Main().first < m_layout.Info().first) {
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
        const Region region = m_layout.RegionAt(address);
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
    if (m_cumulativeErase && value != kErasedByte) {
        m_margins.Program(address);
    }
    cell = m_faults.CellAfterProgramming(address, cell, static_cast<std::uint8_t>(cell & value));
}

void Flash::Finish() {
    Progress(m_workTime);
    if (m_work == Work::kErase) {
        CountEraseTime(m_workTime);
        EraseFirst(kMemorySizeBytes);
    }
    Drop();
}

void Flash::Abort(Duration elapsed) {
    elapsed = std::clamp(elapsed, Duration::zero(), m_workTime);
    Progress(elapsed);
    if (m_work == Work::kErase && elapsed > Duration::zero()) {
        std::int64_t cellCount = 0;
        for (const AddressRange& range : ErasedRanges()) {
            cellCount += static_cast<std::int64_t>(range.SizeBytes());
        }
        CountEraseTime(elapsed);
        EraseFirst(static_cast<std::size_t>(cellCount * elapsed.count() / m_workTime.count()));
    }
    Drop();
}

void Flash::Drop() {
    m_work = Work::kNone;
}

std::span<const AddressRange> Flash::ErasedRanges() const {
    return std::span(m_eraseRanges).first(m_eraseRangeCount);
}

void Flash::EraseFirst(std::size_t cellCount) {
    for (const AddressRange& range : ErasedRanges()) {
        const std::size_t here = std::min(cellCount, range.SizeBytes());
        if (here > 0) {
            EraseCells({range.first, static_cast<std::uint16_t>(range.first + here - 1)});
        }
        cellCount -= here;
    }
}

// An erased cell has nothing to lose, so the faults are asked about the others only.
void Flash::EraseCells(AddressRange cells) {
    if (IsErased(cells.first, cells.SizeBytes())) {
        return;
    }
    m_layout.ForEach(cells, [this](AddressRange segment) {
        if (IsErased(segment.first, segment.SizeBytes())) {
            return;
        }
        for (std::size_t address = segment.first; address <= segment.last; ++address) {
            std::uint8_t& cell = m_memory[address];
            if (cell != kErasedByte) {
                cell = m_faults.CellAfterErase(static_cast<std::uint16_t>(address), cell);
            }
        }
    });
}

void Flash::CountEraseTime(Duration spent) {
    if (!m_cumulativeErase) {
        return;
    }
    for (const AddressRange& range : ErasedRanges()) {
        m_layout.ForEach(range, [this, spent](AddressRange segment) {
            m_margins.Erase(segment.first, spent, IsErased(segment.first, segment.SizeBytes()));
        });
    }
}

}  // namespace vboard
