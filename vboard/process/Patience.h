// SPDX-License-Identifier: MIT
#pragma once

// How one that waits until others rest looks at them again and again, in the machine's time.

#include <time.h>

#include "vboard/process/RealLibc.h"

namespace vboard {

/// Looks with a short nap in between, before the naps get long.
inline constexpr int kQuickLooks = 20;
/// Before it goes on beside one that never rests: about five seconds.
inline constexpr int kMostLooks = kQuickLooks + 5000;
inline constexpr long kShortNapNs = 50'000;
inline constexpr long kLongNapNs = 1'000'000;

/// The nap behind a look, counted from 0.
[[nodiscard]] constexpr long NapBehind(int look) {
    return look < kQuickLooks ? kShortNapNs : kLongNapNs;
}

/// Sleeps so long on the machine's clock, past the board; a signal may end it early.
inline void Nap(long ns) {
    const timespec length{0, ns};
    static_cast<void>(Real().clock_nanosleep(CLOCK_MONOTONIC, 0, &length, nullptr));
}

}  // namespace vboard
