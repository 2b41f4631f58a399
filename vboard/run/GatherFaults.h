// SPDX-License-Identifier: MIT
#pragma once

// The faults that a run was ordered to have, from its options and its plan file.

#include <string>
#include <vector>

#include "vboard/run/RunOptions.h"

namespace vboard {

/// The texts of all rules, each checked: first those of the options, then those of the file. On
/// failure `problem` is one line that names the wrong rule (and its file and line) and the accepted
/// words.
[[nodiscard]] bool GatherFaults(const RunOptions& options, std::vector<std::string>& rules,
                                std::string& problem);

}  // namespace vboard
