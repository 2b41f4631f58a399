// SPDX-License-Identifier: MIT
#pragma once

// Firmware images for sweeps, built record by record, so that what a download must do is known
// without reading the file.

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace sweeps {

struct Record {
    std::uint8_t type;
    std::uint16_t address;
    std::vector<std::uint8_t> data;
};

class Image {
public:
    explicit Image(std::string name) : m_name(std::move(name)) {}

    Image& Data(std::uint16_t address, std::vector<std::uint8_t> bytes);
    /// `count` bytes of a fixed pattern that never repeats at a distance of a block.
    Image& Pattern(std::uint16_t address, std::size_t count);
    Image& Segment(std::uint16_t segment);
    /// The word at 0x2100 that the firmware reports.
    Image& Version(std::uint16_t version);
    /// 32 bytes at 0xFFE0 whose reset vector points into the image.
    Image& Vectors();

    [[nodiscard]] const std::string& Name() const { return m_name; }
    [[nodiscard]] const std::vector<Record>& Records() const { return m_records; }
    [[nodiscard]] std::uint16_t VersionWord() const { return m_version; }
    /// Intel HEX, upper case, with an end-of-file record.
    [[nodiscard]] std::string HexText() const;
    /// What all 64 KiB should hold afterwards in main memory: the image, erased cells beside it,
    /// and behind an odd record the byte that an earlier, longer one has left in the buffer.
    [[nodiscard]] const std::vector<std::uint8_t>& Memory() const { return m_memory; }

private:
    std::string m_name;
    std::vector<Record> m_records;
    std::vector<std::uint8_t> m_memory = std::vector<std::uint8_t>(0x10000, 0xFF);
    std::array<std::uint8_t, 256> m_buffer{};  ///< What the program sends from.
    std::uint16_t m_version = 0;
};

/// The images that a sweep runs over.
[[nodiscard]] std::vector<Image> AllImages();

}  // namespace sweeps
