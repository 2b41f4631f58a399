// SPDX-License-Identifier: MIT
#pragma once

// Whole stories: everything that an operation announces, from its first phase to the last figure of
// its verdict, without times.
//
//     write of 768: 250 500 750 768        a phase, its total, and how far it came
//     note: ...
//     done, installed, image-running       the verdict: status, outcome, chip
//     problem: ...
//     remedy: ...
//     entries 1, erases 19 ...             every figure that is not 0
//     before 256, after 4660 ...           what is known of firmware, loader and memory

#include <functional>
#include <string>
#include <vector>

#include "guard/plan/Plan.h"
#include "tests/guard/sweep/Session.h"

namespace guard_sweep {

class AStory : public Session {
protected:
    using Works = std::function<guard::Verdict(const guard::Request&, guard::Progress&)>;
    using Rules = std::vector<std::string>;

    /// On a new board; "" where the run did not end by itself.
    std::string StoryOf(const Works& works, const Rules& rules = {});
    /// On a board that the image was installed on before.
    std::string StoryAfter(const Works& works, const Rules& rules = {});

    /// On a board as it is.
    std::string StoryOn(BoardRun& board, const Works& works, const Rules& rules = {});

    void OfChip(const std::string& chip) { settings.push_back("chip=" + chip); }
    void WithPasswordOfTheImage() { request.password = guard::VectorsOf(request.image->memory); }
    void WithSpeed(unsigned baud);
    /// Information memory is read before and written after.
    void Keeps(const guard::Password& password);

    /// Of the board.
    std::vector<std::string> settings;
    /// Frames and answers are told, too.
    bool frames = false;
};

}  // namespace guard_sweep
