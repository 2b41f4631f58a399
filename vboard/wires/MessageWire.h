// SPDX-License-Identifier: MIT
#pragma once

// The second link: whole messages between the communication device and the application in the chip.
// The tristate switch cuts it; what is sent meanwhile is lost.

#include <functional>
#include <span>
#include <utility>

#include "vboard/chip/Chip.h"

namespace vboard {

/// Connects one chip and one communication device, in both directions at no cost of time.
class MessageWire : public MessageSink {
public:
    /// Gets whole messages without their length byte.
    using Receiver = std::function<void(std::span<const std::uint8_t>)>;

    /// Both must outlive the wire.
    MessageWire(Probe& probe, Chip& chip) : m_probe(probe), m_chip(chip) {}

    /// Who gets the chip's messages at the host's end.
    void ConnectHost(Receiver receiver) { m_receiver = std::move(receiver); }
    /// True cuts the link, false mends it. What was sent meanwhile is not kept.
    void Cut(bool cut) { m_cut = cut; }

    /// A message from the host, without its length byte.
    void SendToChip(std::span<const std::uint8_t> message);
    void SendMessage(std::span<const std::uint8_t> message) override;

private:
    Probe& m_probe;
    Chip& m_chip;
    Receiver m_receiver;
    bool m_cut = false;
};

}  // namespace vboard
