// SPDX-License-Identifier: MIT
#pragma once

// What a program asks about a descriptor rather than about the device behind it.

#include <termios.h>

#include <cstddef>

#include "vboard/process/Wrapping.h"

namespace vboard {

/// isatty(3): 1, or 0 and ENOTTY.
[[nodiscard]] int IsTerminal(const OpenFile& file);
/// ttyname(3): overwritten by the next call; nullptr and ENOTTY for what is no terminal.
[[nodiscard]] char* TerminalName(const OpenFile& file);
/// ttyname_r(3): 0 or an error number.
[[nodiscard]] int TerminalName(const OpenFile& file, char* buffer, std::size_t size);

/// tcgetattr(3) and tcsetattr(3); -EFAULT without a structure.
IoResult GetSettings(OpenFile& file, termios* settings);
IoResult SetSettings(OpenFile& file, int action, const termios* settings);

/// ioctl(2), those requests included that are about the descriptor (FIOCLEX, FIONCLEX).
IoResult AnyIoctl(int descriptor, OpenFile& file, unsigned long request, void* argument);

}  // namespace vboard
