// SPDX-License-Identifier: MIT
#pragma once

// The host as the fuzzer plays it: the linker leads the tool's calls here (--wrap), and every
// answer is taken from the input. When the input is used up, everything succeeds but reads, which
// find the other side gone.

#include <cstddef>
#include <cstdint>

namespace fuzz {

/// Begins a session on this input.
void Begin(const std::uint8_t* data, std::size_t size);
/// From here on calls reach the machine again.
void End();

/// Descriptors and streams that the tool has open at this moment.
[[nodiscard]] int OpenCount();

}  // namespace fuzz
