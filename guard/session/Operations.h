// SPDX-License-Identifier: MIT
#pragma once

// The commands that touch a chip: each a whole run from the lock to the verdict. Each ends by
// itself whatever the chip does, lets go of the lines, and announces its verdict last.

#include "guard/session/Progress.h"
#include "guard/session/Request.h"

namespace guard {

/// The request has an image. Programs it and proves it, unless it is there already.
Verdict Install(const Request& request, Progress& progress);

/// The request has an image. kDone and kEqual, kDiffers and kDifferent, or why it could not look.
Verdict Verify(const Request& request, Progress& progress);

/// Reads main and information memory whole; `memory` is complete only when the status is kDone.
Verdict Read(const Request& request, Progress& progress, image::MemoryImage& memory);

/// What loader and firmware say of themselves. The verdict's `loader`, `versionBefore`.
Verdict Info(const Request& request, Progress& progress);

/// Erases all memory and proves it.
Verdict Erase(const Request& request, Progress& progress);

/// Restarts the firmware; proved by its answer, or on a board without a way to ask by the loader's.
Verdict Reset(const Request& request, Progress& progress);

/// Lets go of lines and switch without a look at the port or the lock.
Verdict Release(const Request& request, Progress& progress);

}  // namespace guard
