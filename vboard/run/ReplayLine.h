// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "vboard/run/RunOptions.h"

namespace vboard {

/// A word as a POSIX shell takes it, quoted only where it must be.
[[nodiscard]] std::string ShellQuoted(std::string_view word);

/// The command line that runs the same again: the board's options, every fault rule and the noise,
/// and the program; not what was to be recorded.
[[nodiscard]] std::string ReplayLine(const RunOptions& options,
                                     const std::vector<std::string>& faults);

}  // namespace vboard
