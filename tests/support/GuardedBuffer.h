// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstdint>

#include "Bytes.h"

// A buffer with a field of known bytes before and after it, and filled with them itself, so that
// a test sees every byte that was written, inside or outside.
class GuardedBuffer {
public:
    static constexpr std::uint8_t kFill = 0xC7;

    explicit GuardedBuffer(std::size_t sizeBytes) : m_all(sizeBytes + 2 * kGuardBytes, kFill) {}

    std::uint8_t* Data() { return m_all.data() + kGuardBytes; }
    [[nodiscard]] Bytes First(int count) const {
        return {m_all.begin() + kGuardBytes, m_all.begin() + kGuardBytes + count};
    }
    // Whether nothing but the first `count` bytes of the buffer was touched.
    [[nodiscard]] bool UntouchedBut(int count) const {
        const auto isFill = [](std::uint8_t byte) { return byte == kFill; };
        return std::all_of(m_all.begin(), m_all.begin() + kGuardBytes, isFill) &&
               std::all_of(m_all.begin() + kGuardBytes + count, m_all.end(), isFill);
    }
    [[nodiscard]] bool Untouched() const { return UntouchedBut(0); }

private:
    static constexpr int kGuardBytes = 512;
    Bytes m_all;
};
