// SPDX-License-Identifier: MIT
#pragma once

// The second byte of a frame (SLAU319), and the control words that say which erase is meant.

#include <cstdint>

namespace vboard {

inline constexpr std::uint8_t kReceivePassword = 0x10;
inline constexpr std::uint8_t kReceiveBlock = 0x12;
inline constexpr std::uint8_t kTransmitBlock = 0x14;
inline constexpr std::uint8_t kErase = 0x16;
inline constexpr std::uint8_t kMassErase = 0x18;
inline constexpr std::uint8_t kLoadProgramCounter = 0x1A;
inline constexpr std::uint8_t kEraseCheck = 0x1C;
inline constexpr std::uint8_t kTransmitVersion = 0x1E;
inline constexpr std::uint8_t kChangeSpeed = 0x20;
inline constexpr std::uint8_t kSetMemoryOffset = 0x21;

/// Not a frame's command: the character that goes before each frame.
inline constexpr std::uint8_t kSync = 0x80;

inline constexpr std::uint16_t kEraseSegmentWord = 0xA502;
inline constexpr std::uint16_t kEraseAreaWord = 0xA504;
inline constexpr std::uint16_t kMassEraseWord = 0xA506;

}  // namespace vboard
