// SPDX-License-Identifier: MIT
#pragma once

// The only thing in the virtual board that moves time.
//
// Rooms ask for an action at an instant; time passes when the program under test waits (a pause, a
// blocking read, a select). Nothing here reads the machine's clock, so a run is the same each time.
// Actions due at the same instant are served in the order in which they were asked for.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace vboard {

/// Virtual time is counted in nanoseconds: fine enough for a bit on any serial line in use.
using Duration = std::chrono::nanoseconds;

/// One more way to move time: told of each instant before the clock goes there. A run in real time
/// waits here.
class Pacer {
public:
    virtual ~Pacer() = default;
    virtual void GoingTo(std::chrono::nanoseconds sinceStart) = 0;
};

class VirtualClock {
public:
    using duration = Duration;
    using rep = duration::rep;
    using period = duration::period;
    using time_point = std::chrono::time_point<VirtualClock, Duration>;
    static constexpr bool is_steady = true;

    using Instant = time_point;
    using Action = std::function<void()>;
    using Ticket = std::uint64_t;

    /// How a wait ended.
    enum class Waited {
        kSatisfied,    ///< What was awaited has come.
        kTimedOut,     ///< The deadline came first; the clock stands at the deadline.
        kNothingLeft,  ///< No action is left that could bring it, and there is no deadline.
    };

    explicit VirtualClock(Instant start = Instant{}) : m_now(start) {}
    VirtualClock(const VirtualClock&) = delete;
    VirtualClock& operator=(const VirtualClock&) = delete;

    [[nodiscard]] Instant Now() const { return m_now; }

    /// Asks for `action` at `when`; an instant in the past is served at once when time next moves.
    /// The ticket cancels it.
    Ticket At(Instant when, Action action);
    Ticket After(Duration delay, Action action) { return At(m_now + delay, std::move(action)); }

    /// Takes an action back. A ticket already served or cancelled is ignored.
    void Cancel(Ticket ticket);

    /// Lets `length` pass: every action due by then is served, and the clock stands `length` later.
    void Pass(Duration length);

    /// Serves actions one by one until `satisfied` is true, the deadline comes, or nothing is left
    /// to happen.
    Waited RunUntil(const std::function<bool()>& satisfied, std::optional<Instant> deadline);

    /// Time has passed elsewhere: the clock stands at `when` if that is later. What was due by then
    /// is served when time next moves.
    void SkipTo(Instant when) { m_now = std::max(m_now, when); }

    /// Serves everything that is still due up to `limit`, without moving past the last action.
    void Settle(Instant limit);

    /// The pacer is not owned and must outlive the clock, or be taken back with nullptr.
    void SetPacer(Pacer* pacer) { m_pacer = pacer; }

    /// An instant that the clock may not pass: `onLimit` is called when time would go beyond it. It
    /// should not return; if it does, time goes on without a limit.
    void SetLimit(Instant limit, Action onLimit);

private:
    struct Entry {
        Instant when;
        Ticket ticket;
        Action action;
    };
    static bool Later(const Entry& a, const Entry& b);

    bool ServeNext(Instant notAfter);
    void MoveTo(Instant when);
    void DropCancelled();

    Instant m_now;
    Ticket m_nextTicket = 1;
    std::vector<Entry> m_heap;
    std::vector<Ticket> m_cancelled;
    Pacer* m_pacer = nullptr;
    Instant m_limit = Instant::max();
    Action m_onLimit;
};

using Instant = VirtualClock::Instant;

}  // namespace vboard
