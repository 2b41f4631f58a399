// SPDX-License-Identifier: MIT
#pragma once

// SIGINT, SIGTERM and SIGHUP as a question that is asked between two exchanges with the chip. The
// signals are held back for the whole run, so that none of them, and no second one, cuts a pause or
// a call short.

namespace guard {

/// Holds the signals back, and has writes to a closed pipe fail instead of ending the program.
void HoldSignals();

/// The first of the signals that has arrived, 0 for none.
[[nodiscard]] int StopSignal();

}  // namespace guard
