// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace image {

/// The fourth byte of an Intel HEX record.
enum RecordType : std::uint8_t {
    kData,
    kEndOfFile,
    kSegmentBase,
    kStartSegment,
    kLinearBase,
    kStartLinear,
};

}  // namespace image
