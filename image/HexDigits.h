// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

namespace image {

/// `value` in upper-case hexadecimal digits, at least `width` of them: (0x21, 4) is "0021".
[[nodiscard]] std::string HexDigits(std::uint64_t value, int width);

}  // namespace image
