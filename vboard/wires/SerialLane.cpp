// SPDX-License-Identifier: MIT
#include "vboard/wires/SerialLane.h"

#include <bit>
#include <utility>

namespace vboard {
namespace {

constexpr unsigned DataMask(const SerialFormat& format) {
    return (1U << format.dataBits) - 1U;
}

/// The parity bit that makes the count of ones even or odd.
constexpr unsigned ParityBit(unsigned data, Parity parity) {
    const unsigned odd = static_cast<unsigned>(std::popcount(data)) & 1U;
    return parity == Parity::kOdd ? odd ^ 1U : odd;
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

ReceivedCharacter Sample(const CharacterBits& sent, Duration senderBitTime,
                         const SerialFormat& receiver) {
    const auto levelAt = [&](unsigned receiverBit) -> unsigned {
        const Duration middle = receiver.BitTime() * receiverBit + receiver.BitTime() / 2;
        const auto sentBit = static_cast<std::uint64_t>(middle / senderBitTime);
        return sentBit < sent.bitCount ? (sent.bits >> sentBit) & 1U : 1U;
    };
    unsigned data = 0;
    for (unsigned bit = 0; bit < receiver.dataBits; ++bit) {
        data |= levelAt(1U + bit) << bit;
    }
    ReceivedCharacter received;
    received.value = static_cast<std::uint8_t>(data);
    unsigned next = 1U + receiver.dataBits;
    if (receiver.parity != Parity::kNone) {
        received.parityError = levelAt(next++) != ParityBit(data, receiver.parity);
    }
    received.framingError = levelAt(next) == 0;
    return received;
}

SerialLane::SerialLane(VirtualClock& clock, Probe& probe, Faults& faults, Direction direction,
                       FormatOf receiverFormat, Deliver deliver)
    : m_clock(clock),
      m_probe(probe),
      m_faults(faults),
      m_direction(direction),
      m_receiverFormat(std::move(receiverFormat)),
      m_deliver(std::move(deliver)) {}

void SerialLane::Send(std::uint8_t value, const SerialFormat& format) {
    m_queue.push_back({value, format, false});
    if (!m_onWire) {
        StartNext();
    }
}

void SerialLane::DropQueued() {
    if (m_late != 0) {
        m_clock.Cancel(m_late);
        m_late = 0;
        m_onWire = false;
    }
    m_queue.resize(m_head + (m_onWire ? 1 : 0));
}

void SerialLane::StartNext() {
    if (m_head == m_queue.size()) {
        m_queue.clear();
        m_head = 0;
        return;
    }
    m_late = 0;
    m_onWire = true;
    Queued& next = m_queue[m_head];
    CharacterFault fault;
    if (!next.again) {
        fault = m_faults.OnCharacter(m_direction == Direction::kHostToChip, next.value);
    }
    if (fault.kind == CharacterFault::Kind::kLate) {
        next.again = true;
        m_late = m_clock.After(fault.delay, [this] { StartNext(); });
        return;
    }
    m_arrives = fault.kind != CharacterFault::Kind::kLost;
    if (fault.kind == CharacterFault::Kind::kChanged) {
        next.value = fault.value;
    }
    m_bits = Encode(next.value, next.format);
    if (fault.kind == CharacterFault::Kind::kParity && next.format.parity != Parity::kNone) {
        m_bits.bits = static_cast<std::uint16_t>(m_bits.bits ^ (1U << (1U + next.format.dataBits)));
    }
    if (fault.kind == CharacterFault::Kind::kDoubled) {
        const Queued twin{next.value, next.format, true};
        m_queue.insert(m_queue.begin() + static_cast<std::ptrdiff_t>(m_head) + 1, twin);
    }
    const Queued& sent = m_queue[m_head];
    if (m_arrives) {
        m_probe.OnCharacter({m_direction, sent.value, m_clock.Now(), sent.format.BitTime(),
                             m_bits.bits, m_bits.bitCount});
    }
    m_clock.After(sent.format.BitTime() * m_bits.bitCount, [this] { Ended(); });
}

void SerialLane::Ended() {
    const Duration bitTime = m_queue[m_head].format.BitTime();
    ++m_head;
    m_onWire = false;
    const bool arrives = m_arrives;
    const CharacterBits bits = m_bits;
    // The next character is on its way before this one is looked at, as in a UART with a FIFO.
    StartNext();
    if (arrives) {
        m_deliver(Sample(bits, bitTime, m_receiverFormat()));
    }
}

}  // namespace vboard
