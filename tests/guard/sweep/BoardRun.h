// SPDX-License-Identifier: MIT
#pragma once

// One run of an operation of flashguard on a virtual board, and what it says of the chip.

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "guard/session/Progress.h"
#include "tests/bench/BoardRun.h"

namespace guard_sweep {

using bench::Counts;
using bench::End;
using bench::Faults;

/// What is known of a run.
struct Shared : bench::Record {
    guard::Status status = guard::Status::kDone;
    guard::ChipState chip = guard::ChipState::kUntouched;
    std::array<char, 200> problem{};
};

/// Does the work in the child.
using Operation = std::function<guard::Verdict(guard::Progress&)>;

class BoardRun {
public:
    /// As bench::BoardRun.
    explicit BoardRun(const std::vector<std::string>& settings) : m_run(settings, *m_shared) {}

    /// A new board, as it is delivered.
    void Renew();
    /// Runs on the board as it is.
    const Shared& Run(const Operation& operation, const Faults& faults);
    /// The same in this process, without faults; the board is then as the run left it.
    [[nodiscard]] Counts Count(const Operation& operation);

    [[nodiscard]] const Shared& Result() const { return *m_shared; }
    [[nodiscard]] std::size_t WeakBytes() const { return m_run.WeakBytes(); }
    /// "" when no line is exported or driven and the switch is off.
    [[nodiscard]] std::string LeftBehind() const { return m_run.LeftBehind(); }

private:
    bench::InSharedMemory<Shared> m_shared;
    bench::BoardRun m_run;
};

}  // namespace guard_sweep
