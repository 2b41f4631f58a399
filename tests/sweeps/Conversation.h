// SPDX-License-Identifier: MIT
#pragma once

// A second statement of what the program must do, independent of its code: given what each of its
// calls came back with, it says which call must follow, which lines must be logged, and which exit
// status ends the run.
//
// It plays along with a recording: every step takes the next recorded event, holds it against the
// rule, and goes on with the recorded result. A run that was cut short (killed, or held by a silent
// call) has to be a beginning of the conversation.

#include <cstdint>
#include <string>
#include <vector>

#include "tests/sweeps/Image.h"
#include "tests/sweeps/Recording.h"

namespace sweeps {

struct Expectation {
    std::string problem;    ///< Empty when the recording follows the rules.
    bool complete = false;  ///< The conversation came to its end.
    int status = 0;         ///< Exit status, when complete.
    std::vector<std::string>
        log;  ///< "SOURCE LEVEL TEXT" of every line, up to where the recording ends.
};

/// The conversation of `flashmcu -f IMAGE` (with `force`: -F) on a BRDA board.
[[nodiscard]] Expectation Follow(const std::vector<Event>& recording, const Image& image,
                                 bool force);

}  // namespace sweeps
