// SPDX-License-Identifier: MIT
#pragma once

// Rule: the repository explains itself. Nothing in it points to papers that its readers do not have
// or to folders of the machine that it was written on.

#include <vector>

#include "tests/architecture/SourceTree.h"

namespace architecture {

[[nodiscard]] std::vector<Finding> CheckOutsideReferences(const SourceTree& tree);

}  // namespace architecture
