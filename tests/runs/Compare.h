// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace runs {

/// Expects two texts to be equal; of a difference, shows the first line and what surrounds it.
/// (GoogleTest's own comparison lays whole texts side by side, which long ones do not survive.)
void ExpectSame(const std::string& actual, const std::string& expected);

}  // namespace runs
