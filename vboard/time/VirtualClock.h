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
#include <utility>
#include <vector>

namespace vboard {

/// Virtual time is counted in nanoseconds: fine enough for a bit on any serial line in use.
using Duration = std::chrono::nanoseconds;

/// What a signal that the program handles does to a wait of its own.
enum class Signals : std::uint8_t {
    kEnd,      ///< It ends the wait, as it ends a sleep or a poll.
    kRestart,  ///< It ends the wait unless its handler asks for a restart, as with a read.
};

/// One more way to move time: told of each instant before the clock goes there. A run in real time
/// waits here.
class Pacer {
public:
    virtual ~Pacer() = default;
    /// Returns the instant that was reached: `sinceStart`, or an earlier one when a signal ended
    /// the wait.
    virtual std::chrono::nanoseconds GoingTo(std::chrono::nanoseconds sinceStart,
                                             Signals signals) = 0;
    /// The virtual instant that it is now.
    [[nodiscard]] virtual std::chrono::nanoseconds Now() const = 0;
};

/// What the standard library calls a clock, as an object: several may run in one program, so Now
/// stands in the place of now. With it, what is due.
class VirtualClock {
public:
    /// What <chrono> expects of a clock.
    using duration = Duration;
    using rep = duration::rep;
    using period = duration::period;
    using time_point = std::chrono::time_point<VirtualClock, Duration>;
    static constexpr bool is_steady = true;

    /// Counted from the beginning of the run.
    using Instant = time_point;
    /// What is done at an instant. It may ask for more.
    using Action = std::function<void()>;
    /// Names an action that was asked for; 0 names none.
    using Ticket = std::uint64_t;

    /// How a wait ended.
    enum class Waited {
        kSatisfied,    ///< What was awaited has come.
        kTimedOut,     ///< The deadline came first; the clock stands at the deadline.
        kNothingLeft,  ///< No action is left that could bring it, and there is no deadline.
        kInterrupted,  ///< A signal came first; only with a pacer.
    };

    /// One of the waits for which time moves.
    struct Wait {
        VirtualClock& clock;
        const std::function<bool()>& satisfied;
        std::optional<Instant> deadline;
        bool outside;  ///< What it waits for may also come from outside the board.
    };

    /// Those who share the clock: the threads of the program. One waits at a time, as the clock
    /// sees it; the others get their turns here.
    class Sharers {
    public:
        virtual ~Sharers() = default;
        /// Asked before each step of a wait. True: time may move for it, since nobody else can do
        /// anything now. False: somebody has done something: look again.
        virtual bool MayMove(const Wait& wait) = 0;
    };

    /// Begins at `start`, with nothing due.
    explicit VirtualClock(Instant start = Instant{}) : m_now(start) {}
    VirtualClock(const VirtualClock&) = delete;
    VirtualClock& operator=(const VirtualClock&) = delete;

    /// Stands still but in the calls below.
    [[nodiscard]] Instant Now() const { return m_now; }

    /// Asks for `action` at `when`; an instant in the past is served at once when time next moves.
    /// The ticket cancels it.
    Ticket At(Instant when, Action action);
    Ticket After(Duration delay, Action action) { return At(m_now + delay, std::move(action)); }

    /// Takes an action back. A ticket already served or cancelled is ignored.
    void Cancel(Ticket ticket);

    /// The next instant at which an action is due.
    [[nodiscard]] std::optional<Instant> NextAction();

    /// `length` from now, or the end of all time.
    [[nodiscard]] Instant In(Duration length) const {
        return length > Instant::max() - m_now ? Instant::max() : m_now + length;
    }

    /// Lets `length` pass: every action due by then is served, and the clock stands `length` later.
    /// Returns what is left of it when a signal came first.
    Duration Pass(Duration length);

    /// Serves actions one by one until `satisfied` is true, the deadline comes, or nothing is left
    /// to happen.
    Waited RunUntil(const std::function<bool()>& satisfied, std::optional<Instant> deadline,
                    Signals signals = Signals::kEnd, bool outside = false);

    /// Takes back every action: what was under way does not happen here any more.
    void CancelAll();

    /// Time has passed elsewhere: the clock stands at `when` if that is later. What was due by then
    /// is served when time next moves.
    void SkipTo(Instant when) { m_now = std::max(m_now, when); }

    /// Serves everything that is still due up to `limit`, without moving past the last action.
    void Settle(Instant limit);

    /// The pacer is not owned and must outlive the clock, or be taken back with nullptr.
    void SetPacer(Pacer* pacer) { m_pacer = pacer; }
    [[nodiscard]] Pacer* ThePacer() const { return m_pacer; }

    /// The same holds for the sharers.
    void SetSharers(Sharers* sharers) { m_sharers = sharers; }

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

    enum class Step { kServed, kNoneDue, kInterrupted };
    Step ServeNext(Instant notAfter, Signals signals);
    bool MoveTo(Instant when, Signals signals);
    void DropCancelled();

    Instant m_now;
    Ticket m_nextTicket = 1;
    std::vector<Entry> m_heap;
    std::vector<Ticket> m_cancelled;
    Pacer* m_pacer = nullptr;
    Sharers* m_sharers = nullptr;
    Instant m_limit = Instant::max();
    Action m_onLimit;
};

/// An instant of a board, wherever one is spoken of.
using Instant = VirtualClock::Instant;

}  // namespace vboard
