// SPDX-License-Identifier: MIT
#pragma once

// The program's waits: for files (select and poll) and for time. A wait for files of the board and
// for others looks at the others first, as they are at that moment; then time passes on the board;
// only a wait that nothing on the board can end waits for the others in real time.

#include <poll.h>
#include <signal.h>
#include <sys/select.h>
#include <time.h>

#include <optional>
#include <string_view>
#include <vector>

#include "vboard/process/ProgramMemory.h"
#include "vboard/process/ProgramTime.h"
#include "vboard/process/Wrapping.h"

namespace vboard {

/// The sets of a select.
struct FileSets {
    int count;
    fd_set* reading;
    fd_set* writing;
    fd_set* excepting;
};

/// The sets of a call. As in the kernel, a count beyond all files that the program may have open is
/// not taken at its word.
[[nodiscard]] FileSets SetsOf(int count, fd_set* reading, fd_set* writing, fd_set* excepting);

/// The errno with which select and poll refuse what they are given before they look at a file:
/// memory that is not there, counts that can't be. 0 for all else.
[[nodiscard]] int Refusal(const FileSets& sets);
[[nodiscard]] int Refusal(const pollfd* files, nfds_t count);
/// The same of a timeout, which may be none.
template <class Timeout>
[[nodiscard]] static int TimeoutRefusal(const Timeout* timeout) {
    if (timeout == nullptr) {
        return 0;
    }
    if (!CanRead(timeout)) {
        return EFAULT;
    }
    if constexpr (requires { timeout->tv_nsec; }) {
        return IsLength(*timeout) ? 0 : EINVAL;
    } else {
        return IsTimeout(*timeout) ? 0 : EINVAL;
    }
}
/// The same of both, the timeout first.
template <class Timeout>
[[nodiscard]] static int Refusal(const FileSets& sets, const Timeout* timeout) {
    const int wrong = TimeoutRefusal(timeout);
    return wrong != 0 ? wrong : Refusal(sets);
}
template <class Timeout>
[[nodiscard]] static int Refusal(const pollfd* files, nfds_t count, const Timeout* timeout) {
    const int wrong = TimeoutRefusal(timeout);
    return wrong != 0 ? wrong : Refusal(files, count);
}
/// The same of the length of a pause, which there must be.
template <class Timespec>
[[nodiscard]] static int LengthRefusal(const Timespec* length) {
    return length == nullptr ? EFAULT : TimeoutRefusal(length);
}

/// True when one of the files is the board's.
[[nodiscard]] bool AnyOurs(const FileSets& sets);
[[nodiscard]] bool AnyOurs(const pollfd* files, nfds_t count);
/// True when there is no file at all: a wait for time alone.
[[nodiscard]] bool Empty(const FileSets& sets);

/// select(2) and poll(2) where some of the files are the board's. `timeout`: none is no limit.
int SelectFiles(const FileSets& sets, std::optional<Duration> timeout);
int PollFiles(std::string_view name, pollfd* files, nfds_t count, std::optional<Duration> timeout);

/// The same where none of the files is the board's: the clock goes on by what the wait takes.
/// `mask` may be nullptr. What is left of select's timeout is not told.
int PollOthers(pollfd* files, nfds_t count, std::optional<Duration> timeout, const sigset_t* mask);
int SelectOthers(const FileSets& sets, std::optional<Duration> timeout, const sigset_t* mask);

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

/// Time as the program sees it, by one of the clocks that show it: the board's time, counted from
/// the first second of 2024 (UTC) for those that show a date, and from an hour after the start of
/// the machine for the others. Nothing for other clocks, and when there is no board.
[[nodiscard]] std::optional<Duration> AskClock(clockid_t clock);
/// A pause until such a clock shows `time`, as PauseVirtually.
[[nodiscard]] std::optional<Duration> PauseUntil(clockid_t clock, Duration time);
/// clock_nanosleep(2): `until` such a clock shows `time`, or for so long by it.
[[nodiscard]] std::optional<Duration> PauseBy(clockid_t clock, bool until, Duration time);

}  // namespace vboard
