// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vboard/session/Session.h"

namespace vboard {

/// Exit statuses of the runner besides the program's own and those of session/Session.h, as `env`
/// has them.
inline constexpr int kExitCannotExecute = 126;
inline constexpr int kExitNotFound = 127;
inline constexpr int kExitSignalBase = 128;

/// What `vboard run` was asked for.
struct RunOptions {
    std::string boardPath;               ///< Empty: a new board for this run alone.
    std::vector<std::string> settings;   ///< KEY=VALUE for a new board.
    double pace = 0;                     ///< 0 = as fast as it can.
    double timeLimitSeconds = 0;         ///< Virtual; 0 = none.
    PerOutput<std::string> outputPaths;  ///< Empty: not asked for.
    std::vector<std::string> faults;     ///< Fault rules, before those of the plan.
    std::string faultPlanPath;
    double noiseRate = 0;  ///< Share of events that random faults strike; 0 = none.
    std::uint64_t noiseSeed = 1;
    unsigned wavePart = 0;       ///< What the picture shows: a WavePart.
    bool summaryAsJson = false;  ///< In place of the one line on standard error.
    std::string summaryPath;     ///< The same object into a file.
    std::string imagePath;       ///< Intel HEX that the summary compares the flash with.
    std::string libraryPath;     ///< Empty: the one that belongs to this runner.
    std::string via;  ///< A qemu-user emulator that starts the program, with its options; or empty.
    bool quiet = false;
    std::vector<std::string> program;  ///< The program and its arguments; never empty.
};

/// Runs the program on a board. The result is the runner's exit status.
[[nodiscard]] int Run(const RunOptions& options);

}  // namespace vboard
