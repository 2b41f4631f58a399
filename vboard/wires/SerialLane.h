// SPDX-License-Identifier: MIT
#pragma once

// One direction of the serial link. Characters wait their turn, take their bits' time on the wire,
// and reach the receiver as the receiver's own format reads them: another speed or parity at the
// other end gives other values and errors.

#include <cstddef>
#include <functional>
#include <vector>

#include "vboard/chip/SerialFormat.h"
#include "vboard/faults/Faults.h"
#include "vboard/record/Probe.h"

namespace vboard {

/// The bits of one character as they stand on the wire: bit 0 is the start bit, 1 is the idle
/// level.
struct CharacterBits {
    std::uint16_t bits;
    unsigned bitCount;
};
[[nodiscard]] CharacterBits Encode(std::uint8_t value, const SerialFormat& format);

/// How a receiver in `receiver` format reads a character that a sender put on the wire with
/// `senderBitTime`. The line is idle after it. Samples lie in the middle of the receiver's own
/// bits, as in a UART.
[[nodiscard]] ReceivedCharacter Sample(const CharacterBits& sent, Duration senderBitTime,
                                       const SerialFormat& receiver);

class SerialLane {
public:
    using Deliver = std::function<void(const ReceivedCharacter&)>;
    using FormatOf = std::function<const SerialFormat&()>;

    /// `receiverFormat` is asked at the moment of arrival.
    SerialLane(VirtualClock& clock, Probe& probe, Faults& faults, Direction direction,
               FormatOf receiverFormat, Deliver deliver);

    /// Queues a character behind those already waiting.
    void Send(std::uint8_t value, const SerialFormat& format);

    /// Characters queued or on the wire.
    [[nodiscard]] std::size_t Pending() const { return m_queue.size() - m_head; }
    /// Drops what is queued; the character on the wire goes on.
    void DropQueued();

private:
    struct Queued {
        std::uint8_t value;
        SerialFormat format;
        bool again;  ///< A doubled character's twin or a late one; no further fault strikes it.
    };

    void StartNext();
    void Ended();

    VirtualClock& m_clock;
    Probe& m_probe;
    Faults& m_faults;
    Direction m_direction;
    FormatOf m_receiverFormat;
    Deliver m_deliver;
    std::vector<Queued> m_queue;
    std::size_t m_head = 0;  ///< The character on the wire, when m_onWire.
    bool m_onWire = false;   ///< Also while a late character holds up the lane.
    VirtualClock::Ticket m_late = 0;
    bool m_arrives = true;
    CharacterBits m_bits{};
};

}  // namespace vboard
