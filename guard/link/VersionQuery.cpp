// SPDX-License-Identifier: MIT
#include "guard/link/VersionQuery.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstddef>

namespace guard {
namespace {

using std::chrono_literals::operator""ms;

constexpr Milliseconds kPatience = 250ms;
constexpr std::array<std::uint8_t, 3> kRequest{0x02, 0xB4, 0x00};
constexpr std::uint8_t kReplyCode = 0xB5;
constexpr std::size_t kLongestMessage = 255;

/// Fills `buffer` until `deadline`; the device gives a message in as many parts as it likes.
bool ReadUntil(int file, std::uint8_t* buffer, std::size_t size, Duration deadline) {
    while (size > 0) {
        const Duration left = deadline - Now();
        if (left <= Duration::zero()) {
            return false;
        }
        pollfd wait{file, POLLIN, 0};
        const auto leftMs = std::chrono::ceil<Milliseconds>(left);
        if (poll(&wait, 1, static_cast<int>(leftMs.count())) <= 0) {
            return false;
        }
        const ssize_t count = read(file, buffer, size);
        if (count <= 0) {
            return false;
        }
        buffer += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

std::optional<std::uint16_t> AskOnce(int file) {
    if (write(file, kRequest.data(), kRequest.size()) != static_cast<ssize_t>(kRequest.size())) {
        return std::nullopt;
    }
    const Duration deadline = Now() + kPatience;
    std::array<std::uint8_t, kLongestMessage> message{};
    std::uint8_t length = 0;
    while (ReadUntil(file, &length, 1, deadline) &&
           ReadUntil(file, message.data(), length, deadline)) {
        if (length >= 3 && message[0] == kReplyCode) {
            return static_cast<std::uint16_t>(message[1] << 8U | message[2]);
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::uint16_t> VersionQuery::Ask(Duration limit) {
    const Duration end = Now() + limit;
    while (true) {
        const Duration begin = Now();
        const int file = open(m_device.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        if (file >= 0) {
            const auto version = AskOnce(file);
            (void)close(file);
            if (version) {
                return version;
            }
        }
        // A device that refuses at once gets its time, too.
        const auto rest = std::chrono::duration_cast<Milliseconds>(begin + kPatience - Now());
        if (rest > Milliseconds::zero()) {
            Pause(rest);
        }
        if (Now() >= end) {
            return std::nullopt;
        }
    }
}

}  // namespace guard
