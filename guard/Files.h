// SPDX-License-Identifier: MIT
#pragma once

// From words to what an operation works with: boards and images from files.

#include <string>

#include "guard/CommandLine.h"
#include "guard/boards/BoardFolder.h"
#include "guard/report/Report.h"
#include "guard/session/Request.h"

namespace guard {

/// The boards of the folder that the line names; the usual one may be missing.
[[nodiscard]] BoardFolder ReadBoards(const CommandLine& line);

/// Everything of the request but the images. False with the reason in `problem`.
[[nodiscard]] bool MakeRequest(const CommandLine& line, Request& request, Report& report,
                               std::string& problem);

/// The image to work with, and the one whose vectors are the password. Each file is read once; what
/// is found in it is announced. False with problem and remedy in `verdict`, and what is known of
/// the image.
[[nodiscard]] bool ReadImages(const CommandLine& line, Request& request, Report& report,
                              Verdict& verdict);

/// Writes what was read from a chip, complete or not at all.
[[nodiscard]] bool WriteImage(const std::string& path, const image::MemoryImage& memory,
                              std::string& problem);

}  // namespace guard
