// SPDX-License-Identifier: MIT
#pragma once

// One programming run of the blinky example with ordered faults, and what a test looks at.

#include <string>
#include <vector>

#include "tests/runs/Board.h"

namespace faults {

/// A fresh board, the rules, `flashmcu -f blinky.hex`.
runs::Outcome RunWith(const std::vector<std::string>& rules);

/// The transcript's lines without times from the n-th strike on (counted from 1), `count` of them.
std::string FromStrike(const runs::Outcome& run, std::size_t count, std::size_t n = 1);

/// How many strikes there are.
std::size_t Strikes(const runs::Outcome& run);

}  // namespace faults
