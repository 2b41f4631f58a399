// SPDX-License-Identifier: MIT
#pragma once

// One run of the tool on the virtual board, with ordered faults, and what is to be said of it. A
// trial takes the short way; where it is asked to, it takes the long one as well and holds the two
// against each other.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/sweeps/Cases.h"
#include "tests/sweeps/Ended.h"
#include "tests/sweeps/Image.h"
#include "tests/sweeps/ProgramsRun.h"
#include "tests/sweeps/ToolRun.h"

namespace sweeps {

/// Where the programs and files of a sweep are.
struct Tools {
    std::string vboard;
    std::string flashmcu;
    std::string folder;  ///< For temporary files; one HEX file for each image lies here.
};

enum class Outcome : std::uint8_t {
    kComplete,    ///< Status 0, the flash holds the image.
    kIncomplete,  ///< Status 0, the flash differs: a hazard.
    kFailed,      ///< Status 255.
    kSilent,      ///< Held for ever by a chip that does not answer.
    kHeld,        ///< Held by the call that was ordered not to return.
    kKilled,      ///< Killed at the ordered call.
    kCount
};

struct Verdict {
    Outcome outcome = Outcome::kFailed;
    std::string problem;           ///< A rule that was broken; empty when none was.
    std::vector<std::string> log;  ///< As the program printed it, without line numbers.
};

/// A worker runs one trial after the other; each needs a number of its own.
class Worker {
public:
    Worker(const Tools& tools, unsigned number);

    /// A run on a new board. `compared`: by the programs as well.
    [[nodiscard]] Verdict Run(const Image& image, const std::vector<std::string>& rules,
                              bool compared);
    /// Another run on the board that the last one left, compared if that was.
    [[nodiscard]] Verdict RunAgain(const Image& image, const std::vector<std::string>& rules,
                                   bool compared);
    [[nodiscard]] Places FindPlaces(const Image& image);

private:
    [[nodiscard]] std::string PathOf(const Image& image) const;

    std::string m_folder;
    ToolRun m_tool;
    ProgramsRun m_programs;
};

/// The command that repeats a trial.
[[nodiscard]] std::string ReplayText(const std::string& imageName,
                                     const std::vector<std::string>& rules);

}  // namespace sweeps
