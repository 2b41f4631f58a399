// SPDX-License-Identifier: MIT
#pragma once

// Where what the chip sends leads: the wires implement these.

#include <cstdint>
#include <span>

#include "vboard/chip/SerialFormat.h"

namespace vboard {

/// Where the chip's transmit pin leads.
class SerialSink {
public:
    virtual ~SerialSink() = default;
    /// One character in the chip's own format, starting now or when the one before has ended.
    virtual void Send(std::uint8_t value, const SerialFormat& format) = 0;
    /// The chip stops in the middle of sending: what has not begun is never sent.
    virtual void Stop() {}
};

/// Where the application's messages on the second link lead.
class MessageSink {
public:
    virtual ~MessageSink() = default;
    /// One whole message without its length byte.
    virtual void SendMessage(std::span<const std::uint8_t> message) = 0;
};

}  // namespace vboard
