// SPDX-License-Identifier: MIT
#include "vboard/chip/EntryDetector.h"

#include <algorithm>

namespace vboard {
namespace {

constexpr std::uint8_t kFallsForLoader = 2;

}  // namespace

PinLevel& EntryDetector::LevelOf(Pin pin) {
    switch (pin) {
        case Pin::kHold:
            return m_state.hold;
        case Pin::kRstNmi:
            return m_state.rstNmi;
        case Pin::kTck:
            break;
    }
    return m_state.tck;
}

bool EntryDetector::InReset() const {
    return m_state.hold == PinLevel::kHigh || m_state.rstNmi == PinLevel::kLow;
}

EntryDetector::Verdict EntryDetector::SetPin(Pin pin, PinLevel level) {
    PinLevel& current = LevelOf(pin);
    if (current == level) {
        return Verdict::kNone;
    }
    const bool wasInReset = InReset();
    current = level;
    if (!m_state.powered) {
        return Verdict::kNone;
    }
    if (pin == Pin::kTck) {
        return TckMoved();
    }
    if (!InReset()) {
        return LeaveReset();
    }
    m_state.tckFalls = 0;
    m_state.armed = false;
    return wasInReset ? Verdict::kNone : Verdict::kReset;
}

EntryDetector::Verdict EntryDetector::TckMoved() {
    if (m_state.tck == PinLevel::kHigh) {
        const bool wasArmed = m_state.armed;
        m_state.armed = false;
        return wasArmed ? Verdict::kLoader : Verdict::kNone;
    }
    if (m_state.hold == PinLevel::kLow && m_state.rstNmi == PinLevel::kLow) {
        m_state.tckFalls =
            std::min(static_cast<std::uint8_t>(m_state.tckFalls + 1), kFallsForLoader);
    }
    return Verdict::kNone;
}

// The count is 0 after a hold, so only a rise of RST/NMI can leave anything but the application.
EntryDetector::Verdict EntryDetector::LeaveReset() {
    m_state.armed = m_state.tck == PinLevel::kLow && m_state.tckFalls >= kFallsForLoader;
    m_state.tckFalls = 0;
    return m_state.armed ? Verdict::kArmed : Verdict::kApplication;
}

EntryDetector::Verdict EntryDetector::SetPower(bool on) {
    if (on == m_state.powered) {
        return Verdict::kNone;
    }
    m_state.powered = on;
    m_state.tckFalls = 0;
    m_state.armed = false;
    if (!on) {
        return Verdict::kNone;
    }
    return InReset() ? Verdict::kReset : Verdict::kApplication;
}

void EntryDetector::Restore(const State& state) {
    m_state = state;
    const bool counting = state.powered && state.hold == PinLevel::kLow && InReset();
    m_state.tckFalls = counting ? std::min(state.tckFalls, kFallsForLoader) : std::uint8_t{0};
    m_state.armed = state.armed && state.powered && !InReset() && state.tck == PinLevel::kLow;
}

}  // namespace vboard
