// SPDX-License-Identifier: MIT
#pragma once

// Intel HEX files by their path, for the commands.

#include <string>

#include "image/MemoryImage.h"

namespace vboard {

/// Reads a whole image. On failure `problem` is one line with the path in it.
[[nodiscard]] bool ReadImageFile(const std::string& path, image::MemoryImage& image,
                                 std::string& problem);

/// Writes an image, over an old file of that name; "-" is standard output. On failure `problem` is
/// one line with the path in it.
[[nodiscard]] bool WriteImageFile(const std::string& path, const image::MemoryImage& image,
                                  std::string& problem);

}  // namespace vboard
