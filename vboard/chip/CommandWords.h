// SPDX-License-Identifier: MIT
#pragma once

// A loader command in words, for people who read a record.

#include <string>
#include <string_view>

#include "vboard/chip/FrameDecoder.h"

namespace vboard {

/// "write 16 bytes at 0x2100", and what was wrong with it after a colon, if anything was.
[[nodiscard]] std::string CommandWords(const Frame& frame, std::string_view refusal);

}  // namespace vboard
