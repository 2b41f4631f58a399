// SPDX-License-Identifier: MIT
#include "tests/sweeps/Image.h"

#include <algorithm>
#include <utility>

#include "vboard/text/Format.h"
#include "vboard/text/HexText.h"

namespace sweeps {
namespace {

constexpr std::uint8_t kDataType = 0;
constexpr std::uint8_t kSegmentType = 2;
constexpr std::uint16_t kVersion = 0x1234;

std::string RecordText(const Record& record) {
    std::vector<std::uint8_t> bytes{static_cast<std::uint8_t>(record.data.size()),
                                    static_cast<std::uint8_t>(record.address >> 8U),
                                    static_cast<std::uint8_t>(record.address & 0xFFU), record.type};
    bytes.insert(bytes.end(), record.data.begin(), record.data.end());
    unsigned sum = 0;
    for (const std::uint8_t byte : bytes) {
        sum += byte;
    }
    bytes.push_back(static_cast<std::uint8_t>(0x100U - (sum & 0xFFU)));
    std::string text = ":";
    for (const std::uint8_t byte : bytes) {
        vboard::AppendFormatted(text, "{:02X}", byte);
    }
    return text + "\n";
}

}  // namespace

Image& Image::Data(std::uint16_t address, std::vector<std::uint8_t> bytes) {
    std::copy(bytes.begin(), bytes.end(), m_buffer.begin());
    const std::size_t sent = bytes.size() + bytes.size() % 2;
    for (std::size_t i = 0; i < sent; ++i) {
        m_memory[static_cast<std::uint16_t>(address + i)] = m_buffer[i];
    }
    m_records.push_back({kDataType, address, std::move(bytes)});
    return *this;
}

Image& Image::Pattern(std::uint16_t address, std::size_t count) {
    std::vector<std::uint8_t> bytes(count);
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<std::uint8_t>((address + i) * 7U + (i >> 3U) + 1U);
    }
    return Data(address, std::move(bytes));
}

Image& Image::Segment(std::uint16_t segment) {
    m_records.push_back(
        {kSegmentType,
         0,
         {static_cast<std::uint8_t>(segment >> 8U), static_cast<std::uint8_t>(segment & 0xFFU)}});
    return *this;
}

Image& Image::Version(std::uint16_t version) {
    m_version = version;
    return Data(0x2100, {static_cast<std::uint8_t>(version & 0xFFU),
                         static_cast<std::uint8_t>(version >> 8U)});
}

Image& Image::Vectors() {
    std::vector<std::uint8_t> bytes(32, 0xFF);
    bytes[30] = 0x04;
    bytes[31] = 0x21;
    return Data(0xFFE0, std::move(bytes));
}

std::string Image::HexText() const {
    std::string text;
    for (const Record& record : m_records) {
        text += RecordText(record);
    }
    return text + ":00000001FF\n";
}

std::vector<Image> AllImages() {
    std::vector<Image> images;
    // As a linker writes it: version first, vectors last.
    images.push_back(Image("plain")
                         .Version(kVersion)
                         .Pattern(0x2104, 16)
                         .Pattern(0x2114, 16)
                         .Pattern(0x2124, 16)
                         .Pattern(0x2134, 14)
                         .Vectors());
    // Everything that a record can be: odd, empty, as long as a block may be, behind a segment
    // record.
    images.push_back(Image("mixed")
                         .Version(kVersion)
                         .Pattern(0x2104, 250)
                         .Data(0x2300, {})
                         .Segment(0x1000)
                         .Pattern(0x2300, 15)
                         .Segment(0)
                         .Pattern(0x2310, 1)
                         .Vectors());
    // The vectors before the rest: an image whose application starts although its end is missing.
    images.push_back(Image("vectors-first")
                         .Vectors()
                         .Version(kVersion)
                         .Pattern(0x2104, 16)
                         .Pattern(0x2114, 16)
                         .Pattern(0x2124, 16));
    return images;
}

}  // namespace sweeps
