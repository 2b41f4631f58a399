// SPDX-License-Identifier: MIT
#pragma once

// Runs the probe, or any other program, on a virtual board.

#include <string>
#include <vector>

#include "tests/runs/Process.h"
#include "tests/support/TempFolder.h"

namespace tty {

/// The words that open the port as a serial program does, and what the probe then says.
inline const std::string kPort = "open:/dev/ttyS1:rw:noctty ";
inline const std::string kOpened = "open:/dev/ttyS1:rw:noctty = open\n";

/// Whether the machine has this program.
bool IsInstalled(const std::string& program);

/// A board of its own for each: vboard's options in front, what is run behind.
class ProbeRun {
public:
    /// Options of `vboard run`.
    ProbeRun& With(const std::string& option, const std::string& value);
    /// The chip is in its loader and answers a sync (80) with 90, at 9600 8E1.
    ProbeRun& InLoader() { return With("--start", "loader"); }

    /// Runs the probe with these words, in a string with blanks between them. Its output; on
    /// another status than `status`, with what went wrong behind it.
    std::string Says(const std::string& words, int status = 0);
    /// Runs any program.
    runs::Ended Run(const std::vector<std::string>& program);

    /// A file in the folder in which the programs run.
    [[nodiscard]] std::string PathOf(const std::string& name) const {
        return m_folder.PathOf(name);
    }

    /// What the last run's transcript says, without the times.
    [[nodiscard]] std::vector<std::string> Calls() const;

private:
    TempFolder m_folder;
    std::vector<std::string> m_options;
};

}  // namespace tty
