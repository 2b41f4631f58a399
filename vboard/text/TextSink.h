// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <string_view>

namespace vboard {

/// Takes the text of a record, piece by piece.
using TextSink = std::function<void(std::string_view)>;

/// What a writer gathers, unless somebody watches, before it hands it on: a run does not make a
/// system call a line.
inline constexpr std::size_t kHeldBytes = 0x10000;

}  // namespace vboard
