// SPDX-License-Identifier: MIT
#pragma once

#include <unistd.h>

#include <utility>

namespace vboard {

/// Owns a file descriptor; -1 owns nothing.
class Descriptor {
public:
    Descriptor() = default;
    /// Takes over `number`, which it closes at its end; -1, as a failed open gives, is fine.
    explicit Descriptor(int number) : m_number(number) {}
    ~Descriptor() { Reset(); }
    /// What is moved from owns nothing.
    Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        if (this != &other) {
            Reset();
            m_number = std::exchange(other.m_number, -1);
        }
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    /// For calls of libc; stays owned here. -1 when nothing is open.
    [[nodiscard]] int Number() const { return m_number; }
    [[nodiscard]] bool IsOpen() const { return m_number >= 0; }

private:
    void Reset() {
        if (m_number >= 0) {
            close(m_number);
            m_number = -1;
        }
    }
    int m_number = -1;
};

}  // namespace vboard
