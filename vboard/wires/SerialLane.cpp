// SPDX-License-Identifier: MIT
#include "vboard/wires/SerialLane.h"

#include <utility>

#include "vboard/time/BitTime.h"
#include "vboard/time/MustHold.h"

namespace vboard {
namespace {

constexpr std::size_t kForgottenAtOnce = 1024;

}  // namespace

SerialLane::SerialLane(VirtualClock& clock, Probe& probe, Faults& faults, Direction direction,
                       FormatOf receiverFormat, Deliver deliver)
    : m_clock(clock),
      m_probe(probe),
      m_faults(faults),
      m_direction(direction),
      m_receiver(clock, std::move(receiverFormat), std::move(deliver)) {}

void SerialLane::Send(std::uint8_t value, const SerialFormat& format) {
    m_queue.push_back({value, format, false});
    if (!m_onWire) {
        StartNext();
    }
}

void SerialLane::Forget() {
    m_queue.clear();
    m_head = 0;
    m_late = 0;
    m_onWire = false;
    m_breakWanted = false;
    m_inBreak = false;
    m_receiver.Drop();
}

void SerialLane::DropQueued() {
    if (m_late != 0) {
        m_clock.Cancel(m_late);
        m_late = 0;
        m_onWire = false;
    }
    m_queue.resize(m_head + (m_onWire ? 1 : 0));
}

void SerialLane::SetBreak(bool low) {
    m_breakWanted = low;
    if (!CharacterOnWire()) {
        ApplyBreak();
    }
}

void SerialLane::ApplyBreak() {
    if (m_breakWanted == m_inBreak) {
        return;
    }
    m_inBreak = m_breakWanted;
    m_probe.OnBreak(m_direction, m_inBreak);
    m_receiver.SetBreak(m_inBreak);
    if (!m_inBreak && !m_onWire) {
        StartNext();
    }
}

void SerialLane::StartNext() {
    m_late = 0;
    m_onWire = false;
    if (m_inBreak) {
        return;
    }
    if (m_head == m_queue.size()) {
        m_queue.clear();
        m_head = 0;
        return;
    }
    m_onWire = true;
    Queued& next = m_queue[m_head];
    CharacterFault fault;
    if (!next.again) {
        fault = m_faults.FaultOfCharacter(m_direction == Direction::kHostToChip, next.value);
    }
    if (fault.kind == CharacterFault::Kind::kLate) {
        next.again = true;
        m_late = m_clock.After(fault.delay, [this] { StartNext(); });
        return;
    }
    Put(next, fault);
}

void SerialLane::Put(Queued& next, const CharacterFault& fault) {
    m_arrives = fault.kind != CharacterFault::Kind::kLost;
    if (fault.kind == CharacterFault::Kind::kChanged) {
        next.value = fault.value;
    }
    const Queued sent = next;
    CharacterBits bits = Encode(sent.value, sent.format);
    if (fault.kind == CharacterFault::Kind::kParity && sent.format.parity != Parity::kNone) {
        bits.bits = static_cast<std::uint16_t>(bits.bits ^ (1U << (1U + sent.format.dataBits)));
    }
    if (fault.kind == CharacterFault::Kind::kDoubled) {
        const Queued twin{sent.value, sent.format, true};
        m_queue.insert(m_queue.begin() + static_cast<std::ptrdiff_t>(m_head) + 1, twin);
    }
    if (m_arrives) {
        m_probe.OnCharacter({m_direction, sent.value, m_clock.Now(), sent.format.bitsPerSecond,
                             bits.bits, bits.bitCount});
        m_receiver.Begins(bits, sent.format);
    }
    m_clock.After(TimeOfBits(bits.bitCount, sent.format.bitsPerSecond), [this] { Ended(); });
}

void SerialLane::Ended() {
    MustHold(m_onWire && m_head < m_queue.size(), "a character that ends has been on the wire");
    ++m_head;
    if (m_head == kForgottenAtOnce) {
        // A queue that never runs empty does not keep what has long been sent.
        m_queue.erase(m_queue.begin(), m_queue.begin() + static_cast<std::ptrdiff_t>(m_head));
        m_head = 0;
    }
    m_onWire = false;
    const auto received = m_arrives ? m_receiver.Ends() : std::nullopt;
    ApplyBreak();
    // The next character is on its way before this one is looked at, as in a UART with a FIFO.
    StartNext();
    if (received) {
        m_receiver.Hand(*received);
    }
}

}  // namespace vboard
