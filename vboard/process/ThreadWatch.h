// SPDX-License-Identifier: MIT
#pragma once

// What the other threads of the program are doing, as the kernel sees it: /proc/self/task of
// proc(5). It tells whether anything can still happen in the program at this moment.

#include <sys/types.h>

#include <string>
#include <vector>

namespace vboard {

class ThreadWatch {
public:
    /// What the other threads are up to, those in `known` left out.
    enum class Others {
        kRun,           ///< One of them runs, or is about to.
        kAwaitOutside,  ///< All sleep; one may be woken by time or by somebody outside the program.
        kAwaitEachOther,  ///< All sleep, and only a thread of the program can wake them.
    };
    [[nodiscard]] Others Look(const std::vector<pid_t>& known);

    /// Does not wait any longer for those that run now: each is left out until it has slept.
    void GiveUp(const std::vector<pid_t>& known);

private:
    struct Sighting {
        pid_t thread;
        std::string call;   ///< The system call that it sleeps in; "running" when it does not.
        std::string turns;  ///< How often it has run so far.
        bool operator==(const Sighting&) const = default;
        [[nodiscard]] bool Runs() const;
        [[nodiscard]] bool AwaitsOutside() const;
    };
    [[nodiscard]] std::vector<Sighting> Sight(const std::vector<pid_t>& known) const;

    std::vector<pid_t> m_givenUp;
};

}  // namespace vboard
