// SPDX-License-Identifier: MIT
#pragma once

// The chip's address space as bytes, and the few places in it that mean something to every part.

#include <cstddef>
#include <cstdint>
#include <span>

namespace vboard {

/// The address space of a part: 64 KiB.
inline constexpr std::size_t kMemorySizeBytes = 0x10000;
/// All of it, owned by somebody else and changed in place.
using Memory = std::span<std::uint8_t, kMemorySizeBytes>;

/// What an erased cell reads as.
inline constexpr std::uint8_t kErasedByte = 0xFF;

/// Of the word that says where the application starts; while it is erased, there is none.
inline constexpr std::uint16_t kResetVectorAddress = 0xFFFE;

}  // namespace vboard
