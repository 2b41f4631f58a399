// SPDX-License-Identifier: MIT
#pragma once

// Text on its way into a file, held in memory that runner and program share: it outlives a program
// that is killed, keeps its order when one program of a run follows another, and does not cost a
// system call a line.

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "vboard/text/TextSink.h"

namespace vboard {

/// Lies in shared memory that begins as zeros, which is an empty text.
class HeldText {
public:
    /// Adds a text; `sink` gets what does not fit any more.
    void Append(std::string_view text, const TextSink& sink) {
        if (text.size() > m_text.size() - m_sizeBytes) {
            HandOn(sink);
        }
        if (text.size() > m_text.size()) {
            sink(text);
            return;
        }
        std::memcpy(m_text.data() + m_sizeBytes, text.data(), text.size());
        // Whoever reads it after a kill finds whole texts only.
        std::atomic_signal_fence(std::memory_order_release);
        m_sizeBytes += static_cast<std::uint32_t>(text.size());
    }

    /// Gives all that is held to `sink`.
    void HandOn(const TextSink& sink) {
        if (m_sizeBytes > 0) {
            sink({m_text.data(), m_sizeBytes});
            m_sizeBytes = 0;
        }
    }

private:
    std::uint32_t m_sizeBytes;
    std::array<char, 64 * 1024 - 4> m_text;
};
static_assert(sizeof(HeldText) == 64 * 1024);

}  // namespace vboard
