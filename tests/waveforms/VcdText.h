// SPDX-License-Identifier: MIT
#pragma once

// Reads a Value Change Dump as far as the tests need it.

#include <string>
#include <string_view>

namespace vboard {

/// The changes of one variable as "time:value" words, "0:1 1000:0 1104:1". Fails the test when the
/// variable is not declared or time goes backwards.
[[nodiscard]] std::string ChangesOf(std::string_view vcd, std::string_view variable);

}  // namespace vboard
