// SPDX-License-Identifier: MIT
#pragma once

// The program's times: libc's structures as durations and back, and what its clocks show.

#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>

#include "vboard/time/VirtualClock.h"

namespace vboard {

/// The end of a wait of `length` from `begin` on: the last instant there is where it would be
/// later.
[[nodiscard]] constexpr Instant EndOf(Instant begin, Duration length) {
    return length > Instant::max() - begin ? Instant::max() : begin + length;
}

/// A time of seconds and a fraction, as a duration.
template <class Seconds, class Fraction>
constexpr Duration DurationOf(Seconds seconds, Fraction fraction, Duration unit) {
    constexpr std::int64_t kMost = 9'000'000'000;  // More is as good as for ever.
    const std::int64_t whole = std::clamp<std::int64_t>(seconds, -kMost, kMost);
    return std::chrono::seconds(whole) + unit * static_cast<std::int64_t>(fraction);
}
// The structures of time have two widths on 32-bit machines and the same names in both. Where they
// are arguments, each source needs a function of its own: static.

/// A timespec as a duration.
template <class Timespec>
static constexpr Duration DurationOf(const Timespec& time) {
    return DurationOf(time.tv_sec, time.tv_nsec, Duration{1});
}
/// False for what the kernel refuses with EINVAL.
template <class Timespec>
[[nodiscard]] static constexpr bool IsLength(const Timespec& time) {
    return time.tv_sec >= 0 && time.tv_nsec >= 0 && time.tv_nsec < 1'000'000'000;
}
/// The same for select, whose microseconds may be more than a second.
template <class Timeval>
[[nodiscard]] static constexpr bool IsTimeout(const Timeval& time) {
    return time.tv_sec >= 0 && time.tv_usec >= 0;
}
/// The same the other way round. Negative ones become 0.
template <class Timespec>
static void StoreDuration(Duration length, Timespec& time) {
    const std::int64_t ns = std::max<std::int64_t>(length.count(), 0);
    time.tv_sec = static_cast<decltype(time.tv_sec)>(ns / 1'000'000'000);
    time.tv_nsec = static_cast<decltype(time.tv_nsec)>(ns % 1'000'000'000);
}
/// As a timespec of this source's width.
[[maybe_unused]] static timespec TimespecOf(Duration length) {
    timespec time{};
    StoreDuration(length, time);
    return time;
}

/// A timeval of what has passed since 1970; not for negative ones.
template <class Timeval>
static void StoreTimeOfDay(Duration time, Timeval& stored) {
    stored.tv_sec = static_cast<decltype(stored.tv_sec)>(time / std::chrono::seconds{1});
    stored.tv_usec = static_cast<decltype(stored.tv_usec)>(time % std::chrono::seconds{1} /
                                                           std::chrono::microseconds{1});
}
/// As time(2): stored where there is a place for it.
template <class Time>
Time StoreSeconds(Duration time, Time* stored) {
    const auto seconds = static_cast<Time>(time / std::chrono::seconds{1});
    if (stored != nullptr) {
        *stored = seconds;
    }
    return seconds;
}

/// What a clock of the program shows at the beginning of the board's time; nothing for the clocks
/// that are the machine's.
[[nodiscard]] std::optional<Duration> OffsetOf(clockid_t clock);

}  // namespace vboard
