// SPDX-License-Identifier: MIT
#pragma once

// The loader's commands, as the work with a chip needs them. The frames are built by the tool's
// builders; what a command may take, and what its answer means, is said here.

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "guard/boards/Board.h"
#include "guard/loader/Exchange.h"
#include "guard/loader/LoaderIdentity.h"

namespace guard {

/// What unlocks the loader: the content of the interrupt vectors, 0xFFE0 to 0xFFFF.
using Password = std::array<std::uint8_t, 32>;

/// Of an erased chip.
[[nodiscard]] Password ErasedPassword();

/// The loader of one chip, which has been entered.
class Loader {
public:
    /// The longest data block of the protocol.
    static constexpr std::size_t kMaxBlockBytes = 250;

    /// Both must outlive the loader.
    Loader(Port& port, Exchange& exchange) : m_port(port), m_exchange(exchange) {}

    /// Whether the loader answers after an entry.
    [[nodiscard]] bool Greets();

    /// kAck says that the frame arrived, not that the password was right: only a protected command
    /// tells (SLAU319 2.4.4.3).
    [[nodiscard]] Answer SendPassword(const Password& password);
    /// One pulse of the mass erase, which needs no password.
    [[nodiscard]] Answer MassErase();
    /// `data` is an even count of at most kMaxBlockBytes bytes for an even address.
    [[nodiscard]] Answer Write(std::uint16_t address, std::span<const std::uint8_t> data);
    /// At most kMaxBlockBytes.
    [[nodiscard]] Answer Read(std::uint16_t address, std::span<std::uint8_t> data);
    /// kAck: erased. kNak: not erased, locked, or a loader without the command.
    [[nodiscard]] Answer EraseCheck(std::uint16_t address, std::uint16_t size);
    /// The loader's version command: 1.50 and later, not 2.x.
    [[nodiscard]] Answer AskIdentity(LoaderIdentity& identity);
    /// The same from the boot ROM's words at 0x0FF0 and 0x0FFA, once unlocked.
    [[nodiscard]] Answer ReadIdentity(LoaderIdentity& identity);
    /// Both ends to another speed. Anything but kAck: the chip's speed is not known any more, and a
    /// new entry sets it back; the port is at its first speed then.
    [[nodiscard]] Answer ChangeSpeed(const Speed& speed);

private:
    Port& m_port;
    Exchange& m_exchange;
};

}  // namespace guard
