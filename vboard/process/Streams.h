// SPDX-License-Identifier: MIT
#pragma once

// stdio streams on files of the board. stdio's own buffering stays as it is, so the board sees what
// a kernel would see: a write at each flush.

#include <cstdio>
#include <memory>

#include "vboard/host/Host.h"

namespace vboard {

/// The flags of open(2) for a mode of fopen(3); -1 when the mode is not one.
[[nodiscard]] int FlagsOfMode(const char* mode);

/// A stream on a file of the board, which closing the stream closes. `descriptor` goes with it when
/// the stream was made from one; -1 when it was not. nullptr when there is no memory.
[[nodiscard]] std::FILE* MakeStream(std::shared_ptr<OpenFile> file, int descriptor,
                                    const char* mode);

/// True for a stream of the board.
[[nodiscard]] bool IsOurs(std::FILE* stream);
/// The descriptor behind a stream of the board; a stream that had none is given one. -1 and errno
/// on failure.
[[nodiscard]] int DescriptorOf(std::FILE* stream);

}  // namespace vboard
