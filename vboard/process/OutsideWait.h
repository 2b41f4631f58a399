// SPDX-License-Identifier: MIT
#pragma once

// A wait of the program for something that is not the board's: a pipe, another thread, a lock. It
// takes the machine's time, and the clocks of the program go on by as much: by all of the time that
// was given when that is up, else by what it really took. In a run in real time by that, times the
// pace.
//
//     OutsideWait away(timeout);
//     const int result = Real().poll(files, count, ... away.RealTimeout() ...);
//     away.Ended(result == 0);

#include <time.h>

#include <cstdint>
#include <optional>

#include "vboard/process/BoardTurn.h"
#include "vboard/process/World.h"

namespace vboard {

class OutsideWait {
public:
    /// `timeout` is the program's, none where it waits without end. The wait begins.
    explicit OutsideWait(std::optional<Duration> timeout);
    /// The same until a clock of the program's shows `time`. A clock that is the machine's own
    /// stays so.
    OutsideWait(clockid_t clock, Duration time);

    /// The time to wait on the machine: none without end.
    [[nodiscard]] std::optional<Duration> RealTimeout() const { return m_realTimeout; }
    /// What the machine's own `clock` shows when that time is up. Only for a wait with an end.
    [[nodiscard]] Duration RealDeadline(clockid_t clock) const;

    /// True when the wait is a short one and other threads are still at work: its end says nothing
    /// about theirs, and it is better begun again. They are waited for.
    [[nodiscard]] bool IsTooEarly() const;

    /// The wait is over: because its time is up, or for another reason.
    void Ended(bool timeIsUp);
    /// What was waited for was there already: the wait took no time, however long the machine took
    /// to tell.
    void EndedAtOnce();

private:
    void Begin(std::optional<Duration> timeout);
    /// Gives the wait its length, and where it `hears` of others the time that they have reached.
    void Take(Duration length, bool hears);

    bool m_counts = false;
    Instant m_begin;
    std::optional<Duration> m_timeout;
    std::optional<Duration> m_realTimeout;
    std::int64_t m_realBeginNs = 0;
    std::optional<Elsewhere> m_elsewhere;
};

}  // namespace vboard
