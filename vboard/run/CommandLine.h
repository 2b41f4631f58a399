// SPDX-License-Identifier: MIT
#pragma once

namespace vboard {

/// Reads the words that vboard was started with and carries out the command that they choose.
/// Returns the exit status of vboard.
[[nodiscard]] int CarryOut(int argc, char** argv);

}  // namespace vboard
