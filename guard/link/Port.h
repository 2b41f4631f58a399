// SPDX-License-Identifier: MIT
#pragma once

// The programming port: 8 data bits, even parity, one stop bit, and a limit for every wait.
//
// The controller opens and closes it; between the two, its reads end by themselves: VMIN 0 and
// VTIME 1 give back what has come within 100 ms, or nothing. No limit needs a clock: it is a count
// of such reads.

#include <cstdint>
#include <span>
#include <string>

#include "guard/link/Clock.h"
#include "guard/link/Target.h"

namespace guard {

/// The port of one chip, open between Open and Close.
class Port {
public:
    /// What the loader speaks after every entry (SLAU319).
    static constexpr unsigned kFirstBaud = 9600;
    /// Start, eight data bits, parity, stop.
    static constexpr unsigned kBitsPerCharacter = 11;

    /// `target` must outlive the port.
    explicit Port(Target& target) : m_target(target) {}

    /// Opens it at kFirstBaud; it is closed. Tried three times; false when the device is missing or
    /// refuses.
    [[nodiscard]] bool Open();
    /// Gives the port back; nothing to do when it is not open.
    void Close();

    /// Changes the speed of both directions: 9600, 19200 or 38400. What was on its way is lost.
    [[nodiscard]] bool ChangeBaud(unsigned baud);
    /// The speed that was set last.
    [[nodiscard]] unsigned Baud() const { return m_baud; }
    /// What `count` characters take on the wire.
    [[nodiscard]] Duration TimeOf(std::size_t count) const;

    /// Hands `bytes` to the driver, which sends them after those before. False when it does not
    /// take them all.
    [[nodiscard]] bool Send(std::span<const std::uint8_t> bytes);

    /// Waits up to `limit` for the first byte and takes what comes until `buffer` is full or 200 ms
    /// bring nothing more. The count of bytes. A character with a wrong parity is a byte 00.
    [[nodiscard]] std::size_t Receive(std::span<std::uint8_t> buffer, Duration limit);

    /// Throws away what was received and not read, and what is not yet sent.
    void Forget();
    /// Forget, then listens until nothing comes for 100 ms (or a thousand characters came); returns
    /// their count.
    std::size_t Drain();

private:
    [[nodiscard]] bool Configure(unsigned baud);

    Target& m_target;
    unsigned m_baud = kFirstBaud;
};

}  // namespace guard
