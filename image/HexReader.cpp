// SPDX-License-Identifier: MIT
#include "image/HexReader.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "image/HexDigits.h"
#include "image/RecordType.h"

namespace image {
namespace {

/// Length, address and type before the data; the checksum after it.
constexpr std::size_t kHeadBytes = 4;
constexpr std::size_t kFrameBytes = kHeadBytes + 1;
constexpr std::size_t kTypePlace = 3;

constexpr const char* kGetAnew = "get the image anew, this one was damaged on its way";
constexpr const char* kTakeOut = "take out of the file what is not Intel HEX";

/// -1 for what is no hexadecimal digit.
constexpr int DigitValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    const char lower = static_cast<char>(digit | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

unsigned WordAt(std::span<const std::uint8_t> bytes) {
    return static_cast<unsigned>(bytes[0]) << 8U | bytes[1];
}

/// The two characters as they can be shown: what is no printable character, as its code.
std::string Shown(std::string_view characters) {
    std::string text;
    for (const char character : characters) {
        const auto code = static_cast<unsigned char>(character);
        text +=
            code >= 0x20 && code < 0x7F ? std::string(1, character) : "\\x" + HexDigits(code, 2);
    }
    return text;
}

/// How many data bytes a record of this type has, where that is settled.
int DataBytesOf(unsigned type) {
    switch (type) {
        case kEndOfFile:
            return 0;
        case kSegmentBase:
        case kLinearBase:
            return 2;
        case kStartSegment:
        case kStartLinear:
            return 4;
        default:
            return -1;
    }
}

}  // namespace

HexReader::HexReader(std::vector<Area> areas, std::string memory)
    : m_areas(std::move(areas)), m_memory(std::move(memory)), m_lineOf(MemoryImage::kSizeBytes, 0) {
    m_line.reserve(kLongestLine);
}

void HexReader::Take(std::string_view piece) {
    for (const char character : piece) {
        // A long file that is wrong everywhere would cost its time for nothing.
        if (m_findings.Enough()) {
            return;
        }
        TakeCharacter(character);
    }
}

void HexReader::Finish() {
    if (!m_line.empty() || m_blankLine) {
        TakeLine();
    }
    if (!m_ended && !m_findings.Enough()) {
        m_findings.Refuse(m_number, "the end record is missing",
                          "get the whole image, this one was cut short");
    }
}

void HexReader::TakeCharacter(char character) {
    const bool afterReturn = std::exchange(m_afterReturn, character == '\r');
    if (character == '\n' && afterReturn) {
        return;
    }
    if (character == '\n' || character == '\r') {
        EndLine();
        return;
    }
    if (character == ' ' || character == '\t') {
        m_blankLine = m_blankLine || m_line.empty();
        ++m_blanks;
        return;
    }
    // What comes behind blanks shows that they were not the line's end.
    m_tooLong = m_tooLong || m_line.size() + m_blanks >= kLongestLine;
    if (!m_tooLong) {
        m_line.append(m_blanks, ' ');
        m_line += character;
    }
    m_blanks = 0;
}

void HexReader::EndLine() {
    TakeLine();
    m_line.clear();
    m_blanks = 0;
    m_tooLong = false;
    m_blankLine = false;
    ++m_number;
}

void HexReader::TakeLine() {
    const bool empty = m_line.empty() && !m_blankLine;
    if (m_ended) {
        if (!empty && !std::exchange(m_saidAfterEnd, true)) {
            m_findings.Refuse(m_number, "there is text after the end",
                              "keep one image in the file, up to its end record");
        }
        return;
    }
    if (empty && m_anyRecord) {
        return;
    }
    if (empty) {
        NoRecord("the file begins with an empty line");
    } else if (m_blankLine) {
        NoRecord(m_line.empty() ? "there is nothing but blanks in the line"
                                : "there are blanks before the record");
    } else if (m_line.empty() || m_line.front() != ':') {
        NoRecord("a record begins with ':'");
    } else if (m_tooLong) {
        Damaged("the line is longer than a record can be");
    } else if (Decode() && Check()) {
        Apply();
    }
    m_anyRecord = true;
}

bool HexReader::Decode() {
    m_record.clear();
    std::string_view digits = m_line;
    for (digits.remove_prefix(1); digits.size() >= 2; digits.remove_prefix(2)) {
        const int high = DigitValue(digits[0]);
        const int low = DigitValue(digits[1]);
        if (high < 0 || low < 0) {
            Damaged("'" + Shown(digits.substr(0, 2)) + "' are not two hexadecimal digits");
            return false;
        }
        m_record.push_back(static_cast<std::uint8_t>(high << 4 | low));
    }
    if (!digits.empty()) {
        Damaged("the number of digits is odd");
    }
    return digits.empty();
}

bool HexReader::Check() {
    if (m_record.size() < kFrameBytes || m_record.size() != kFrameBytes + m_record.front()) {
        Damaged("the record's length is not the one it states");
        return false;
    }
    const unsigned sum = std::accumulate(m_record.begin(), m_record.end() - 1, 0U);
    const auto expected = static_cast<std::uint8_t>(0U - sum);
    if (m_record.back() != expected) {
        Damaged("the checksum is " + HexDigits(expected, 2) + ", not " +
                HexDigits(m_record.back(), 2));
        return false;
    }
    return true;
}

void HexReader::Apply() {
    const auto data = std::span<const std::uint8_t>(m_record).subspan(kHeadBytes, m_record.front());
    const unsigned type = m_record[kTypePlace];
    const int settled = DataBytesOf(type);
    if (type > kStartLinear) {
        m_findings.Refuse(m_number, "there is no record type " + HexDigits(type, 2), kGetAnew);
        return;
    }
    m_ended = m_ended || type == kEndOfFile;
    if (settled >= 0 && data.size() != static_cast<std::size_t>(settled)) {
        Damaged("a record of type " + HexDigits(type, 2) + " holds " + std::to_string(settled) +
                " bytes");
        return;
    }
    if (type == kData) {
        Store(data);
    } else if (type == kSegmentBase) {
        SetBase(WordAt(data) << 4U, true);
    } else if (type == kLinearBase) {
        SetBase(WordAt(data) << 16U, false);
    }
}

void HexReader::SetBase(std::uint32_t base, bool segment) {
    m_base = base;
    m_segment = segment;
}

void HexReader::Store(std::span<const std::uint8_t> data) {
    std::uint32_t offset = WordAt(std::span(m_record).subspan(1));
    m_repeated = 0;
    for (const std::uint8_t value : data) {
        if (!StoreByte(std::uint64_t{m_base} + offset, value)) {
            break;
        }
        // Within a segment the offset starts over at 64 KiB.
        offset = m_segment ? (offset + 1) & 0xFFFFU : offset + 1;
    }
    SayRepeated();
}

bool HexReader::StoreByte(std::uint64_t address, std::uint8_t value) {
    const auto contains = [address](const Area& area) { return area.Contains(address); };
    if (std::none_of(m_areas.begin(), m_areas.end(), contains)) {
        m_findings.Refuse(m_number, "0x" + HexDigits(address, 4) + " is beyond " + m_memory,
                          "link the firmware for this chip, or name the board that it is for");
        return false;
    }
    const auto place = static_cast<std::uint16_t>(address);
    if (!m_image.Covers(place)) {
        m_image.Set(place, value);
        m_lineOf[place] = m_number;
        return true;
    }
    if (m_image.At(place) != value) {
        m_findings.Refuse(m_number,
                          "0x" + HexDigits(address, 4) +
                              " is given twice with two values, before in line " +
                              std::to_string(m_lineOf[place]),
                          "link the firmware anew, so that nothing lies on top of another");
        return false;
    }
    m_repeatedAt = m_repeated == 0 ? place : m_repeatedAt;
    ++m_repeated;
    return true;
}

void HexReader::SayRepeated() {
    if (m_repeated > 0) {
        m_findings.Say(
            m_number,
            "0x" + HexDigits(m_repeatedAt, 4) + " is given again with the same value" +
                (m_repeated == 1 ? "" : ", and " + std::to_string(m_repeated - 1) + " more bytes"),
            "nothing has to be done");
    }
}

void HexReader::Damaged(std::string what) {
    m_findings.Refuse(m_number, std::move(what), kGetAnew);
}

void HexReader::NoRecord(std::string what) {
    m_findings.Refuse(m_number, std::move(what), kTakeOut);
}

}  // namespace image
