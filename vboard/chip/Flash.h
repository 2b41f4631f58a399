// SPDX-License-Identifier: MIT
#pragma once

// The memory of the part as a program on it can change it: flash that is erased by segments and
// programmed byte by byte, RAM that takes anything, and addresses where nothing is.
//
// It keeps no time. A work (programming or an erase) is begun, says how long it takes, and is told
// how much of that has passed.
//
// In the model: programming only clears bits; what an interrupted work leaves behind; erase time
// that adds up (EraseMargins.h); cells that fail (Faults); the words in the boot ROM that a program
// may ask for. Not in the model: cells read while they are erased, wear, the lock of an information
// segment, charge that a short programming pulse leaves half way.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "vboard/chip/ChipModel.h"
#include "vboard/chip/EraseMargins.h"
#include "vboard/chip/FrameDecoder.h"
#include "vboard/chip/Memory.h"
#include "vboard/chip/Segments.h"
#include "vboard/faults/Faults.h"

namespace vboard {

/// Periods of the flash clock for a word: data sheets give 30 (inside a block) to 35 (the first or
/// a single word). The loaders write single words, so the longer.
inline constexpr std::uint32_t kWordPeriods = 35;
/// Periods of the flash clock for the erase of one segment (data sheets).
inline constexpr std::uint32_t kSegmentErasePeriods = 4819;

/// What the boot ROM tells of the part, from 0x0FF0 to 0x0FFF (SLAU319AF, 2.4.4): the chip id in
/// the first two bytes, the loader's version from the eleventh on, high byte first. The version
/// command answers with the same sixteen bytes. The rest is not published and 0 here.
inline constexpr AddressRange kRomFacts{0x0FF0, 0x0FFF};
/// Where in these sixteen bytes the two words stand.
inline constexpr std::size_t kRomChipIdAt = 0;
inline constexpr std::size_t kRomLoaderVersionAt = 10;

/// One memory, and at most one work on it at a time.
class Flash {
public:
    /// All but the options' and the model's values must outlive the flash. The facts in the boot
    /// ROM are put into `memory`.
    Flash(const ChipModel& model, const ChipOptions& options, Faults& faults, Memory memory,
          EraseWords eraseWords);

    /// How the address space of this part is divided.
    [[nodiscard]] const Segments& Layout() const { return m_layout; }
    /// True when every byte is flash or RAM.
    [[nodiscard]] bool Holds(std::uint16_t address, std::size_t sizeBytes) const;

    /// The byte as a program on the chip would read it now.
    [[nodiscard]] std::uint8_t ByteAt(std::uint16_t address) const { return m_memory[address]; }
    /// Little-endian; the byte above 0xFFFF is the one at 0.
    [[nodiscard]] std::uint16_t WordAt(std::uint16_t address) const;
    /// Empty when the block passes the end of the address space.
    [[nodiscard]] std::span<const std::uint8_t> Block(std::uint16_t address,
                                                      std::size_t sizeBytes) const;
    /// False as well when the range passes the end of the address space.
    [[nodiscard]] bool IsErased(std::uint16_t address, std::size_t sizeBytes) const;
    /// A word that the loader keeps for itself, low byte first; nothing else can write there.
    void KeepWord(std::uint16_t address, std::uint16_t word);

    /// Begins to program at most kMaxBlockBytes bytes, copied, one after another. RAM takes no
    /// time, bytes elsewhere are passed over. Returns how long it will take.
    Duration BeginProgramming(std::uint16_t address, std::span<const std::uint8_t> data);

    /// Begins the erase of the segment, of main or of information memory, or of both. The cells
    /// change at the end of the time returned.
    Duration BeginSegmentErase(std::uint16_t address);
    Duration BeginAreaErase(Region area);
    Duration BeginMassErase();

    /// Brings memory to what it is `elapsed` after the beginning of the work under way.
    void Progress(Duration elapsed);
    /// The time returned at the beginning has passed.
    void Finish();
    /// Power or reset ends the work `elapsed` after its beginning. Bytes already programmed stay;
    /// of an erase, the same share of the cells has changed as of its time has passed, lowest
    /// address first, and the time that has passed counts for all of them.
    void Abort(Duration elapsed);
    /// Forgets the work under way: nothing more of it happens.
    void Drop();

private:
    enum class Work : std::uint8_t { kNone, kProgram, kErase };

    [[nodiscard]] Duration Periods(std::uint64_t count, std::uint64_t divisor = 1) const;
    [[nodiscard]] Duration TimeOfBytes(std::size_t flashBytes) const;
    [[nodiscard]] std::span<const AddressRange> ErasedRanges() const;
    Duration BeginErase(std::uint32_t periods);
    void ProgramByte(std::uint16_t address, std::uint8_t value);
    void EraseCells(AddressRange cells);
    void EraseFirst(std::size_t cellCount);
    void CountEraseTime(Duration spent);

    Segments m_layout;
    std::uint16_t m_massErasePeriods;
    std::uint32_t m_clockHz;
    bool m_cumulativeErase;
    Faults& m_faults;
    Memory m_memory;
    EraseMargins m_margins;

    Work m_work = Work::kNone;
    Duration m_workTime{0};
    std::array<std::uint8_t, kMaxBlockBytes> m_data{};
    std::size_t m_dataSize = 0;
    std::size_t m_dataDone = 0;
    std::size_t m_flashBytesDone = 0;
    std::size_t m_address = 0;
    std::array<AddressRange, 2> m_eraseRanges{};
    std::size_t m_eraseRangeCount = 0;
};

}  // namespace vboard
