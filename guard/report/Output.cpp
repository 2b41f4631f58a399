// SPDX-License-Identifier: MIT
#include "guard/report/Output.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace guard {
namespace {

constexpr int kLongestWaitMs = 2000;
/// A pipe that has room takes as much as this without a wait (PIPE_BUF).
constexpr std::size_t kMostAtOnceBytes = 512;

bool HasRoom(int descriptor, int waitMs) {
    pollfd wanted{descriptor, POLLOUT, 0};
    return poll(&wanted, 1, waitMs) == 1;
}

}  // namespace

void Output::News(std::string_view text) {
    Write(text, 0);
}

void Output::Must(std::string_view text) {
    Write(text, kLongestWaitMs);
}

void Output::Write(std::string_view text, int waitMs) {
    if (m_torn && HasRoom(m_descriptor, waitMs)) {
        // What was cut is ended, so that the next text begins a line of its own.
        m_torn = write(m_descriptor, "\n", 1) != 1;
    }
    bool begun = false;
    while (!text.empty() && HasRoom(m_descriptor, begun ? kLongestWaitMs : waitMs)) {
        const std::size_t size = std::min(text.size(), kMostAtOnceBytes);
        const ssize_t written = write(m_descriptor, text.data(), size);
        if (written <= 0) {
            m_lost = m_lost || (errno != EPIPE && errno != EAGAIN);
            break;
        }
        begun = true;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    m_torn = m_torn || (begun && !text.empty());
}

}  // namespace guard
