// SPDX-License-Identifier: MIT
#pragma once

// Bytes between a file of the board and the program's memory, or another file.

#include <sys/uio.h>

#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include "vboard/host/Host.h"

namespace vboard {

/// read(2) and write(2) with the program's memory: as much of it as there is; -EFAULT for none.
IoResult ReadInto(OpenFile& file, void* buffer, std::size_t size);
IoResult WriteFrom(OpenFile& file, const void* data, std::size_t size);

/// Reading and writing in pieces, and at a place of its own.
IoResult ReadPieces(OpenFile& file, const iovec* pieces, int count);
IoResult WritePieces(OpenFile& file, const iovec* pieces, int count);
IoResult ReadAt(OpenFile& file, void* buffer, std::size_t size, std::int64_t offset);
IoResult WriteAt(OpenFile& file, const void* data, std::size_t size, std::int64_t offset);
IoResult ReadPiecesAt(OpenFile& file, const iovec* pieces, int count, std::int64_t offset);
IoResult WritePiecesAt(OpenFile& file, const iovec* pieces, int count, std::int64_t offset);

/// The offset of preadv2 and pwritev2 that stands for the file's own place.
inline constexpr std::int64_t kNoPlace = -1;
/// preadv2(2) and pwritev2(2), which know no flags here.
IoResult CopyFlagged(OpenFile& file, const iovec* pieces, int count, std::int64_t offset, int flags,
                     bool writes);

/// sendfile(2) where one of the two is the board's. `offset` may be nullptr.
IoResult Send(int target, int source, std::int64_t* offset, std::size_t count);
/// dprintf(3).
IoResult Say(OpenFile& file, const char* format, va_list arguments);

}  // namespace vboard
