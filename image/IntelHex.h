// SPDX-License-Identifier: MIT
#pragma once

// Intel HEX text to and from an image of the chip's memory: what boards are filled from, dumped to
// and compared with. image/HexReader.h says what is taken and what is refused.

#include <string>
#include <string_view>

#include "image/MemoryImage.h"

namespace image {

/// Reads a whole file's text, for a chip that may have memory anywhere below 64 KiB. On failure
/// `problem` is the first thing that is wrong, with its line ("line 3: the checksum is 5A, not
/// 5B"); `image` is unchanged then.
[[nodiscard]] bool ReadIntelHex(std::string_view text, MemoryImage& image, std::string& problem);

/// The image in whole words, as the chip's flash is written: the other half of a lone byte is 0xFF.
[[nodiscard]] MemoryImage Canonical(const MemoryImage& image);

/// The covered bytes in ascending order: data records of up to 16 bytes that begin at a multiple of
/// 16 or behind a gap, and the end record. Lines end with LF.
[[nodiscard]] std::string WriteIntelHex(const MemoryImage& image);

}  // namespace image
