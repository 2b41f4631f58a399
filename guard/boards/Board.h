// SPDX-License-Identifier: MIT
#pragma once

// What flashguard has to know of a board: which devices and lines lead to the chip, and what the
// chip's memory and clock are like.

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace guard {

/// A memory of the chip, both ends included; erased in segments of `segmentBytes`.
struct MemoryArea {
    std::uint16_t first = 0;
    std::uint16_t last = 0;
    std::uint16_t segmentBytes = 0;
    /// True for both ends and what is between them.
    [[nodiscard]] constexpr bool Contains(std::uint32_t address) const {
        return address >= first && address <= last;
    }
    /// At least 1, at most 65536.
    [[nodiscard]] constexpr std::uint32_t SizeBytes() const { return last - first + 1U; }
    bool operator==(const MemoryArea&) const = default;
};

/// A speed that the loader can be told to change to, and the bytes D1 and D2 of that command, which
/// set the clock that the part needs for it (SLAU319 2.4.4.8).
struct Speed {
    unsigned baud = 0;  ///< 9600, 19200 or 38400.
    std::uint8_t d1 = 0;
    std::uint8_t d2 = 0;
    bool operator==(const Speed&) const = default;
};

/// A chip as far as boards have it in common: what a board's file need not say when it names the
/// part.
struct Part {
    std::string name;        ///< As `vboard list chips` has it: "msp430-56k".
    MemoryArea main;         ///< Holds the interrupt vectors, 0xFFE0 to 0xFFFF.
    MemoryArea information;  ///< Erased along with `main` by a mass erase.
    /// Information memory has calibration values that the board's firmware uses, and an erase
    /// loses. Only a board's file says so.
    bool calibration = false;
    unsigned eraseMs = 0;       ///< How long a mass erase has to last in all.
    std::vector<Speed> speeds;  ///< Without 9600, which needs no command.
    bool operator==(const Part&) const = default;
};

/// A board as built in or as its file has it. `chip` is whole: a file fills what the part leaves
/// open.
struct Board {
    std::string name;                          ///< "BRDA".
    std::string source;                        ///< "built in", or the file's path.
    std::string port;                          ///< The programming port.
    std::optional<std::string> communication;  ///< Device of version query and tristate switch.
    std::string resetGpio;                     ///< sysfs GPIO numbers, decimal.
    std::string rxdNmiGpio;
    std::string tckGpio;
    std::uint16_t versionAddress = 0x2100;  ///< Of the image's version word, low byte first.
    Part chip;
    bool operator==(const Board&) const = default;
};

/// BRDA, BRDB and BRDC, with the devices and lines that `flashmcu -m` gives them.
[[nodiscard]] std::span<const Board> BuiltInBoards();

/// The parts by their names.
[[nodiscard]] std::span<const Part> KnownParts();

/// nullptr when there is no such part.
[[nodiscard]] const Part* FindPart(std::string_view name);

/// nullptr when none of `boards` has that name.
[[nodiscard]] const Board* FindBoard(std::span<const Board> boards, std::string_view name);

}  // namespace guard
