// SPDX-License-Identifier: MIT
#include "vboard/wires/SerialWire.h"

namespace vboard {

SerialWire::SerialWire(VirtualClock& clock, Probe& probe, Faults& faults, Chip& chip)
    : m_toChip(
          clock, probe, faults, Direction::kHostToChip,
          [&chip]() -> const SerialFormat& { return chip.Format(); },
          [&chip](const ReceivedCharacter& character) { chip.Receive(character); }),
      m_toHost(
          clock, probe, faults, Direction::kChipToHost,
          [this]() -> const SerialFormat& { return m_hostFormat; },
          [this](const ReceivedCharacter& character) {
              if (m_hostReceiver) {
                  m_hostReceiver(character);
              }
          }) {}

}  // namespace vboard
