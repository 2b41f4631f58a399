// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace vboard {

/// How much of the program's memory an ioctl uses behind its third word. Both are 0 for requests
/// whose third word is a number or nothing, and for those that no device here knows.
struct RequestMemory {
    std::size_t readBytes = 0;
    std::size_t writtenBytes = 0;
};
/// Of one request of ioctl(2), by its number; nothing is looked at.
[[nodiscard]] RequestMemory MemoryOf(unsigned long request);

}  // namespace vboard
