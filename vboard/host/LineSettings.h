// SPDX-License-Identifier: MIT
#pragma once

// The line settings of a terminal: what they are when nobody has set them, which format they ask
// for, and the shapes in which a program hands them over: libc's, and the kernel's own
// (asm-generic/termbits.h) for programs that pass TCGETS, TCSETS and their relatives to ioctl.

#include <termios.h>

#include <array>
#include <cstdint>
#include <optional>

#include "vboard/wires/SerialWire.h"

namespace vboard {

/// The kernel's BOTHER: a speed without a constant. c_ospeed is then a count of bits per second,
/// or this very flag where the program left the speed as it was.
inline constexpr tcflag_t kOtherSpeed = 0010000;

/// What a Linux serial port is set to when it is opened for the first time: 9600 8N1, cooked.
[[nodiscard]] termios FirstOpenSettings();

/// The format that the settings ask for. An unknown speed, and B0, read as 9600.
[[nodiscard]] SerialFormat FormatOf(const termios& settings);

/// Settings as the kernel lays them out, in fields of fixed width: struct termios2 of
/// asm-generic/termbits.h. Its first 36 bytes are struct termios.
struct KernelSettings {
    std::uint32_t inputFlags = 0;
    std::uint32_t outputFlags = 0;
    std::uint32_t controlFlags = 0;
    std::uint32_t localFlags = 0;
    std::uint8_t lineDiscipline = 0;
    std::array<std::uint8_t, 19> controlCharacters{};
    std::uint32_t inputSpeed = 0;  ///< Both in bits per second.
    std::uint32_t outputSpeed = 0;
    bool operator==(const KernelSettings&) const = default;
};
static_assert(sizeof(KernelSettings) == 44);

/// The same settings in the other shape, either way.
[[nodiscard]] KernelSettings ToKernel(const termios& settings);
[[nodiscard]] termios FromKernel(const KernelSettings& settings);

/// True for the requests that read the settings: TCGETS and TCGETS2.
[[nodiscard]] bool ReadsSettings(unsigned long request);
/// The action of tcsetattr that a request stands for (TCSETS, TCSETSW, TCSETSF and the same with a
/// 2 at the end); none for any other request.
[[nodiscard]] std::optional<int> ActionOf(unsigned long request);
/// The length of the shape that goes with either; 0 for any other request.
[[nodiscard]] std::size_t SettingsBytes(unsigned long request);

/// Stores settings in the kernel's shape that goes with a request of ReadsSettings.
void StoreSettings(unsigned long request, const termios& settings, void* argument);
/// Loads settings from the shape that goes with a request of ActionOf.
[[nodiscard]] termios LoadSettings(unsigned long request, const void* argument);

}  // namespace vboard
