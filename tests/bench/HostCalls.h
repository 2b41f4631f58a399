// SPDX-License-Identifier: MIT
#pragma once

// Where a program's calls of libc arrive when it and the board's rooms are in one process: the
// names of redirected.syms. What is the board's goes to its host, the rest to libc.

#include "vboard/host/Host.h"

namespace bench {

/// The host for all calls from now on, and who ends a run whose stream would be flushed for ever;
/// both must outlive the calls. nullptr: no call has one.
void ConnectHost(vboard::Host* host, vboard::ProgramControl* control);

}  // namespace bench
