// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <string>

#include "vboard/session/Session.h"

namespace vboard {

/// Waits until the first program of a run has loaded the library, or has ended. One that goes on
/// without it, on the machine's own devices, is ended: then the result is true. The dynamic loader
/// takes preloaded libraries first, so a program that has its C library and not ours will never
/// have it.
[[nodiscard]] bool EndIfWithoutLibrary(pid_t program, const std::string& library,
                                       const RunReport& report);

}  // namespace vboard
