// SPDX-License-Identifier: MIT
#pragma once

// A descriptor that words go to. Whoever reads them, or does not, holds up nobody: what is only
// news is dropped when it can't be written at once, and what must be said waits a bounded time.

#include <string_view>

namespace guard {

class Output {
public:
    /// `descriptor` stays the caller's.
    explicit Output(int descriptor) : m_descriptor(descriptor) {}

    /// Writes `text`, or drops it when that would wait.
    void News(std::string_view text);
    /// Writes `text`, for which it waits up to two seconds of the machine's clock.
    void Must(std::string_view text);

    /// Whether a text was lost other than by a reader that had gone or did not read.
    [[nodiscard]] bool Lost() const { return m_lost; }

private:
    void Write(std::string_view text, int waitMs);

    int m_descriptor;
    bool m_lost = false;
    bool m_torn = false;  ///< The last text was written in part.
};

}  // namespace guard
