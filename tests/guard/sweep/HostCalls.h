// SPDX-License-Identifier: MIT
#pragma once

// Where flashguard's calls of libc arrive in a program that has its rooms and the board's in one
// process: the names of redirected.syms. What is the board's goes to its host, the rest to libc.

#include "vboard/host/Host.h"

namespace guard_sweep {

/// The host for all calls from now on; nullptr: none has one.
void ConnectHost(vboard::Host* host);

}  // namespace guard_sweep
