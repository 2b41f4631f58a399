// SPDX-License-Identifier: MIT
#pragma once

#include "vboard/process/BoardTurn.h"
#include "vboard/process/World.h"

namespace vboard {

/// After a wait for a child: `child` is above 0 where one has ended. It has had its time, and so
/// has whoever waited for it. Returns `child`.
template <class Result>
Result Reaped(Result child) {
    if (child > 0 && RunLink::Get() != nullptr) {
        const BoardTurn turn;
        HearOfOthers();
    }
    return child;
}

}  // namespace vboard
