// SPDX-License-Identifier: MIT
#pragma once

// The command lines of the sweeps.

#include <optional>
#include <string>

namespace sweeps {

/// Which of the cases, and how many at a time.
struct Shares {
    unsigned jobs = 1;   ///< Unless it is said: as many as there are processors.
    unsigned every = 1;  ///< Only every N-th case.
    unsigned part = 1;   ///< Of `parts`, which share the cases in turn.
    unsigned parts = 1;

    /// Whether this share has the case with this number, counted from 0 among those that `every`
    /// leaves.
    [[nodiscard]] bool Has(std::size_t number) const { return number % parts == part - 1; }
};

/// What else the tool's sweep is told.
struct ToolSweep {
    std::string vboard;    ///< The runner, an absolute path.
    std::string flashmcu;  ///< The tool, an absolute path.
    std::string hazardsPath;
    std::string imagesFolder;
    unsigned compared = 25;  ///< Of each kind every N-th case is run by these programs as well.
    bool thorough = false;
};

/// Takes the arguments, those of `tool` only where it is not nullptr. An exit status where the
/// program is to end: help was given (0), or a complaint.
[[nodiscard]] std::optional<int> TakeOptions(int argc, char** argv, const char* purpose,
                                             Shares& shares, ToolSweep* tool);

}  // namespace sweeps
