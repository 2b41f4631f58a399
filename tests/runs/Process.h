// SPDX-License-Identifier: MIT
#pragma once

// Starts a program and waits for its end.

#include <sys/types.h>

#include <string>
#include <vector>

namespace runs {

struct Ended {
    int status = -1;  ///< Exit status; 128 and the signal's number for a killed program.
    std::string output;
    std::string error;
};

/// Starts `words` in `folder` with nothing to read and with its output going into files; the
/// program is looked for as RunProcess() does. -1 when it cannot be started.
[[nodiscard]] pid_t StartProcess(const std::vector<std::string>& words, const std::string& folder,
                                 const std::string& output, const std::string& error);
/// Waits; gives its status as in Ended, or 127 for -1.
int WaitForEnd(pid_t process);

/// Runs `words` (program and arguments; the program is looked for beside the built ones first) in
/// `folder`, with nothing to read, and takes all it says.
Ended RunProcess(const std::vector<std::string>& words, const std::string& folder);

/// The whole content of a file; "" with a test failure when there is none.
std::string ReadFile(const std::string& path);

}  // namespace runs
