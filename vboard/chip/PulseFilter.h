// SPDX-License-Identifier: MIT
#pragma once

// What stands between a pin and the logic behind it: a level that does not last a minimum time is
// not seen, any other is seen that much later.

#include <functional>

#include "vboard/chip/Pins.h"
#include "vboard/time/VirtualClock.h"

namespace vboard {

class PulseFilter {
public:
    /// Gets the level that the pin has had long enough.
    using Seen = std::function<void(PinLevel)>;

    /// `seen` is told each change that lasts at least `minimum`; with a minimum of zero it is told
    /// at once. `clock` must outlive the filter.
    PulseFilter(VirtualClock& clock, Duration minimum, PinLevel level, Seen seen);
    ~PulseFilter();
    PulseFilter(const PulseFilter&) = delete;
    PulseFilter& operator=(const PulseFilter&) = delete;

    /// The pin moves.
    void Set(PinLevel level);

    /// The pin has been at `level` for long; nobody is told.
    void Restore(PinLevel level);

private:
    void See(PinLevel level);

    VirtualClock& m_clock;
    Duration m_minimum;
    PinLevel m_seenLevel;
    Seen m_seen;
    VirtualClock::Ticket m_pending = 0;
};

}  // namespace vboard
