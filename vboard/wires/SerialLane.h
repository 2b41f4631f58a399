// SPDX-License-Identifier: MIT
#pragma once

// One direction of the serial link. Characters wait their turn, take their bits' time on the wire,
// and reach the other end as its UART reads them.

#include <cstddef>
#include <functional>
#include <vector>

#include "vboard/chip/SerialFormat.h"
#include "vboard/faults/Faults.h"
#include "vboard/probe/Probe.h"
#include "vboard/wires/UartReceiver.h"

namespace vboard {

class SerialLane {
public:
    /// As the receiver at the end of the lane has them.
    using Deliver = UartReceiver::Deliver;
    using FormatOf = UartReceiver::FormatOf;

    /// `clock`, `probe` and `faults` must outlive the lane. `receiverFormat` is asked at the moment
    /// of arrival.
    SerialLane(VirtualClock& clock, Probe& probe, Faults& faults, Direction direction,
               FormatOf receiverFormat, Deliver deliver);

    /// Queues a character behind those already waiting.
    void Send(std::uint8_t value, const SerialFormat& format);

    /// Characters queued or on the wire.
    [[nodiscard]] std::size_t Pending() const { return m_queue.size() - m_head; }
    /// Drops everything, after the clock's actions have been taken back.
    void Forget();
    /// Drops what is queued; the character on the wire goes on.
    void DropQueued();

    /// A break: the sender pulls the line low, from the end of the character on the wire on, until
    /// it lets go of it. What is queued waits.
    void SetBreak(bool low);

private:
    struct Queued {
        std::uint8_t value;
        SerialFormat format;
        bool again;  ///< A doubled character's twin or a late one; no further fault strikes it.
    };

    [[nodiscard]] bool CharacterOnWire() const { return m_onWire && m_late == 0; }
    void StartNext();
    void Put(Queued& next, const CharacterFault& fault);
    void Ended();
    void ApplyBreak();

    VirtualClock& m_clock;
    Probe& m_probe;
    Faults& m_faults;
    Direction m_direction;
    UartReceiver m_receiver;
    std::vector<Queued> m_queue;
    std::size_t m_head = 0;  ///< The character on the wire, when m_onWire.
    bool m_onWire = false;   ///< Also while a late character holds up the lane.
    VirtualClock::Ticket m_late = 0;
    bool m_arrives = true;
    bool m_breakWanted = false;
    bool m_inBreak = false;
};

}  // namespace vboard
