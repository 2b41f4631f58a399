// SPDX-License-Identifier: MIT
#pragma once

// A child of vfork runs in its parent's memory until it becomes another program, with descriptors
// of its own: what it closes and copies must not change what is known of its parent's.

namespace vboard {

/// True in a process that runs in the memory of another.
[[nodiscard]] bool RunsInParentsMemory();

}  // namespace vboard
