// SPDX-License-Identifier: MIT
#pragma once

// Starts a program and waits for its end.

#include <string>
#include <vector>

namespace runs {

struct Ended {
    int status = -1;  ///< Exit status; 128 and the signal's number for a killed program.
    std::string output;
    std::string error;
};

/// Runs `words` (program and arguments; the program is looked for beside the built ones first) in
/// `folder`, with nothing to read, and takes all it says.
Ended RunProcess(const std::vector<std::string>& words, const std::string& folder);

/// The whole content of a file; "" with a test failure when there is none.
std::string ReadFile(const std::string& path);

}  // namespace runs
