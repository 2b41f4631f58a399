// SPDX-License-Identifier: MIT
#pragma once

// Characters in; whole frames or a named defect out.
//
//     80 CMD L1 L2 AL AH LL LH data… CKL CKH
//
// L1 = L2 = the count of bytes after L2 without the checksum (SLAU319). The first byte may be
// anything from 0x80 to 0x8F (SLAA089D). The decoder has no
// time-out: a frame that stops in the middle is filled by whatever comes next.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "vboard/chip/SerialFormat.h"

namespace vboard {

inline constexpr std::size_t kFrameHeadBytes = 8;  ///< Before the data.
/// Behind the data: CKL and CKH.
inline constexpr std::size_t kChecksumBytes = 2;
/// The most data of one frame (SLAU319, data frames of the loader).
inline constexpr std::size_t kMaxBlockBytes = 250;

/// The last two bytes of a frame, in the order in which they are sent.
struct FrameChecksum {
    std::uint8_t low = 0;
    std::uint8_t high = 0;
    bool operator==(const FrameChecksum&) const = default;
};

/// The XOR of the bytes at even offsets and of those at odd offsets, each inverted. The header is
/// part of `bytes`.
[[nodiscard]] FrameChecksum ChecksumOf(std::span<const std::uint8_t> bytes);

/// A frame whose checksum is right. `data` points into the decoder and lasts until its next Reset.
struct Frame {
    std::uint8_t command = 0;
    std::uint16_t address = 0;
    std::uint16_t lengthField = 0;
    std::span<const std::uint8_t> data;
};

/// Gathers the characters of one frame at a time and says when it is whole or can not become so.
class FrameDecoder {
public:
    /// How far the frame has come.
    enum class Status : std::uint8_t { kIncomplete, kWhole, kDefect };

    /// The first thing that was wrong with it.
    enum class Defect : std::uint8_t {
        kNone,
        kHeader,    ///< The first character is not 0x80 to 0x8F.
        kLengths,   ///< L1 and L2 differ, are odd or below 4; seen at L2.
        kChecksum,  ///< Seen at CKH.
        kParity,    ///< A character with a parity error.
        kFraming,   ///< A character without its stop bit.
    };

    /// Takes the next character. After anything but kIncomplete, Reset comes first.
    Status Take(const ReceivedCharacter& character);

    /// Waits for the first character of a frame.
    void Reset();

    /// What has come, as far as it has come: fields that have not are 0.
    [[nodiscard]] Frame Taken() const;
    /// kNone until Take has said kDefect.
    [[nodiscard]] Defect WhatIsWrong() const { return m_defect; }

private:
    [[nodiscard]] Status Check();
    [[nodiscard]] Status Fail(Defect defect);
    [[nodiscard]] std::uint8_t At(std::size_t offset) const;

    std::array<std::uint8_t, kFrameHeadBytes + kMaxBlockBytes + kChecksumBytes> m_bytes{};
    std::size_t m_count = 0;
    std::size_t m_expectedCount = 0;  ///< Known once L2 is there.
    Defect m_defect = Defect::kNone;
};

/// "bad checksum" and its like, for people.
[[nodiscard]] std::string_view DefectWords(FrameDecoder::Defect defect);

}  // namespace vboard
