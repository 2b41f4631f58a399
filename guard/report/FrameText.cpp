// SPDX-License-Identifier: MIT
#include "guard/report/FrameText.h"

#include "image/HexDigits.h"

namespace guard {

std::string BytesText(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += text.empty() ? "" : " ";
        text += image::HexDigits(byte, 2);
    }
    return text;
}

std::string FrameText(bool toChip, std::span<const std::uint8_t> bytes) {
    return (toChip ? "> " : "< ") + BytesText(bytes);
}

}  // namespace guard
