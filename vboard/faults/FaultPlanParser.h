// SPDX-License-Identifier: MIT
#pragma once

// Text to rules. docs/FAULTS.md is the grammar's page:
//
//     PLACE[:TARGET][@TIME][#N|#N..M|#N..|#*]=OUTCOME

#include <string>
#include <string_view>
#include <vector>

#include "vboard/faults/FaultRule.h"

namespace vboard {

/// Reads one rule. On failure `problem` is one line that names the rule, the wrong word and the
/// accepted ones, and `rule` is unchanged.
[[nodiscard]] bool ParseFaultRule(std::string_view text, FaultRule& rule, std::string& problem);

/// Reads a plan: one rule a line; empty lines, and lines whose first character that is not blank is
/// '#', are passed over. Adds to `rules`. On failure `problem` begins with the number of the line.
[[nodiscard]] bool ParseFaultPlan(std::string_view text, std::vector<FaultRule>& rules,
                                  std::string& problem);

}  // namespace vboard
