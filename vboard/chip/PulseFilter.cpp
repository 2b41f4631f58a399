// SPDX-License-Identifier: MIT
#include "vboard/chip/PulseFilter.h"

#include <utility>

namespace vboard {

PulseFilter::PulseFilter(VirtualClock& clock, Duration minimum, PinLevel level, Seen seen)
    : m_clock(clock), m_minimum(minimum), m_seenLevel(level), m_seen(std::move(seen)) {}

PulseFilter::~PulseFilter() {
    m_clock.Cancel(m_pending);
}

void PulseFilter::Set(PinLevel level) {
    m_clock.Cancel(m_pending);
    if (level == m_seenLevel) {
        return;
    }
    if (m_minimum <= Duration::zero()) {
        See(level);
        return;
    }
    m_pending = m_clock.After(m_minimum, [this] {
        See(m_seenLevel == PinLevel::kLow ? PinLevel::kHigh : PinLevel::kLow);
    });
}

void PulseFilter::Restore(PinLevel level) {
    m_clock.Cancel(m_pending);
    m_seenLevel = level;
}

void PulseFilter::See(PinLevel level) {
    m_seenLevel = level;
    m_seen(level);
}

}  // namespace vboard
