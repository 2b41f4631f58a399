// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace guard {

/// "80 18 04 ...", "" for none.
[[nodiscard]] std::string BytesText(std::span<const std::uint8_t> bytes);

/// "> 80 18 04 ..." for a frame to the chip, "< 90" for an answer.
[[nodiscard]] std::string FrameText(bool toChip, std::span<const std::uint8_t> bytes);

}  // namespace guard
