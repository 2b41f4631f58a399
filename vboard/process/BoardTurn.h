// SPDX-License-Identifier: MIT
#pragma once

// One thread at a time has the board. Whoever touches anything of it (the world, its host, the
// table of descriptors, a stream's cookie) holds a BoardTurn meanwhile:
//
//     const BoardTurn turn;
//
// What HostFor and FileFor hand out (Wrapping.h) brings its turn along, so a wrapper that asks them
// has it already for as long as it keeps the answer:
//
//     if (const auto file = FileFor(descriptor)) { ... *file ... }
//
// A thread gets the turn when all others have come to rest: they sleep, or stand in line, too. The
// one that was made first goes first. While it waits for something on the board the others get
// their turns, and time moves when all of them wait. So the order of their calls, and with it the
// run, does not depend on how fast the machine runs which thread.

#include <optional>

#include "vboard/time/VirtualClock.h"

namespace vboard {

/// Has the turn for as long as it lives. Taking it waits until no other thread can run.
class BoardTurn {
public:
    /// A thread that has the turn may take it again; errno stays as it is.
    BoardTurn() { Take(); }
    ~BoardTurn() { GiveBack(); }
    BoardTurn(const BoardTurn& /*other*/) : BoardTurn() {}
    BoardTurn& operator=(const BoardTurn&) = delete;

    /// The same by hand, for what begins in one function and ends in another.
    static void Take();
    static void GiveBack();
    /// In a child of fork, which has one thread, whatever its parent had: nobody has the turn.
    static void BeginAnew();

    /// True in a thread that has the turn, or is about to: what it calls now is not the program's
    /// call. The program's own allocator, for one, may ask for the time.
    [[nodiscard]] static bool IsMine();
    /// True where the program has one thread only.
    [[nodiscard]] static bool IsAlone();
    /// True when no other thread can run at this moment. Does not wait for it.
    [[nodiscard]] static bool OthersRest();
    /// Lets the threads take turns also in the waits on a board's clock.
    [[nodiscard]] static VirtualClock::Sharers& Sharers();
};

/// While it lives, this thread waits for something that is not the board's. Time does not pass
/// `deadline` before it is back. Not to be made with the turn in hand.
class Elsewhere {
public:
    /// Nothing: no deadline.
    explicit Elsewhere(std::optional<Instant> deadline);
    ~Elsewhere();
    Elsewhere(const Elsewhere&) = delete;
    Elsewhere& operator=(const Elsewhere&) = delete;

private:
    std::optional<Instant> m_deadline;
};

}  // namespace vboard
