// SPDX-License-Identifier: MIT
#pragma once

// stdio streams on files of the board. They are libc's own, buffers and places included; only what
// libc would ask the kernel for goes to the board, so that it sees what a kernel would see: a write
// at each flush.

#include <cstdint>
#include <cstdio>

#include "vboard/process/Wrapping.h"

namespace vboard {

/// Opens a path of the board as a stream: nullptr and errno on failure.
[[nodiscard]] std::FILE* OpenStream(const Place& place, const char* mode);
/// A stream on a descriptor of the board, which closing the stream closes: nullptr and errno on
/// failure.
[[nodiscard]] std::FILE* StreamOn(int descriptor, const char* mode);
/// freopen(3) to a path of the board.
[[nodiscard]] std::FILE* ReopenStream(const Place& place, const char* mode, std::FILE* stream);
/// Before libc turns a stream of the board into one on another file.
void LeaveStream(std::FILE* stream);

/// What a stream of the board flushes: the count of bytes that were taken. Fewer than `size` after
/// an error, with errno and the stream's mark of errors.
std::int64_t FlushStream(std::FILE* stream, const void* data, std::size_t size);

}  // namespace vboard
