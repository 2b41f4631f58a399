// SPDX-License-Identifier: MIT
#pragma once

// Rules of the seam: the names that exports.map puts in front of libc are the ones that wrappers
// define, each wrapper's way out is the real function, and nothing inside the preload library calls
// a wrapped name but through RealLibc.

#include <string>
#include <vector>

#include "tests/architecture/SourceTree.h"

namespace architecture {

/// The names between "global:" and "local:".
[[nodiscard]] std::vector<std::string> ParseExports(const std::string& map);

/// exports.map against the functions marked VBOARD_EXPORT below vboard/front/.
[[nodiscard]] std::vector<Finding> CheckWrappers(const SourceTree& tree);

/// Every function that RealLibc declares is looked up under its own name.
[[nodiscard]] std::vector<Finding> CheckRealLibc(const SourceTree& tree);

/// Calls of exported names in vboard/ outside vboard/run/, which is not in the library.
[[nodiscard]] std::vector<Finding> CheckWayToLibc(const SourceTree& tree);

}  // namespace architecture
