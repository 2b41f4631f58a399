// SPDX-License-Identifier: MIT
#pragma once

// One watched value of the chip: remembers what was announced last and speaks only on a change.

#include <cstdint>

#include "vboard/probe/Probe.h"
#include "vboard/probe/Signals.h"

namespace vboard {

class SignalOutput {
public:
    /// Starts at the signal's idle value, which nobody has to be told. `probe` must outlive it.
    SignalOutput(Probe& probe, Signal signal)
        : m_probe(probe), m_signal(signal), m_value(InfoOf(signal).idleValue) {}

    /// Announces the value unless it was announced last.
    void Set(std::uint32_t value) {
        if (value != m_value) {
            Announce(value);
        }
    }
    /// Announces the value even when it is the old one.
    void Announce(std::uint32_t value) {
        m_value = value;
        m_probe.OnSignal(m_signal, value);
    }
    /// What was announced last.
    [[nodiscard]] std::uint32_t Value() const { return m_value; }

private:
    Probe& m_probe;
    Signal m_signal;
    std::uint32_t m_value;
};

}  // namespace vboard
