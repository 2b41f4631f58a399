// SPDX-License-Identifier: MIT
#include "image/IntelHex.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <numeric>
#include <span>
#include <utility>
#include <vector>

#include "image/HexDigits.h"

namespace image {
namespace {

constexpr std::size_t kRowBytes = 16;
/// Length, address and type before the data; the checksum after it.
constexpr std::size_t kHeadBytes = 4;
constexpr std::size_t kFrameBytes = kHeadBytes + 1;

enum RecordType : std::uint8_t {
    kData,
    kEndOfFile,
    kSegmentBase,
    kStartSegment,
    kLinearBase,
    kStartLinear,
};

std::uint8_t ChecksumOf(std::span<const std::uint8_t> bytes) {
    const unsigned sum = std::accumulate(bytes.begin(), bytes.end(), 0U);
    return static_cast<std::uint8_t>(0U - sum);
}

unsigned WordAt(std::span<const std::uint8_t> bytes) {
    return static_cast<unsigned>(bytes[0]) << 8U | bytes[1];
}

/// The state of reading one file.
class Reader {
public:
    /// Takes one line that is not empty. False with the problem, without the line's number.
    bool Take(std::string_view line) {
        return !m_ended ? Decode(line) && Check() && Apply() : Fail("there is text after the end");
    }

    [[nodiscard]] bool Ended() const { return m_ended; }
    [[nodiscard]] const std::string& Problem() const { return m_problem; }
    [[nodiscard]] MemoryImage& Image() { return m_image; }

private:
    bool Fail(std::string problem) {
        m_problem = std::move(problem);
        return false;
    }

    bool Decode(std::string_view line) {
        if (line.front() != ':') {
            return Fail("a record begins with ':'");
        }
        line.remove_prefix(1);
        m_record.clear();
        for (; line.size() >= 2; line.remove_prefix(2)) {
            std::uint8_t byte = 0;
            const char* end = line.data() + 2;
            const auto result = std::from_chars(line.data(), end, byte, 16);
            if (result.ec != std::errc{} || result.ptr != end) {
                return Fail("'" + std::string(line.substr(0, 2)) +
                            "' are not two hexadecimal digits");
            }
            m_record.push_back(byte);
        }
        return line.empty() || Fail("the number of digits is odd");
    }

    bool Check() {
        if (m_record.size() < kFrameBytes || m_record.size() != kFrameBytes + m_record.front()) {
            return Fail("the record's length is not the one it states");
        }
        const std::uint8_t expected = ChecksumOf(std::span(m_record).first(m_record.size() - 1));
        return m_record.back() == expected || Fail("the checksum is " + HexDigits(expected, 2) +
                                                   ", not " + HexDigits(m_record.back(), 2));
    }

    bool Apply() {
        const auto data =
            std::span<const std::uint8_t>(m_record).subspan(kHeadBytes, m_record.front());
        const unsigned type = m_record[3];
        const auto holds = [&](std::size_t size) {
            return data.size() == size || Fail("a record of type " + HexDigits(type, 2) +
                                               " holds " + std::to_string(size) + " bytes");
        };
        switch (type) {
            case kData:
                return Store(data);
            case kEndOfFile:
                m_ended = true;
                return holds(0);
            case kSegmentBase:
                return holds(2) && MoveTo(WordAt(data) << 4U, true);
            case kLinearBase:
                return holds(2) && MoveTo(WordAt(data) << 16U, false);
            case kStartSegment:
            case kStartLinear:
                return holds(4);
            default:
                return Fail("there is no record type " + HexDigits(type, 2));
        }
    }

    bool MoveTo(std::uint32_t base, bool segment) {
        m_base = base;
        m_segment = segment;
        return true;
    }

    bool Store(std::span<const std::uint8_t> data) {
        std::uint32_t offset = WordAt(std::span(m_record).subspan(1));
        for (const std::uint8_t value : data) {
            const std::uint64_t address = std::uint64_t{m_base} + offset;
            if (address >= MemoryImage::kSizeBytes) {
                return Fail("0x" + HexDigits(address, 1) + " is beyond the chip's memory");
            }
            const auto place = static_cast<std::uint16_t>(address);
            if (m_image.Covers(place) && m_image.At(place) != value) {
                return Fail("0x" + HexDigits(address, 4) + " is given twice with two values");
            }
            m_image.Set(place, value);
            // Within a segment the offset starts over at 64 KiB.
            offset = m_segment ? (offset + 1) & 0xFFFFU : offset + 1;
        }
        return true;
    }

    MemoryImage m_image;
    std::vector<std::uint8_t> m_record;
    std::uint32_t m_base = 0;
    bool m_segment = false;
    bool m_ended = false;
    std::string m_problem;
};

void AppendRecord(std::string& text, std::uint16_t address, RecordType type,
                  std::span<const std::uint8_t> data) {
    std::vector<std::uint8_t> record{static_cast<std::uint8_t>(data.size()),
                                     static_cast<std::uint8_t>(address >> 8U),
                                     static_cast<std::uint8_t>(address & 0xFFU), type};
    record.insert(record.end(), data.begin(), data.end());
    record.push_back(ChecksumOf(record));
    text += ':';
    for (const std::uint8_t byte : record) {
        text += HexDigits(byte, 2);
    }
    text += '\n';
}

}  // namespace

bool ReadIntelHex(std::string_view text, MemoryImage& image, std::string& problem) {
    Reader reader;
    for (unsigned number = 1; !text.empty(); ++number) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        if (!line.empty() && !reader.Take(line)) {
            problem = "line " + std::to_string(number) + ": " + reader.Problem();
            return false;
        }
    }
    if (!reader.Ended()) {
        problem = "the end record is missing";
        return false;
    }
    image = std::move(reader.Image());
    return true;
}

std::string WriteIntelHex(const MemoryImage& image) {
    std::string text;
    std::vector<std::uint8_t> row;
    std::size_t start = 0;
    for (std::size_t address = 0; address <= MemoryImage::kSizeBytes; ++address) {
        const bool covered =
            address < MemoryImage::kSizeBytes && image.Covers(static_cast<std::uint16_t>(address));
        if (!row.empty() && (!covered || address % kRowBytes == 0)) {
            AppendRecord(text, static_cast<std::uint16_t>(start), kData, row);
            row.clear();
        }
        if (covered) {
            start = row.empty() ? address : start;
            row.push_back(image.At(static_cast<std::uint16_t>(address)));
        }
    }
    AppendRecord(text, 0, kEndOfFile, {});
    return text;
}

}  // namespace image
