// SPDX-License-Identifier: MIT
#pragma once

// What a room of the board may announce. Rooms hold a Probe and do not know who listens; the board
// decides that. Every announcement is about the present instant of the virtual clock unless it
// carries its own.

#include <cstdint>
#include <span>
#include <string_view>

#include "vboard/probe/Signals.h"
#include "vboard/time/BitTime.h"
#include "vboard/time/VirtualClock.h"

namespace vboard {

/// A direction on either link between the board's processor and the chip.
enum class Direction : std::uint8_t { kHostToChip, kChipToHost };

/// A call of the program that reached a board device, told when it has ended.
struct HostCall {
    std::string_view name;               ///< open, close, read, write, ioctl, select, tcsetattr ...
    std::string_view target;             ///< The device's path.
    std::string_view detail;             ///< Arguments for people to read; may be empty.
    std::int64_t result;                 ///< A count or 0; -errno when the call failed.
    std::span<const std::uint8_t> data;  ///< Bytes read or written; empty otherwise.
};

/// A character put on the serial wire. Bit 0 of `bits` is the start bit, then data (least
/// significant first), parity, stop; bits beyond `bitCount` are idle.
struct WireCharacter {
    Direction direction;
    std::uint8_t value;
    Instant start;
    std::uint32_t bitsPerSecond;
    std::uint16_t bits;
    unsigned bitCount;

    /// When bit `bit` begins; for bitCount, when the character ends.
    [[nodiscard]] constexpr Instant BitStart(unsigned bit) const {
        return start + TimeOfBits(bit, bitsPerSecond);
    }
    [[nodiscard]] constexpr Instant End() const { return BitStart(bitCount); }
};

/// A whole command taken by the loader, or what was wrong with it.
struct LoaderCommand {
    std::uint8_t command;  ///< Frame byte 1; 0x80 for the sync byte.
    std::uint16_t address;
    std::uint16_t lengthBytes;  ///< The length field as sent (an erase's control word, too).
    std::uint8_t answer;        ///< First byte of the answer.
    std::string_view words;     ///< "sync", "write 16 bytes at 0x2100", "bad checksum" ...
};

/// Gets announcements. Each does nothing here, so a listener overrides those that it is for.
class Probe {
public:
    virtual ~Probe() = default;

    /// False where nobody would read it: a room may then leave out the work of composing a text.
    [[nodiscard]] virtual bool Listening() const { return false; }

    /// A signal has this value from now on; it may be the one that it had.
    virtual void OnSignal(Signal /*signal*/, std::uint32_t /*value*/) {}
    /// A call is about to act on the board. What is announced before its OnCall at the same instant
    /// is its effect.
    virtual void OnCallBegins() {}
    virtual void OnCall(const HostCall& /*call*/) {}
    /// A pause that the program asked for, told before it begins.
    virtual void OnPause(Duration /*length*/) {}
    virtual void OnCharacter(const WireCharacter& /*character*/) {}
    /// The serial line of a direction is pulled low and stays so, or is let go of.
    virtual void OnBreak(Direction /*direction*/, bool /*low*/) {}
    virtual void OnMessage(Direction /*direction*/, std::span<const std::uint8_t> /*bytes*/) {}
    virtual void OnLoaderCommand(const LoaderCommand& /*command*/) {}
    /// Anything else worth a line: `room` names who speaks (chip, wire, port, fault).
    virtual void OnNote(std::string_view /*room*/, std::string_view /*text*/) {}
};

}  // namespace vboard
