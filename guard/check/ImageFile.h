// SPDX-License-Identifier: MIT
#pragma once

// A firmware file, read once and judged for a board: what is not refused here can be programmed.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "guard/boards/Board.h"
#include "image/Finding.h"
#include "image/MemoryImage.h"

namespace guard {

/// Larger files are no images of such a chip.
inline constexpr std::uint64_t kLargestImageBytes = 64ULL * 1024 * 1024;

struct ImageFile {
    std::string path;
    image::Findings found;  ///< Refused() says whether anything below may be used.
    image::MemoryImage memory;
    std::string sha256;  ///< Of the file: 64 digits; "" when it could not be read to its end.
    std::optional<std::uint16_t> version;  ///< The word at the board's version address.
    std::optional<std::uint16_t> start;    ///< What the reset vector points to.
};

/// Reads the file at `path`, which has to be a regular one, for `board`. It is opened once and read
/// from its start to its end once.
[[nodiscard]] ImageFile ReadImageFile(const std::string& path, const Board& board);

/// Why a refused image is, in a clause: "firmware.hex is refused, in line 4: the checksum is ...".
[[nodiscard]] std::string RefusalOf(const ImageFile& file);

/// "IMAGE:LINE: what is wrong; what to do", or without the line where none is to blame.
[[nodiscard]] std::string TextOf(const std::string& path, const image::Finding& finding);

}  // namespace guard
