// SPDX-License-Identifier: MIT
#pragma once

// Rule: what a page names is there. Pages are the *.md files; they name files and folders of the
// repository in `backticks`, and presets as `--preset NAME`.

#include <vector>

#include "tests/architecture/SourceTree.h"

namespace architecture {

/// A file may be named without its extension, as the tool's log lines do. Presets are looked for in
/// the tree's CMakePresets.json.
[[nodiscard]] std::vector<Finding> CheckPageReferences(const SourceTree& tree);

}  // namespace architecture
