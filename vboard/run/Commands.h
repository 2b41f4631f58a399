// SPDX-License-Identifier: MIT
#pragma once

// The commands, one source each.

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace vboard {

/// What carries out the command that was chosen on the command line; returns the exit status.
using Action = std::function<int()>;

/// Each adds its command to `app`. Parsing a command line that chooses it sets `chosen`, which must
/// outlive `app`.
/// `program` is what stands behind "--": the program to run and its arguments.
void AddRunCommand(CLI::App& app, Action& chosen, const std::vector<std::string>& program);
void AddNewCommand(CLI::App& app, Action& chosen);
void AddShowCommand(CLI::App& app, Action& chosen);
void AddDumpCommand(CLI::App& app, Action& chosen);
void AddListCommand(CLI::App& app, Action& chosen);

/// One line of vboard's own to standard error; the exit status for its own errors.
int Refuse(const std::string& problem);

}  // namespace vboard
