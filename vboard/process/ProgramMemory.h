// SPDX-License-Identifier: MIT
#pragma once

// Memory that the program points to, looked at before it is touched: a pointer that leads nowhere
// is answered with EFAULT, as a kernel answers it. Bytes are given as far as they are there, in
// whole from the beginning; the rest of a buffer that nothing fills need not exist. A page that was
// found there a moment ago is taken to be there still.

#include <cstddef>

namespace vboard {

/// How many of `size` bytes from `start` on the program can read, or write.
[[nodiscard]] std::size_t ReadableBytes(const void* start, std::size_t size);
[[nodiscard]] std::size_t WritableBytes(void* start, std::size_t size);

/// True where all of them are there; also for none at all.
[[nodiscard]] inline bool CanRead(const void* start, std::size_t size) {
    return ReadableBytes(start, size) == size;
}
[[nodiscard]] inline bool CanWrite(void* start, std::size_t size) {
    return WritableBytes(start, size) == size;
}

/// The same for a structure of the program's, by its type.
template <class Structure>
[[nodiscard]] bool CanRead(const Structure* structure) {
    return CanRead(static_cast<const void*>(structure), sizeof(Structure));
}
template <class Structure>
[[nodiscard]] bool CanWrite(Structure* structure) {
    return CanWrite(static_cast<void*>(structure), sizeof(Structure));
}

/// True for a text that ends, within the length that a kernel takes for a path.
[[nodiscard]] bool IsText(const char* text);

}  // namespace vboard
