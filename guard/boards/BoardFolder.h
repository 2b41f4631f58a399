// SPDX-License-Identifier: MIT
#pragma once

// Boards from a folder of files (docs/BOARD-FILES.md), beside the built-in ones.

#include <string>
#include <vector>

#include "guard/boards/Board.h"

namespace guard {

struct BoardFolder {
    std::vector<Board> boards;  ///< Of the files that are well, in the order of their names.
    std::vector<std::string> problems;  ///< One line for each thing that is wrong with the others.
};

/// Reads every file named *.toml in the folder. One that can't be read is a problem; one that does
/// not exist is, too, unless it `mayBeMissing`.
[[nodiscard]] BoardFolder ReadBoardFolder(const std::string& folder, bool mayBeMissing);

}  // namespace guard
