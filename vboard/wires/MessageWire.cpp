// SPDX-License-Identifier: MIT
#include "vboard/wires/MessageWire.h"

namespace vboard {

void MessageWire::SendToChip(std::span<const std::uint8_t> message) {
    m_probe.OnMessage(Direction::kHostToChip, message);
    if (!m_cut) {
        m_chip.ReceiveMessage(message);
    }
}

void MessageWire::SendMessage(std::span<const std::uint8_t> message) {
    m_probe.OnMessage(Direction::kChipToHost, message);
    if (!m_cut && m_receiver) {
        m_receiver(message);
    }
}

}  // namespace vboard
