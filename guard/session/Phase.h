// SPDX-License-Identifier: MIT
#pragma once

// The parts of a run, in the order of an install.

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace guard {

/// A run passes through some of them, some more than once.
enum class Phase : std::uint8_t {
    kLock,         ///< Waiting for the port.
    kAsk,          ///< The running firmware is asked for its version.
    kEnter,        ///< Into the loader.
    kErase,        ///< Mass erase, as often as the part needs it.
    kProveErased,  ///< Bytes of main memory.
    kWrite,        ///< Bytes of the image without the vectors.
    kProve,        ///< Bytes read back and gaps looked at.
    kCommit,       ///< The vectors, written and read back.
    kStart,        ///< The firmware is started and asked for its version.
    kRelease,      ///< The lines are let go of.
    kRead,         ///< verify, read and info: bytes read.
    kCount
};
/// How many there are.
inline constexpr std::size_t kPhaseCount = static_cast<std::size_t>(Phase::kCount);

/// "prove-erased": for programs, promised.
[[nodiscard]] std::string_view NameOf(Phase phase);

}  // namespace guard
