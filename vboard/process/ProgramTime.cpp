// SPDX-License-Identifier: MIT
#include "vboard/process/ProgramTime.h"

namespace vboard {
namespace {

using std::chrono_literals::operator""h;
using std::chrono_literals::operator""s;

constexpr Duration kDateOfStart = 1'704'067'200s;  // 2024-01-01 00:00:00 UTC
constexpr Duration kUptimeAtStart = 1h;

}  // namespace

std::optional<Duration> OffsetOf(clockid_t clock) {
    switch (clock) {
        case CLOCK_REALTIME:
        case CLOCK_REALTIME_COARSE:
        case CLOCK_REALTIME_ALARM:
        case CLOCK_TAI:
            return kDateOfStart;
        case CLOCK_MONOTONIC:
        case CLOCK_MONOTONIC_RAW:
        case CLOCK_MONOTONIC_COARSE:
        case CLOCK_BOOTTIME:
        case CLOCK_BOOTTIME_ALARM:
            return kUptimeAtStart;
        default:
            return std::nullopt;
    }
}

}  // namespace vboard
