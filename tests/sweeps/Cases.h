// SPDX-License-Identifier: MIT
#pragma once

// Which faults a sweep orders: every place of a run, with every outcome that such a place can have.

#include <string>
#include <vector>

namespace sweeps {

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

/// The calls of a list with a line "NUMBER KIND PATH SIZE" for each.
[[nodiscard]] std::vector<Places::Call> CallsOf(const std::string& list);

struct Case {
    std::size_t image;  ///< Index into AllImages().
    std::vector<std::string> rules;
    bool again = false;  ///< A second run on the same board has to succeed.
    std::vector<std::string> rulesAgain;
};

/// What is done to what, whichever of them it is: "open call=eio" for call#12=eio.
[[nodiscard]] std::string KindOf(const Case& one, const Places& places);

/// `thorough` adds more errno values and delays.
[[nodiscard]] std::vector<Case> CasesFor(std::size_t image, const Places& places, bool thorough);

}  // namespace sweeps
