// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

// Counts what the code under test takes from the heap with operator new. The test program's own
// bookkeeping keeps itself out of the count with Uncounted.
namespace allocation_counter {

// Allocations so far, and the bytes they asked for.
std::size_t Count();
std::size_t Bytes();

// While one of these lives, nothing is counted.
class Uncounted {
public:
    Uncounted();
    ~Uncounted();
    Uncounted(const Uncounted&) = delete;
    Uncounted& operator=(const Uncounted&) = delete;
};

}  // namespace allocation_counter
