// SPDX-License-Identifier: MIT
#pragma once

// Which host line reaches which pin of the chip, with pull resistors, and the tristate switch of
// the second link.

#include <array>

#include "vboard/chip/Chip.h"
#include "vboard/wires/Level.h"

namespace vboard {

class MessageWire;

/// The three lines and the switch of one board.
class Harness {
public:
    /// All must outlive the harness.
    Harness(Probe& probe, Faults& faults, Chip& chip, MessageWire& messages);

    /// Takes over kept levels without any edge: nothing reaches the chip.
    void Restore(const std::array<Drive, kHostLineCount>& drives, bool tristate);

    /// The host drives a line or lets go of it. An edge reaches the chip unless a fault takes it.
    void Set(HostLine line, Drive drive);
    /// True cuts the second link off from the chip.
    void SetTristate(bool on);

    /// What was set last, of the switch and of a line.
    [[nodiscard]] bool Tristate() const { return m_tristate; }
    [[nodiscard]] Drive Driven(HostLine line) const;
    /// The level that a reader of the line sees.
    [[nodiscard]] bool IsHigh(HostLine line) const;

private:
    Probe& m_probe;
    Faults& m_faults;
    Chip& m_chip;
    MessageWire& m_messages;
    std::array<Drive, kHostLineCount> m_drives;
    bool m_tristate = false;
};

}  // namespace vboard
