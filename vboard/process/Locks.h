// SPDX-License-Identifier: MIT
#pragma once

// Locks on the board's files. They hold among the programs of a run, as the locks on one machine's
// files do: the run's shared memory has a stretch for each path, and the kernel locks that.

#include <fcntl.h>

#include "vboard/host/Host.h"

namespace vboard {

/// flock(2). -ENOLCK for a file that the program came into being with: its lock would end with this
/// program, not with the last copy of the descriptor.
[[nodiscard]] IoResult LockFile(OpenFile& file, int operation);

/// The locks of fcntl(2), F_GETLK to F_OFD_SETLKW, by their numbers for struct flock64.
[[nodiscard]] IoResult LockRange(OpenFile& file, int command, struct flock64* range);
/// The same with the structure that the plain numbers go with.
[[nodiscard]] IoResult LockRange(OpenFile& file, int command, struct flock* range);
/// lockf(3).
[[nodiscard]] IoResult LockFromHere(OpenFile& file, int command, std::int64_t length);

/// The file came with a descriptor that was open before the program began.
void NoteInherited(const OpenFile& file);
/// The file is closed: what it has locked is free.
void ReleaseLocks(const OpenFile& file);

}  // namespace vboard
