// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace vboard {

/// Two lower-case digits for each of `bytes`, with `separator` between bytes: "80 18 04".
[[nodiscard]] std::string HexText(std::span<const std::uint8_t> bytes,
                                  std::string_view separator = " ");

}  // namespace vboard
