// SPDX-License-Identifier: MIT
#pragma once

// The program's waits: for files (select and poll) and for time. A wait for files of the board and
// for others looks at the others first, as they are at that moment; then time passes on the board;
// only a wait that nothing on the board can end waits for the others in real time.

#include <poll.h>
#include <sys/select.h>
#include <time.h>

#include <optional>
#include <string_view>
#include <vector>

#include "vboard/process/Wrapping.h"

namespace vboard {

/// A time of seconds and a fraction, as a duration.
template <class Seconds, class Fraction>
constexpr Duration DurationOf(Seconds seconds, Fraction fraction, Duration unit) {
    constexpr std::int64_t kMost = 9'000'000'000;  // More is as good as for ever.
    const std::int64_t whole = std::clamp<std::int64_t>(seconds, -kMost, kMost);
    return std::chrono::seconds(whole) + unit * static_cast<std::int64_t>(fraction);
}
// The structures of time have two widths on 32-bit machines and the same names in both. Where they
// are arguments, each source needs a function of its own: static.

template <class Timespec>
static constexpr Duration DurationOf(const Timespec& time) {
    return DurationOf(time.tv_sec, time.tv_nsec, Duration{1});
}
/// False for what the kernel refuses with EINVAL.
template <class Timespec>
[[nodiscard]] static constexpr bool IsLength(const Timespec& time) {
    return time.tv_sec >= 0 && time.tv_nsec >= 0 && time.tv_nsec < 1'000'000'000;
}
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

/// The sets of a select.
struct FileSets {
    int count;
    fd_set* reading;
    fd_set* writing;
    fd_set* excepting;
};

/// True when one of the files is the board's.
[[nodiscard]] bool AnyOurs(const FileSets& sets);
[[nodiscard]] bool AnyOurs(const pollfd* files, nfds_t count);
/// True when there is no file at all: a wait for time alone.
[[nodiscard]] bool Empty(const FileSets& sets);

/// select(2) and poll(2) where some of the files are the board's. `timeout`: none is no limit.
int SelectFiles(const FileSets& sets, std::optional<Duration> timeout);
int PollFiles(std::string_view name, pollfd* files, nfds_t count, std::optional<Duration> timeout);

/// select(2) with its timeout, which becomes what is left of it.
template <class Timeval>
static int SelectFiles(const FileSets& sets, Timeval* timeout) {
    if (timeout == nullptr) {
        return SelectFiles(sets, std::optional<Duration>());
    }
    const Duration length = DurationOf(timeout->tv_sec, timeout->tv_usec, Duration{1000});
    const Instant begin = World::IfMade()->Now();
    const int result = SelectFiles(sets, std::optional(length));
    const Duration left = std::max(Duration{0}, length - (World::IfMade()->Now() - begin));
    StoreTimeOfDay(left, *timeout);
    return result;
}

/// The timeout of poll(2): milliseconds, none when negative.
[[nodiscard]] inline std::optional<Duration> PollTimeout(int milliseconds) {
    return milliseconds < 0 ? std::nullopt
                            : std::optional<Duration>(std::chrono::milliseconds{milliseconds});
}
/// The timeout of pselect(2) and ppoll(2): none without one.
template <class Timespec>
[[nodiscard]] static std::optional<Duration> TimeoutOf(const Timespec* timeout) {
    return timeout == nullptr ? std::nullopt : std::optional(DurationOf(*timeout));
}

/// A pause of the program, in virtual time: what is left of it when a signal ended it. Nothing when
/// there is no board: then the pause is the machine's.
[[nodiscard]] std::optional<Duration> PauseVirtually(Duration length);

/// The answer to a sleep of which `left` is left.
inline int Slept(Duration left) {
    return left > Duration::zero() ? Refused(EINTR) : 0;
}

/// What a clock of the program shows at the beginning of the board's time; nothing for the clocks
/// that are the machine's.
[[nodiscard]] std::optional<Duration> OffsetOf(clockid_t clock);

/// Time as the program sees it, by one of the clocks that show it: the board's time, counted from
/// the first second of 2024 (UTC) for those that show a date, and from an hour after the start of
/// the machine for the others. Nothing for other clocks, and when there is no board.
[[nodiscard]] std::optional<Duration> AskClock(clockid_t clock);
/// A pause until such a clock shows `time`, as PauseVirtually.
[[nodiscard]] std::optional<Duration> PauseUntil(clockid_t clock, Duration time);

}  // namespace vboard
