// SPDX-License-Identifier: MIT
#pragma once

// Reads Intel HEX strictly, piece by piece, so that a file of any length costs the 64 KiB of the
// chip's address space and not more. Everything that is wrong is found at once, with its line.
//
//     :LLAAAATT data… CC      LL bytes of data at AAAA; CC makes the sum of all bytes 0
//     TT  00 data   01 end of file   02 segment base (x 16)   03, 05 start address
//         04 upper half of the address
//
// Record layout: Intel's paper on the Hexadecimal Object File Format, revision A (1988).
//
// Refused: a line that is no whole record with the right sum, a record type or length that does not
// exist, an address outside of the memory that the reader is told, an address that is given two
// values, a missing end record and anything after it. Said and taken: an address that is given the
// same value again. Taken without a word: digits of both cases; lines that end with LF, CR LF or
// CR, with blanks before that; empty lines behind the first record; start addresses; records of 0
// to 255 bytes in any order.

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "image/Finding.h"
#include "image/MemoryImage.h"

namespace image {

/// A memory that an image may have bytes for, both ends included.
struct Area {
    std::uint16_t first = 0;
    std::uint16_t last = 0xFFFF;
    /// Also for addresses beyond 16 bits, which no area has.
    [[nodiscard]] constexpr bool Contains(std::uint64_t address) const {
        return address >= first && address <= last;
    }
};

/// Reads one file.
class HexReader {
public:
    /// `areas` is what there is of memory; its name in findings is `memory`, as "main and
    /// information memory".
    HexReader(std::vector<Area> areas, std::string memory);

    /// The next piece of the file, of any length and cut anywhere.
    void Take(std::string_view piece);
    /// There is no more. Once, before the results below are looked at.
    void Finish();

    /// What was wrong with it. Whoever knows more of the image may add to it.
    [[nodiscard]] const Findings& Found() const { return m_findings; }
    [[nodiscard]] Findings& Found() { return m_findings; }
    /// What was read; of use only if the file is not refused.
    [[nodiscard]] MemoryImage& Image() { return m_image; }
    [[nodiscard]] const MemoryImage& Image() const { return m_image; }
    /// The line that gave the byte at `address` its value, 0 where the image has none.
    [[nodiscard]] unsigned LineOf(std::uint16_t address) const { return m_lineOf[address]; }

private:
    /// A colon, then two digits for each of 255 bytes of data and the five around them.
    static constexpr std::size_t kLongestLine = 1 + 2 * (5 + 255);

    void TakeCharacter(char character);
    void EndLine();
    void TakeLine();
    bool Decode();
    bool Check();
    void Apply();
    void SetBase(std::uint32_t base, bool segment);
    void Store(std::span<const std::uint8_t> data);
    bool StoreByte(std::uint64_t address, std::uint8_t value);
    void SayRepeated();

    void Damaged(std::string what);
    void NoRecord(std::string what);

    std::vector<Area> m_areas;
    std::string m_memory;
    Findings m_findings;
    MemoryImage m_image;
    std::vector<std::uint32_t> m_lineOf;

    std::string m_line;          ///< The current line, without blanks at its end.
    std::size_t m_blanks = 0;    ///< Blanks that may turn out to be its end.
    bool m_tooLong = false;      ///< The current line is; its rest is passed over.
    bool m_blankLine = false;    ///< It has nothing but blanks so far, and at least one.
    bool m_afterReturn = false;  ///< The character before was CR.
    unsigned m_number = 1;       ///< Of the current line.

    std::vector<std::uint8_t> m_record;
    std::uint32_t m_base = 0;
    bool m_segment = false;
    bool m_anyRecord = false;
    bool m_ended = false;
    bool m_saidAfterEnd = false;
    /// Addresses that the current record gives the same value again: the first, and how many.
    std::uint16_t m_repeatedAt = 0;
    std::size_t m_repeated = 0;
};

}  // namespace image
