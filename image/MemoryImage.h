// SPDX-License-Identifier: MIT
#pragma once

// Bytes for the chip's address space of 64 KiB, and which of its addresses have one.

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace image {

/// Which bytes an image has, and their values.
class MemoryImage {
public:
    /// The whole address space of the chip.
    static constexpr std::size_t kSizeBytes = 0x10000;

    /// Covers nothing.
    MemoryImage() : m_bytes(kSizeBytes, kUncovered) {}

    /// Covers `address`; a later value takes the place of an earlier one.
    void Set(std::uint16_t address, std::uint8_t value) {
        m_bytes[address] = value;
        m_covered.set(address);
    }

    /// Whether the image has a byte for `address`.
    [[nodiscard]] bool Covers(std::uint16_t address) const { return m_covered.test(address); }
    /// 0xFF, as erased flash holds, where nothing is covered.
    [[nodiscard]] std::uint8_t At(std::uint16_t address) const { return m_bytes[address]; }
    /// How many addresses have one.
    [[nodiscard]] std::size_t CoveredBytes() const { return m_covered.count(); }

    bool operator==(const MemoryImage&) const = default;

private:
    static constexpr std::uint8_t kUncovered = 0xFF;

    std::vector<std::uint8_t> m_bytes;
    std::bitset<kSizeBytes> m_covered;
};

}  // namespace image
