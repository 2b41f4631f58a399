// SPDX-License-Identifier: MIT
#pragma once

// Rules about the first lines of files: the licence, one include guard in headers, and the own
// header first in sources (so that each header is known to compile alone).

#include <vector>

#include "tests/architecture/SourceTree.h"

namespace architecture {

/// The licence stands in the first line, in scripts in the line after "#!".
[[nodiscard]] std::vector<Finding> CheckLicenceLines(const SourceTree& tree);

/// A header has #pragma once, or the older #ifndef NAME_H.
[[nodiscard]] std::vector<Finding> CheckGuards(const SourceTree& tree);

/// Where a source has a header of its own base name in its folder, that is its first include.
[[nodiscard]] std::vector<Finding> CheckOwnHeaderFirst(const SourceTree& tree);

}  // namespace architecture
