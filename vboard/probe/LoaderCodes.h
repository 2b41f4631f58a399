// SPDX-License-Identifier: MIT
#pragma once

// The bytes that tell one message between programmer and loader from another (SLAU319): what stands
// in the fields of an announced LoaderCommand. Chip, faults and records speak of them alike.

#include <cstdint>

namespace vboard {

/// Not a frame: the character that goes before each of them.
inline constexpr std::uint8_t kSyncByte = 0x80;
/// The first byte of a frame, in either direction; the loader takes any low half (SLAA089D).
inline constexpr std::uint8_t kFrameHeader = 0x80;
inline constexpr std::uint8_t kFrameHeaderMask = 0xF0;
/// An answer of one byte.
inline constexpr std::uint8_t kAckByte = 0x90;
inline constexpr std::uint8_t kNakByte = 0xA0;

// The second byte of a frame.
inline constexpr std::uint8_t kReceivePassword = 0x10;
inline constexpr std::uint8_t kReceiveBlock = 0x12;
inline constexpr std::uint8_t kTransmitBlock = 0x14;
inline constexpr std::uint8_t kEraseFlash = 0x16;
inline constexpr std::uint8_t kMassErase = 0x18;
inline constexpr std::uint8_t kLoadProgramCounter = 0x1A;
inline constexpr std::uint8_t kEraseCheck = 0x1C;
inline constexpr std::uint8_t kTransmitVersion = 0x1E;
inline constexpr std::uint8_t kChangeSpeed = 0x20;
inline constexpr std::uint8_t kSetMemoryOffset = 0x21;

// The control words that say which erase is meant.
inline constexpr std::uint16_t kEraseSegmentWord = 0xA502;
inline constexpr std::uint16_t kEraseAreaWord = 0xA504;
inline constexpr std::uint16_t kMassEraseWord = 0xA506;

}  // namespace vboard
