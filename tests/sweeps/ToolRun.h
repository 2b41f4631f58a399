// SPDX-License-Identifier: MIT
#pragma once

// The short way to run the tool on the virtual board: its own objects in a child of this process,
// with their calls of libc turned to a board beside them.

#include <string>
#include <vector>

#include "tests/bench/BoardRun.h"
#include "tests/sweeps/Ended.h"

namespace sweeps {

class ToolRun {
public:
    ToolRun() : m_run({}, *m_record) {}

    /// A new board, as it is delivered.
    void Renew() { m_run.Renew(); }
    /// Programs the image at `path` on the board as it is.
    [[nodiscard]] Ended Run(const std::string& path, const std::vector<std::string>& rules);
    /// The calls of the last run that could be struck: lines as CallsOf() takes them.
    [[nodiscard]] std::string Calls() const { return std::string(m_calls.Text()); }

private:
    bench::InSharedMemory<bench::Record> m_record;
    bench::BoardRun m_run;
    bench::SharedText m_output;
    bench::SharedText m_transcript;
    bench::SharedText m_calls;
};

}  // namespace sweeps
