// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <memory>

#include "vboard/host/Host.h"

namespace vboard {

/// The flags of open(2) for a mode of fopen(3); -1 when the mode is not one.
[[nodiscard]] int FlagsOfMode(const char* mode);

/// A stdio stream on a file of the board. stdio's own buffering stays as it is, so the board sees
/// what a kernel would see: a write at each flush. Closing the stream closes the file. nullptr when
/// there is no memory.
[[nodiscard]] std::FILE* MakeStream(std::unique_ptr<OpenFile> file, const char* mode);

}  // namespace vboard
