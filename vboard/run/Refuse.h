// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace vboard {

/// Writes "vboard: PROBLEM" to standard error. Returns the exit status for vboard's own errors.
int Refuse(const std::string& problem);

}  // namespace vboard
