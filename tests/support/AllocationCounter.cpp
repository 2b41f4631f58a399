// SPDX-License-Identifier: MIT
#include "AllocationCounter.h"

#include <cstdlib>
#include <new>

namespace {

std::size_t allocationCount = 0;
std::size_t allocatedBytes = 0;
int uncountedDepth = 0;

void* Allocate(std::size_t sizeBytes) {
    if (uncountedDepth == 0) {
        ++allocationCount;
        allocatedBytes += sizeBytes;
    }
    void* memory = std::malloc(sizeBytes == 0 ? 1 : sizeBytes);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

namespace allocation_counter {

std::size_t Count() {
    return allocationCount;
}
std::size_t Bytes() {
    return allocatedBytes;
}
Uncounted::Uncounted() {
    ++uncountedDepth;
}
Uncounted::~Uncounted() {
    --uncountedDepth;
}

}  // namespace allocation_counter

void* operator new(std::size_t sizeBytes) {
    return Allocate(sizeBytes);
}
void* operator new[](std::size_t sizeBytes) {
    return Allocate(sizeBytes);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
