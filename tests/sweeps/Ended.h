// SPDX-License-Identifier: MIT
#pragma once

// What a run of the tool on the virtual board leaves, whichever way it was made.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace sweeps {

struct Ended {
    int status = 0;        ///< As `vboard run` ends.
    std::string output;    ///< What the tool printed.
    std::string problems;  ///< What `vboard run` complained of, or the verdict in its words.
    std::string transcript;
    /// The chip's memory; stays until the next run.
    std::span<const std::uint8_t> memory;
};

/// Exit statuses of `vboard run`.
inline constexpr int kExitSuccess = 0;
inline constexpr int kExitFailure = 255;
inline constexpr int kExitHeld = 124;
inline constexpr int kExitKilled = 128 + 9;

}  // namespace sweeps
