// SPDX-License-Identifier: MIT
#pragma once

// How the program under test comes into being, with the library of the board in front of its libc.

#include <string>

#include "vboard/run/RunOptions.h"

namespace vboard {

/// The library for this run. False, with one line in `problem`, when it is missing, is no library,
/// or has a path that the dynamic loader can't take.
[[nodiscard]] bool FindLibrary(const RunOptions& options, std::string& library,
                               std::string& problem);

/// False, with one line in `problem`, for a program that would run past the board.
[[nodiscard]] bool CheckProgram(const RunOptions& options, const std::string& library,
                                std::string& problem);

/// The child of the runner becomes the program. `memory` is the inherited descriptor of the run's
/// memory, which has its session in it. Returns only when that failed: errno says why.
void BecomeProgram(const RunOptions& options, int memory, const std::string& library);

/// The program that is started: the emulator if there is one.
[[nodiscard]] std::string NameOfProgram(const RunOptions& options);

}  // namespace vboard
