// SPDX-License-Identifier: MIT
#include "guard/link/Clock.h"

#include <time.h>
#include <unistd.h>

namespace guard {

Duration Now() {
    timespec now{};
    (void)clock_gettime(CLOCK_MONOTONIC, &now);
    return std::chrono::seconds{now.tv_sec} + Duration{now.tv_nsec};
}

void Pause(Milliseconds length) {
    (void)usleep(static_cast<useconds_t>(std::chrono::microseconds{length}.count()));
}

}  // namespace guard
