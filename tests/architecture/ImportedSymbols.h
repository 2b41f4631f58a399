// SPDX-License-Identifier: MIT
#pragma once

// Rule: whatever the built tool calls outside itself is either answered by the board or knowingly
// passed through to the machine. A call that slips through unnoticed would reach real devices.

#include <string>
#include <vector>

#include "tests/architecture/SourceTree.h"

namespace architecture {

/// The names, without versions, in the output of `nm -D`.
[[nodiscard]] std::vector<std::string> NamesInSymbolTable(const std::string& nmOutput);

/// Imports that are neither among the exports nor match a pattern of the passed-through list.
[[nodiscard]] std::vector<Finding> CheckImports(const std::vector<std::string>& imports,
                                                const std::vector<std::string>& exports,
                                                const std::vector<Reasoned>& passedThrough);

/// Names that are both answered and listed as passed through.
[[nodiscard]] std::vector<Finding> CheckPassedThrough(const std::vector<std::string>& exports,
                                                      const std::vector<Reasoned>& passedThrough);

}  // namespace architecture
