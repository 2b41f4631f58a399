// SPDX-License-Identifier: MIT
#include "guard/link/StopRequest.h"

#include <signal.h>

#include <array>

namespace guard {
namespace {

constexpr std::array<int, 3> kSignals{SIGINT, SIGTERM, SIGHUP};

}  // namespace

void HoldSignals() {
    sigset_t held;
    (void)sigemptyset(&held);
    for (const int number : kSignals) {
        // A signal that the caller has told us to ignore (nohup) stays ignored: only then is it
        // never pending.
        (void)sigaddset(&held, number);
    }
    (void)sigprocmask(SIG_BLOCK, &held, nullptr);
    (void)signal(SIGPIPE, SIG_IGN);
}

int StopSignal() {
    sigset_t pending{};
    (void)sigpending(&pending);
    for (const int number : kSignals) {
        if (sigismember(&pending, number) == 1) {
            return number;
        }
    }
    return 0;
}

}  // namespace guard
