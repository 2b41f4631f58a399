// SPDX-License-Identifier: MIT
#pragma once

// Looking into a chip without changing it.

#include "guard/session/Work.h"

namespace guard {

/// Into the loader and unlocked with a password that may be wrong, once it is known that this does
/// no harm. kDone; kDiffers when the password is not the chip's; kRefused, kNoChip, kMissing or
/// kStopped; kAgain after all the sessions that a run may have.
[[nodiscard]] Step EnterAndUnlock(Work& work, const Password& password);

/// Whether the chip holds the request's image: enters, unlocks with its vectors, reads all of its
/// blocks. kDone; kDiffers, and the verdict says where; otherwise why it could not look.
[[nodiscard]] Step LookForImage(Work& work);

}  // namespace guard
