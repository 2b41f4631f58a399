// SPDX-License-Identifier: MIT
#include "image/HexDigits.h"

namespace image {

std::string HexDigits(std::uint64_t value, int width) {
    constexpr const char* kDigits = "0123456789ABCDEF";
    std::string text;
    for (; value > 0 || width > 0; value >>= 4U, --width) {
        text.insert(text.begin(), kDigits[value & 0xFU]);
    }
    return text;
}

}  // namespace image
