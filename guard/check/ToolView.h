// SPDX-License-Identifier: MIT
#pragma once

// What flashmcu makes of an image: its own classes read the file as they do before and during a
// download. It takes much that flashguard refuses.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "image/MemoryImage.h"

namespace guard {

struct ToolView {
    std::optional<std::uint16_t> version;  ///< None: it ends before it touches a device.
    std::size_t blocks = 0;                ///< Frames that it would send.
    bool endRecord = false;                ///< It came to one; otherwise it stopped before.
    unsigned records = 0;                  ///< That it looked at.
    image::MemoryImage memory;             ///< What it would ask the chip to hold.
    std::size_t twice = 0;                 ///< Bytes that it would write again with another value,
    std::uint16_t firstTwice = 0;          ///< and where the first of them lies.
};

/// Reads the file at `path` as `flashmcu -f PATH -l VERSIONADDRESS` does.
[[nodiscard]] ToolView LookAsTheToolDoes(const std::string& path, std::uint16_t versionAddress);

/// The same as sentences, compared with what the image really is (`memory`, nullptr for one that
/// is refused).
[[nodiscard]] std::vector<std::string> SentencesOf(const ToolView& view,
                                                   const image::MemoryImage* memory);

}  // namespace guard
