// SPDX-License-Identifier: MIT
#include "image/IntelHex.h"

#include <cstdint>
#include <numeric>
#include <span>
#include <utility>
#include <vector>

#include "image/HexDigits.h"
#include "image/HexReader.h"
#include "image/RecordType.h"

namespace image {
namespace {

constexpr std::size_t kRowBytes = 16;

std::uint8_t ChecksumOf(std::span<const std::uint8_t> bytes) {
    const unsigned sum = std::accumulate(bytes.begin(), bytes.end(), 0U);
    return static_cast<std::uint8_t>(0U - sum);
}

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
    HexReader reader({Area{}}, "the chip's memory");
    reader.Take(text);
    reader.Finish();
    if (const Finding* why = reader.Found().FirstRefusal()) {
        problem = "line " + std::to_string(why->line) + ": " + why->what;
        return false;
    }
    image = std::move(reader.Image());
    return true;
}

MemoryImage Canonical(const MemoryImage& image) {
    MemoryImage canonical = image;
    for (std::size_t address = 0; address < MemoryImage::kSizeBytes; ++address) {
        const auto place = static_cast<std::uint16_t>(address);
        const auto other = static_cast<std::uint16_t>(address ^ 1U);
        if (image.Covers(place) && !image.Covers(other)) {
            canonical.Set(other, 0xFF);
        }
    }
    return canonical;
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
