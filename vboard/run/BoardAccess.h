// SPDX-License-Identifier: MIT
#pragma once

// Board files by their path, for the commands.

#include <string>
#include <vector>

#include "vboard/board/BoardFile.h"
#include "vboard/run/Descriptor.h"

namespace vboard {

/// Builds a setup from KEY=VALUE words. On failure `problem` is one line that names the word and
/// what is accepted.
[[nodiscard]] bool SetupFrom(const std::vector<std::string>& settings, BoardSetup& setup,
                             std::string& problem);

/// Opens and maps a board file that must exist, and locks it against other runs for as long as the
/// descriptor is open. On failure `problem` is one line with the path in it.
[[nodiscard]] bool OpenBoard(const std::string& path, Descriptor& descriptor, BoardFile& file,
                             std::string& problem);

/// Makes a new board: in a file that must not exist yet, or, with an empty path, in memory.
[[nodiscard]] bool MakeBoard(const std::string& path, const BoardSetup& setup,
                             Descriptor& descriptor, BoardFile& file, std::string& problem);

}  // namespace vboard
