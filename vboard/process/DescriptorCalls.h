// SPDX-License-Identifier: MIT
#pragma once

// The life of a descriptor of the board: opened, copied, controlled, closed.

#include <string_view>

#include "vboard/process/Wrapping.h"

namespace vboard {

/// Opens a path of the board as a descriptor, or for a stream of this `mode`: -1 and errno on
/// failure.
[[nodiscard]] int OpenDescriptor(const Place& place, int flags, std::string_view mode = {});
int CloseDescriptor(int descriptor);
/// What the board knows of a descriptor goes; the machine's own stays. 0, or -errno of the closing.
IoResult Forget(int descriptor);
/// True for a descriptor that the run itself needs.
[[nodiscard]] bool IsReserved(int descriptor);
/// close_range(2) that spares what the run itself needs.
int CloseRange(unsigned first, unsigned last, int flags);

/// A copy of `original`, as libc made it: registers it where that is the board's. Returns `copy`.
int Copied(int original, int copy);
/// The same for dup2 and dup3, which close `target` if it was the board's.
int Replaced(int original, int target, int copy);

/// fcntl on a descriptor of the board. `argument` is the third word, whatever it is.
int ControlDescriptor(int descriptor, int command, void* argument);

}  // namespace vboard
