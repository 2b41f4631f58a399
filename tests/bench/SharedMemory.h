// SPDX-License-Identifier: MIT
#pragma once

// Memory that a process shares with the children that it forks: what they leave in it is there when
// they are gone.

#include <sys/mman.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <new>
#include <string_view>

#include "vboard/time/MustHold.h"

namespace bench {

/// A value in such memory, as its default constructor makes it. It must own nothing.
template <class Value>
class InSharedMemory {
public:
    InSharedMemory() {
        void* memory = mmap(nullptr, sizeof(Value), PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (memory == MAP_FAILED) {
            throw std::bad_alloc();
        }
        m_value = new (memory) Value;
    }
    ~InSharedMemory() { munmap(m_value, sizeof(Value)); }
    InSharedMemory(const InSharedMemory&) = delete;
    InSharedMemory& operator=(const InSharedMemory&) = delete;

    Value& operator*() const { return *m_value; }
    Value* operator->() const { return m_value; }

private:
    Value* m_value;
};

/// Text that a child writes and its parent reads.
class SharedText {
public:
    void Clear() { m_held->length = 0; }
    /// All of them together have less than 16 MiB.
    void Append(std::string_view text) {
        vboard::MustHold(text.size() <= m_held->bytes.size() - m_held->length,
                         "what a run writes has its place in the memory of the bench");
        std::memcpy(m_held->bytes.data() + m_held->length, text.data(), text.size());
        m_held->length += text.size();
    }
    /// Until it is changed.
    [[nodiscard]] std::string_view Text() const { return {m_held->bytes.data(), m_held->length}; }

private:
    struct Held {
        std::size_t length = 0;
        std::array<char, std::size_t{16} << 20> bytes;
    };
    InSharedMemory<Held> m_held;
};

}  // namespace bench
