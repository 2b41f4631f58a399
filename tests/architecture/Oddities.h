// SPDX-License-Identifier: MIT
#pragma once

// Deliberate oddities stand in three places: a comment in the code, a row of docs/ODDITIES.md, and
// a test.

#include <vector>

#include "tests/architecture/SourceTree.h"

namespace architecture {

inline constexpr const char* kOddityPage = "docs/ODDITIES.md";

/// Every comment that names no oddity, every oddity without a row or with two comments, every row
/// that is incomplete, names a file without the comment or a test that does not exist.
[[nodiscard]] std::vector<Finding> CheckOddities(const SourceTree& tree);

}  // namespace architecture
