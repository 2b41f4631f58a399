// SPDX-License-Identifier: MIT
#include "vboard/wires/UartReceiver.h"

#include <bit>
#include <utility>

#include "vboard/time/BitTime.h"
#include "vboard/time/MustHold.h"

namespace vboard {
namespace {

/// An edge right in the middle of a bit counts as before it; rounding may put it this much later.
constexpr Duration kRounding{3};

constexpr unsigned DataMask(const SerialFormat& format) {
    return (1U << format.dataBits) - 1U;
}

/// The parity bit that makes the count of ones even or odd.
constexpr unsigned ParityBit(unsigned data, Parity parity) {
    const unsigned odd = static_cast<unsigned>(std::popcount(data)) & 1U;
    return parity == Parity::kOdd ? odd ^ 1U : odd;
}

/// Up to the end of the first stop bit.
constexpr unsigned BitsToReceive(const SerialFormat& format) {
    return 1U + format.dataBits + (format.parity == Parity::kNone ? 0U : 1U) + 1U;
}

/// A character whose bits are known, by number from the start bit on.
template <class LevelOf>
ReceivedCharacter ReadBits(const SerialFormat& format, LevelOf levelOf) {
    unsigned data = 0;
    for (unsigned bit = 0; bit < format.dataBits; ++bit) {
        data |= (levelOf(1U + bit) ? 1U : 0U) << bit;
    }
    ReceivedCharacter received;
    received.value = static_cast<std::uint8_t>(data);
    unsigned next = 1U + format.dataBits;
    if (format.parity != Parity::kNone) {
        received.parityError = (levelOf(next++) ? 1U : 0U) != ParityBit(data, format.parity);
    }
    received.framingError = !levelOf(next);
    return received;
}

/// A character whose bits are the receiver's own.
ReceivedCharacter Read(const CharacterBits& sent, const SerialFormat& format) {
    unsigned rest = static_cast<unsigned>(sent.bits) >> 1U;
    const unsigned data = rest & DataMask(format);
    rest >>= format.dataBits;
    ReceivedCharacter received;
    received.value = static_cast<std::uint8_t>(data);
    if (format.parity != Parity::kNone) {
        received.parityError = (rest & 1U) != ParityBit(data, format.parity);
        rest >>= 1U;
    }
    received.framingError = (rest & 1U) == 0;
    return received;
}

}  // namespace

CharacterBits Encode(std::uint8_t value, const SerialFormat& format) {
    const unsigned data = value & DataMask(format);
    unsigned bits = data << 1U;
    unsigned next = 1U + format.dataBits;
    if (format.parity != Parity::kNone) {
        bits |= ParityBit(data, format.parity) << next++;
    }
    for (unsigned stop = 0; stop < format.stopBits; ++stop) {
        bits |= 1U << next++;
    }
    return {static_cast<std::uint16_t>(bits), next};
}

UartReceiver::UartReceiver(VirtualClock& clock, FormatOf format, Deliver deliver)
    : m_clock(clock), m_format(std::move(format)), m_deliver(std::move(deliver)) {}

UartReceiver::~UartReceiver() {
    m_clock.Cancel(m_finish);
}

void UartReceiver::Begins(const CharacterBits& bits, const SerialFormat& sender) {
    const Instant now = m_clock.Now();
    if (!m_start) {
        Forget(now);
    }
    m_line.push_back(
        {now, now + TimeOfBits(bits.bitCount, sender.bitsPerSecond), bits, sender.bitsPerSecond});
    if (m_start) {
        return;
    }
    m_agrees = m_line.size() == 1 && m_format() == sender;
    if (m_agrees) {
        m_start = now;
        m_sender = sender;
    } else {
        LookFor(NextFall(now - Duration{1}));
    }
}

std::optional<ReceivedCharacter> UartReceiver::Ends() {
    if (!std::exchange(m_agrees, false)) {
        return std::nullopt;
    }
    if (m_format() != m_sender) {
        FinishLater();
        return std::nullopt;
    }
    ReceivedCharacter received = Read(m_line.front().bits, m_sender);
    received.start = *std::exchange(m_start, std::nullopt);
    m_line.clear();
    return received;
}

void UartReceiver::SetBreak(bool low) {
    const Instant now = m_clock.Now();
    if (!low) {
        if (!m_line.empty() && m_line.back().end == Instant::max()) {
            m_line.back().end = now;
        }
        return;
    }
    m_line.push_back({now, Instant::max(), {0, 1}, 1});
    if (!m_start) {
        LookFor(NextFall(now - Duration{1}));
    }
}

bool UartReceiver::IsHigh(Instant when) const {
    for (auto stretch = m_line.rbegin(); stretch != m_line.rend(); ++stretch) {
        if (when < stretch->start) {
            continue;
        }
        if (when >= stretch->end) {
            return true;
        }
        unsigned bit = 0;
        while (bit + 1 < stretch->bits.bitCount &&
               when >= stretch->start + TimeOfBits(bit + 1, stretch->bitsPerSecond)) {
            ++bit;
        }
        return (stretch->bits.bits >> bit & 1U) != 0;
    }
    return true;
}

/// In the middle between two edges of the receiver's bits: 2 n + 1 for bit n.
bool UartReceiver::IsHighAtHalf(unsigned half, const SerialFormat& format) const {
    return IsHigh(*m_start + TimeOfHalfBits(half, format.bitsPerSecond) + kRounding);
}

std::optional<Instant> UartReceiver::NextFall(Instant after) const {
    for (const Stretch& stretch : m_line) {
        for (unsigned bit = 0; bit < stretch.bits.bitCount; ++bit) {
            const Instant begins = stretch.start + TimeOfBits(bit, stretch.bitsPerSecond);
            const bool high = (stretch.bits.bits >> bit & 1U) != 0;
            if (begins > after && !high && IsHigh(begins - Duration{1})) {
                return begins;
            }
        }
    }
    return std::nullopt;
}

void UartReceiver::LookFor(std::optional<Instant> fall) {
    m_start = fall;
    Forget(fall.value_or(m_clock.Now()));
    if (fall) {
        FinishLater();
    }
}

void UartReceiver::FinishLater() {
    MustHold(m_start.has_value(), "a character that is completed has begun");
    const SerialFormat& format = m_format();
    const Instant end = *m_start + TimeOfBits(BitsToReceive(format), format.bitsPerSecond);
    m_finish = m_clock.At(end, [this] { Finish(); });
}

void UartReceiver::Finish() {
    const SerialFormat& format = m_format();
    const Instant end = *m_start + TimeOfBits(BitsToReceive(format), format.bitsPerSecond);
    if (end > m_clock.Now()) {
        FinishLater();
        return;
    }
    if (IsHighAtHalf(1, format)) {
        LookFor(NextFall(*m_start + TimeOfHalfBits(1, format.bitsPerSecond) + kRounding));
        return;
    }
    ReceivedCharacter received =
        ReadBits(format, [&](unsigned bit) { return IsHighAtHalf(2 * bit + 1, format); });
    received.start = *m_start;
    const unsigned stopBit = BitsToReceive(format) - 1;
    LookFor(NextFall(*m_start + TimeOfHalfBits(2 * stopBit + 1, format.bitsPerSecond) + kRounding));
    m_deliver(received);
}

// What ends before the next character begins is not looked at again.
void UartReceiver::Forget(Instant before) {
    while (!m_line.empty() && m_line.front().end <= before) {
        m_line.pop_front();
    }
}

}  // namespace vboard
