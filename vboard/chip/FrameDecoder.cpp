// SPDX-License-Identifier: MIT
#include "vboard/chip/FrameDecoder.h"

#include "vboard/probe/LoaderCodes.h"
#include "vboard/time/MustHold.h"

namespace vboard {
namespace {

constexpr std::size_t kCommandOffset = 1;
constexpr std::size_t kLength1Offset = 2;
constexpr std::size_t kLength2Offset = 3;
constexpr std::size_t kAddressOffset = 4;
constexpr std::size_t kLengthFieldOffset = 6;
constexpr std::size_t kBytesBeforeCount = 4;  // L1 counts from the address on.
constexpr std::size_t kMinLength = kFrameHeadBytes - kBytesBeforeCount;
static_assert(kMinLength + kMaxBlockBytes == 254, "an even length byte cannot pass the buffer");

}  // namespace

FrameChecksum ChecksumOf(std::span<const std::uint8_t> bytes) {
    FrameChecksum sum{0xFF, 0xFF};
    for (std::size_t offset = 0; offset < bytes.size(); ++offset) {
        std::uint8_t& half = offset % 2 == 0 ? sum.low : sum.high;
        half = static_cast<std::uint8_t>(half ^ bytes[offset]);
    }
    return sum;
}

void FrameDecoder::Reset() {
    m_count = 0;
    m_expectedCount = 0;
    m_defect = Defect::kNone;
}

FrameDecoder::Status FrameDecoder::Take(const ReceivedCharacter& character) {
    if (character.framingError) {
        return Fail(Defect::kFraming);
    }
    if (character.parityError) {
        return Fail(Defect::kParity);
    }
    MustHold(m_count < m_bytes.size(), "a decoder is reset behind its verdict");
    m_bytes[m_count++] = character.value;
    return Check();
}

FrameDecoder::Status FrameDecoder::Check() {
    if ((m_bytes[0] & kFrameHeaderMask) != kFrameHeader) {
        return Fail(Defect::kHeader);
    }
    if (m_count == kLength2Offset + 1) {
        const std::size_t length = m_bytes[kLength1Offset];
        if (length != m_bytes[kLength2Offset] || length % 2 != 0 || length < kMinLength) {
            return Fail(Defect::kLengths);
        }
        m_expectedCount = kBytesBeforeCount + length + kChecksumBytes;
    }
    if (m_expectedCount == 0 || m_count < m_expectedCount) {
        return Status::kIncomplete;
    }
    const std::size_t covered = m_expectedCount - kChecksumBytes;
    const FrameChecksum sent{m_bytes[covered], m_bytes[covered + 1]};
    return sent == ChecksumOf({m_bytes.data(), covered}) ? Status::kWhole : Fail(Defect::kChecksum);
}

FrameDecoder::Status FrameDecoder::Fail(Defect defect) {
    m_defect = defect;
    return Status::kDefect;
}

std::uint8_t FrameDecoder::At(std::size_t offset) const {
    return offset < m_count ? m_bytes[offset] : std::uint8_t{0};
}

Frame FrameDecoder::Taken() const {
    const auto word = [this](std::size_t offset) {
        return static_cast<std::uint16_t>(At(offset) | At(offset + 1) << 8);
    };
    Frame frame{At(kCommandOffset), word(kAddressOffset), word(kLengthFieldOffset), {}};
    if (m_expectedCount != 0 && m_count == m_expectedCount) {
        frame.data = std::span(m_bytes).subspan(kFrameHeadBytes,
                                                m_expectedCount - kFrameHeadBytes - kChecksumBytes);
    }
    return frame;
}

std::string_view DefectWords(FrameDecoder::Defect defect) {
    switch (defect) {
        case FrameDecoder::Defect::kHeader:
            return "bad header";
        case FrameDecoder::Defect::kLengths:
            return "bad lengths";
        case FrameDecoder::Defect::kChecksum:
            return "bad checksum";
        case FrameDecoder::Defect::kParity:
            return "parity error in a frame";
        case FrameDecoder::Defect::kFraming:
            return "framing error in a frame";
        case FrameDecoder::Defect::kNone:
            break;
    }
    return "";
}

}  // namespace vboard
