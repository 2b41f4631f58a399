// SPDX-License-Identifier: MIT
#pragma once

// The programming link: two lanes between the host's port and the chip.

#include <utility>

#include "vboard/chip/Chip.h"
#include "vboard/wires/SerialLane.h"

namespace vboard {

class SerialWire : public SerialSink {
public:
    /// All must outlive the wire.
    SerialWire(VirtualClock& clock, Probe& probe, Faults& faults, Chip& chip);

    /// Who gets the characters that arrive at the host's end.
    void ConnectHost(SerialLane::Deliver receiver) { m_hostReceiver = std::move(receiver); }

    /// The format that the host's port is set to, in both directions.
    void SetHostFormat(const SerialFormat& format) { m_hostFormat = format; }
    /// What was set last.
    [[nodiscard]] const SerialFormat& HostFormat() const { return m_hostFormat; }

    /// Queues a character of the host in its format.
    void SendToChip(std::uint8_t value) { m_toChip.Send(value, m_hostFormat); }
    void Send(std::uint8_t value, const SerialFormat& format) override {
        m_toHost.Send(value, format);
    }
    void Stop() override { m_toHost.DropQueued(); }

    /// Nothing is on the wire any more, in either direction.
    void Forget() {
        m_toChip.Forget();
        m_toHost.Forget();
    }

    /// Characters of the host still queued or on the wire.
    [[nodiscard]] std::size_t PendingToChip() const { return m_toChip.Pending(); }
    /// Takes back what has not begun: the character on the wire goes on.
    void DropQueuedToChip() { m_toChip.DropQueued(); }
    /// The host pulls its transmit line low, or lets go of it: see SerialLane::SetBreak.
    void SetBreakToChip(bool low) { m_toChip.SetBreak(low); }

private:
    SerialFormat m_hostFormat;
    SerialLane::Deliver m_hostReceiver;
    SerialLane m_toChip;
    SerialLane m_toHost;
};

}  // namespace vboard
