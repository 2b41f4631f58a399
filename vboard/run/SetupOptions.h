// SPDX-License-Identifier: MIT
#pragma once

// The options that say what a new board is.

#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace vboard {

/// Adds them to `command`. Each that is given appends its KEY=VALUE to `settings`, which must
/// outlive `command`. Returns --start.
CLI::Option* AddSetupOptions(CLI::App& command, std::vector<std::string>& settings);

}  // namespace vboard
