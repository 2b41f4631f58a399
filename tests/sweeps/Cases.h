// SPDX-License-Identifier: MIT
#pragma once

// Which faults a sweep orders: every place of a run, with every outcome that such a place can have.

#include <string>
#include <vector>

#include "tests/sweeps/Trial.h"

namespace sweeps {

struct Case {
    std::size_t image;  ///< Index into AllImages().
    std::vector<std::string> rules;
    bool again = false;  ///< A second run on the same board has to succeed.
    std::vector<std::string> rulesAgain;
};

/// `thorough` adds more errno values and delays.
[[nodiscard]] std::vector<Case> CasesFor(std::size_t image, const Places& places, bool thorough);

}  // namespace sweeps
