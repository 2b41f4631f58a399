// SPDX-License-Identifier: MIT
#pragma once

// Intel HEX text to and from an image of the chip's memory: what boards are filled from, dumped to
// and compared with. The reader is strict, so that a damaged file is never taken for firmware.
//
//     :LLAAAATT data… CC      LL bytes of data at AAAA; CC makes the sum of all bytes 0
//     TT  00 data   01 end of file   02 segment base (x 16)   03, 05 start address
//         04 upper half of the address
//
// Record layout: Intel's paper on the Hexadecimal Object File Format, revision A (1988).

#include <string>
#include <string_view>

#include "image/MemoryImage.h"

namespace image {

/// Reads a whole file's text. Start addresses are checked and left out. Refused are: a line that is
/// not one whole record with the right sum, a record type or length that does not exist, an address
/// above 0xFFFF, a byte given twice with two values, and a missing end record or anything after it.
/// Lines end with LF or CR LF; empty ones are passed over. On failure `problem` says what is wrong
/// and, where one is to blame, the line ("line 3: the checksum is 5A, not 5B"); `image` is
/// unchanged then.
[[nodiscard]] bool ReadIntelHex(std::string_view text, MemoryImage& image, std::string& problem);

/// The covered bytes in ascending order: data records of up to 16 bytes that begin at a multiple of
/// 16 or behind a gap, and the end record. Lines end with LF.
[[nodiscard]] std::string WriteIntelHex(const MemoryImage& image);

}  // namespace image
