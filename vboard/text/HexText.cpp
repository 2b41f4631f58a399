// SPDX-License-Identifier: MIT
#include "vboard/text/HexText.h"

namespace vboard {

std::string HexText(std::span<const std::uint8_t> bytes, std::string_view separator) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        if (!text.empty()) {
            text += separator;
        }
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0xFU];
    }
    return text;
}

}  // namespace vboard
