// SPDX-License-Identifier: MIT
#pragma once

// Rule: a function has fewer than 70 lines, from the first of its head to its closing brace.
// Exceptions, with reasons, are in long-functions.txt.

#include <string>
#include <vector>

#include "tests/architecture/SourceTree.h"

namespace architecture {

inline constexpr int kTooManyLines = 70;

struct Function {
    std::string name;  ///< As written in its head: "Board::State".
    int line;          ///< Where the head begins.
    int lines;
};

/// The functions of a C++ source in order; lambdas and local classes count into the function around
/// them.
[[nodiscard]] std::vector<Function> FunctionsOf(const SourceFile& file);

/// `allowed` holds words "PATH:NAME"; one that is not needed is a finding, too.
[[nodiscard]] std::vector<Finding> CheckFunctionLength(const SourceTree& tree,
                                                       const std::vector<Reasoned>& allowed);

}  // namespace architecture
