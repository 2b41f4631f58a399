// SPDX-License-Identifier: MIT
#ifndef VBOARD_TEXT_HEXTEXT_H
#define VBOARD_TEXT_HEXTEXT_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace vboard {

// Two lower-case digits for each of `bytes`, with `separator` between bytes: "80 18 04".
[[nodiscard]] std::string HexText(std::span<const std::uint8_t> bytes,
                                  std::string_view separator = " ");

}  // namespace vboard

#endif
