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

namespace vboard {

class BoardTurn {
public:
    /// Waits until no other thread has the turn. A thread that has it may take it again; errno
    /// stays as it is.
    BoardTurn() { Take(); }
    ~BoardTurn() { GiveBack(); }
    BoardTurn(const BoardTurn& /*other*/) : BoardTurn() {}
    BoardTurn& operator=(const BoardTurn&) = delete;

    /// The same by hand, for what begins in one function and ends in another.
    static void Take();
    static void GiveBack();
    /// In a child of fork, which has one thread, whatever its parent had: nobody has the turn.
    static void BeginAnew();
};

}  // namespace vboard
