// SPDX-License-Identifier: MIT
#pragma once

// What the other programs of the run are up to while this one pauses. A pause in virtual time takes
// no time of the machine, so that a child's could be over before its parent has started the next
// one: the shell would hear of its end too early. As with threads, time passes for a pause when all
// others have come to rest, and the pause that ends first goes first.

#include "vboard/session/Programs.h"
#include "vboard/time/VirtualClock.h"

namespace vboard {

class OtherPrograms {
public:
    /// Does not own the table, which outlives it. This process takes its place there.
    explicit OtherPrograms(RunningPrograms& programs);
    /// Around a fork of this process: its child takes a place of its own.
    void BeforeFork();
    void AfterForkInChild();

    /// Returns when every other program of the run rests, or pauses longer than until `end`. One
    /// that never rests is waited for only some seconds.
    void Await(Instant end);
    /// The pause is over.
    void GoOn();

private:
    void TakePlace();
    [[nodiscard]] bool OthersRest();

    RunningPrograms& m_programs;
    RunningProgram* m_own = nullptr;  ///< nullptr where the table was full.
};

}  // namespace vboard
