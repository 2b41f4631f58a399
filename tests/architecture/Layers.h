// SPDX-License-Identifier: MIT
#pragma once

// Rule: a folder includes only what docs/layers.txt allows it, and the arrows there run one way.

#include <string>
#include <vector>

#include "tests/architecture/SourceTree.h"

namespace architecture {

/// One line of the list: "folder -> folder ... <family> ...".
struct Layer {
    std::string folder;
    std::vector<std::string> folders;   ///< Of ours, besides itself; "*" is any.
    std::vector<std::string> families;  ///< Of other headers: libc, fmt, CLI; "*" is any.
    int line;
};

/// Throws for a line that is neither a layer, empty, nor a comment (#).
[[nodiscard]] std::vector<Layer> ParseLayers(const std::string& text);

/// Includes that no layer allows, and folders with sources that the list does not know. Headers of
/// the C++ standard library are free to all.
[[nodiscard]] std::vector<Finding> CheckIncludes(const SourceTree& tree,
                                                 const std::vector<Layer>& layers);

/// Each layer may point only to those listed above it, so that there is no way round.
[[nodiscard]] std::vector<Finding> CheckArrows(const std::vector<Layer>& layers);

}  // namespace architecture
