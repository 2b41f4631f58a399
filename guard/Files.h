// SPDX-License-Identifier: MIT
#pragma once

// From words to what an operation works with: boards and images from files.

#include <string>

#include "guard/CommandLine.h"
#include "guard/session/Progress.h"
#include "guard/session/Request.h"

namespace guard {

/// Everything of the request but the images. False with the reason in `problem`.
[[nodiscard]] bool MakeRequest(const CommandLine& line, Request& request, std::string& problem);

/// The image to work with, and the one whose vectors are the password. Each file is read once; what
/// is found in it is announced.
[[nodiscard]] bool ReadImages(const CommandLine& line, Request& request, Progress& progress,
                              std::string& problem);

/// Writes what was read from a chip, complete or not at all.
[[nodiscard]] bool WriteImage(const std::string& path, const image::MemoryImage& memory,
                              std::string& problem);

}  // namespace guard
