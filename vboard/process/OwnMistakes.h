// SPDX-License-Identifier: MIT
#pragma once

#include "vboard/time/VirtualClock.h"

namespace vboard {

/// From here on a mistake of vboard's own (time/MustHold.h), and an exception that nobody in it
/// takes, end the run with a line that tells the virtual time, and with the status for that. No
/// exception is to reach the program under test, which may be C; `noexcept` at the wrappers would
/// also end a program whose thread is cancelled in one of them. `now` is asked for that time.
void EndRunOnOwnMistakes(Instant (*now)());

}  // namespace vboard
