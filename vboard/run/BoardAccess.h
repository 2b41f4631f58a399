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

/// Maps a board file that must exist, to look at it; a run may be using it at the same time.
[[nodiscard]] bool ReadBoard(const std::string& path, BoardFile& file, std::string& problem);

/// Where a new board's flash comes from.
struct ImageSource {
    std::string path;
    const image::MemoryImage* image =
        nullptr;  ///< nullptr: the older firmware of a delivered chip.
};

/// Makes a new board: in a file that must not exist yet, or, with an empty path, in memory. Nothing
/// is left behind on failure.
[[nodiscard]] bool MakeBoard(const std::string& path, const BoardSetup& setup,
                             const ImageSource& source, Descriptor& descriptor, BoardFile& file,
                             std::string& problem);

}  // namespace vboard
