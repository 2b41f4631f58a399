// SPDX-License-Identifier: MIT
#pragma once

#include <termios.h>

#include <string>

namespace vboard {

/// Line settings in one line for people: "9600 8E1 raw vmin=1 vtime=0".
[[nodiscard]] std::string TermiosText(const termios& attributes);

}  // namespace vboard
