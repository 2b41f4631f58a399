// SPDX-License-Identifier: MIT
#pragma once

// The erase of a whole chip.

#include "guard/session/Work.h"

namespace guard {

/// Mass erase, as many pulses as the part needs, and the password of an erased chip. The state of
/// the chip is unknown from the first pulse on, and kNoFirmware once it is unlocked, which shows
/// that its vectors are erased. kDone, kAgain or kStopped.
[[nodiscard]] Step EraseAndUnlock(Work& work);

/// Proves that all of main memory is erased: kDone, kAgain (also where it is not) or kStopped.
[[nodiscard]] Step ProveErased(Work& work);

}  // namespace guard
