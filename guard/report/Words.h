// SPDX-License-Identifier: MIT
#pragma once

// The sentences that a person reads.

#include <cstdint>
#include <string>
#include <string_view>

#include "guard/link/Clock.h"
#include "guard/session/Verdict.h"

namespace guard {

/// "Reading back"
[[nodiscard]] std::string_view WordsFor(Phase phase);
/// "the chip holds no runnable firmware"
[[nodiscard]] std::string_view WordsFor(ChipState state);

/// "98.7 s"; tenths below 100 s, whole seconds above, minutes from 10 on.
[[nodiscard]] std::string TimeText(Duration length);

/// What is wrong, what state the chip is in, what to do: one sentence. Only for a run that failed.
[[nodiscard]] std::string FailureSentence(const Verdict& verdict);
/// What was done, in a line: "installed version 4660: 194 bytes in 14 blocks, read back, 9.8 s".
/// For a run that is well, and for verify.
[[nodiscard]] std::string ResultLine(const Verdict& verdict);

/// Whether the run ended well; "differs" is an answer and no failure of the run, but not well.
[[nodiscard]] bool IsWell(const Verdict& verdict);

}  // namespace guard
