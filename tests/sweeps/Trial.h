// SPDX-License-Identifier: MIT
#pragma once

// One run of the unmodified program on the virtual board, with ordered faults, and what is to be
// said of it.

#include <cstdint>
#include <string>
#include <vector>

#include "tests/sweeps/Image.h"

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

/// What happened on the board during a run without faults; the places at which a sweep strikes.
struct Places {
    struct Call {
        std::string kind;  ///< As in a fault rule: open, read, pause ...
        unsigned sizeBytes;
    };
    std::vector<Call> calls;
    unsigned charactersToChip = 0;
    unsigned charactersToHost = 0;
    unsigned answers = 0;
    unsigned edges[3] = {0, 0, 0};  ///< In the order of kLines.
};
inline constexpr const char* kLines[3] = {"reset_gpio", "rxd_nmi_gpio", "msp_tck_gpio"};

/// A worker runs one trial after the other; each needs a number of its own.
class Worker {
public:
    Worker(const Tools& tools, unsigned number);
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// A run on a new board.
    [[nodiscard]] Verdict Run(const Image& image, const std::vector<std::string>& rules);
    /// Another run on the board that the last one left.
    [[nodiscard]] Verdict RunAgain(const Image& image, const std::vector<std::string>& rules);
    [[nodiscard]] Places FindPlaces(const Image& image);

private:
    struct Ended {
        int status;
        std::string output;
        std::string errors;
        std::string transcript;
    };
    [[nodiscard]] Ended Start(const Image& image, const std::vector<std::string>& rules);
    [[nodiscard]] Verdict Judge(const Image& image, const Ended& ended) const;
    [[nodiscard]] bool HoldsImage(const Image& image) const;
    [[nodiscard]] std::string File(const char* name) const;

    const Tools& m_tools;
    std::string m_prefix;
};

/// The command that repeats a trial.
[[nodiscard]] std::string ReplayText(const std::string& imageName,
                                     const std::vector<std::string>& rules);

}  // namespace sweeps
