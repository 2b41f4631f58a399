// SPDX-License-Identifier: MIT
#pragma once

// Time as the work with a chip needs it: a clock that only goes forward, and pauses.

#include <chrono>

namespace guard {

/// Lengths of time; a moment is the length since some fixed one.
using Duration = std::chrono::nanoseconds;
using Milliseconds = std::chrono::milliseconds;

/// Since some fixed moment.
[[nodiscard]] Duration Now();

/// At least `length`, below a second; less where a signal arrives that is not held back.
void Pause(Milliseconds length);

}  // namespace guard
