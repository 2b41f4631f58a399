// SPDX-License-Identifier: MIT
#pragma once

// A run's transcript, read back as what the program did: its calls and pauses with their results.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace sweeps {

struct Event {
    std::string name;     ///< open, read, flush ... or "pause".
    std::string target;   ///< Path; empty for a pause.
    std::string detail;   ///< What stands between the target and " = ": flags, bytes, settings,
                          ///< microseconds.
    std::string error;    ///< Name of the errno when it failed: "EIO".
    bool failed = false;  ///< The result is an errno.
    int result = 0;       ///< A count or 0 when it did not fail.
};

/// The calls and pauses of a transcript, in order.
[[nodiscard]] std::vector<Event> EventsOf(std::string_view transcript);

/// "name target detail = result", as in the transcript.
[[nodiscard]] std::string Describe(const Event& event);

}  // namespace sweeps
