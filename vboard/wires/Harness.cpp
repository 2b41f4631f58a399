// SPDX-License-Identifier: MIT
#include "vboard/wires/Harness.h"

#include "vboard/wires/MessageWire.h"

namespace vboard {
namespace {

struct Wire {
    HostLine line;
    Pin pin;
    Signal signal;  ///< Idle, it has the level of the line while nobody drives it.
};

// As the waveforms of the board's programs imply it: the line called RxD/NMI moves RST/NMI, and the
// line called reset holds the whole chip. A part with another wiring gets a row of its own.
constexpr std::array<Wire, kHostLineCount> kWires{{
    {HostLine::kReset, Pin::kHold, Signal::kResetGpio},
    {HostLine::kRxdNmi, Pin::kRstNmi, Signal::kRxdNmiGpio},
    {HostLine::kMspTck, Pin::kTck, Signal::kMspTckGpio},
}};

constexpr const Wire& WireOf(HostLine line) {
    return kWires[static_cast<std::size_t>(line)];
}

bool LevelOf(const Wire& wire, Drive drive) {
    const bool pullsUp = InfoOf(wire.signal).idleValue != 0;
    return drive == Drive::kReleased ? pullsUp : drive == Drive::kHigh;
}

}  // namespace

Harness::Harness(Probe& probe, Faults& faults, Chip& chip, MessageWire& messages)
    : m_probe(probe), m_faults(faults), m_chip(chip), m_messages(messages) {
    m_drives.fill(Drive::kReleased);
}

void Harness::Restore(const std::array<Drive, kHostLineCount>& drives, bool tristate) {
    m_drives = drives;
    m_tristate = tristate;
    m_messages.Cut(tristate);
    for (const Wire& wire : kWires) {
        m_probe.OnSignal(wire.signal, IsHigh(wire.line) ? 1 : 0);
    }
    m_probe.OnSignal(Signal::kTristate, tristate ? 1 : 0);
}

void Harness::Set(HostLine line, Drive drive) {
    const Wire& wire = WireOf(line);
    const bool was = IsHigh(line);
    m_drives[static_cast<std::size_t>(line)] = drive;
    const bool high = IsHigh(line);
    if (was == high) {
        return;
    }
    m_probe.OnSignal(wire.signal, high ? 1 : 0);
    if (m_faults.EdgeArrives(InfoOf(wire.signal).name, high)) {
        m_chip.SetPin(wire.pin, high ? PinLevel::kHigh : PinLevel::kLow);
    }
}

void Harness::SetTristate(bool on) {
    if (m_tristate == on) {
        return;
    }
    m_tristate = on;
    m_probe.OnSignal(Signal::kTristate, on ? 1 : 0);
    m_messages.Cut(on);
}

Drive Harness::Driven(HostLine line) const {
    return m_drives[static_cast<std::size_t>(line)];
}

bool Harness::IsHigh(HostLine line) const {
    return LevelOf(WireOf(line), Driven(line));
}

}  // namespace vboard
