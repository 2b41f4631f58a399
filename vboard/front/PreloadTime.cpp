// SPDX-License-Identifier: MIT

// Waiting for files and for time, and asking for the time.

#include "vboard/front/Preload.h"

// After it: the real headers.
#include <poll.h>
#include <sys/select.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include "vboard/process/RealLibc.h"
#include "vboard/process/Waiting.h"

namespace {

using vboard::AnyOurs;
using vboard::AskClock;
using vboard::DurationOf;
using vboard::FileSets;
using vboard::PauseVirtually;
using vboard::PollFiles;
using vboard::PollTimeout;
using vboard::Real;
using vboard::TimeoutOf;

using std::chrono_literals::operator""us;
using std::chrono_literals::operator""s;

int Poll(pollfd* files, nfds_t count, int timeout) {
    if (AnyOurs(files, count)) {
        return PollFiles("poll", files, count, PollTimeout(timeout));
    }
    if (count == 0 && timeout >= 0 && PauseVirtually(*PollTimeout(timeout))) {
        return 0;
    }
    return Real().poll(files, count, timeout);
}

int PreciselyPoll(pollfd* files, nfds_t count, const timespec* timeout, const sigset_t* mask) {
    if (AnyOurs(files, count)) {
        return PollFiles("poll", files, count, TimeoutOf(timeout));
    }
    if (count == 0 && timeout != nullptr && PauseVirtually(DurationOf(*timeout))) {
        return 0;
    }
    return Real().ppoll(files, count, timeout, mask);
}

}  // namespace

VBOARD_EXPORT int select(int count, fd_set* reading, fd_set* writing, fd_set* excepting,
                         timeval* timeout) {
    const FileSets sets{count, reading, writing, excepting};
    if (AnyOurs(sets)) {
        return vboard::SelectFiles(sets, timeout);
    }
    if (Empty(sets) && timeout != nullptr &&
        PauseVirtually(DurationOf(timeout->tv_sec, timeout->tv_usec, 1us))) {
        return 0;
    }
    return Real().select(count, reading, writing, excepting, timeout);
}

VBOARD_EXPORT int pselect(int count, fd_set* reading, fd_set* writing, fd_set* excepting,
                          const timespec* timeout, const sigset_t* mask) {
    const FileSets sets{count, reading, writing, excepting};
    if (AnyOurs(sets)) {
        return vboard::SelectFiles(sets, TimeoutOf(timeout));
    }
    if (Empty(sets) && timeout != nullptr && PauseVirtually(DurationOf(*timeout))) {
        return 0;
    }
    return Real().pselect(count, reading, writing, excepting, timeout, mask);
}

VBOARD_EXPORT int poll(pollfd* files, nfds_t count, int timeout) {
    return Poll(files, count, timeout);
}

VBOARD_EXPORT int __poll_chk(pollfd* files, nfds_t count, int timeout, std::size_t /*room*/) {
    return Poll(files, count, timeout);
}

VBOARD_EXPORT int ppoll(pollfd* files, nfds_t count, const timespec* timeout,
                        const sigset_t* mask) {
    return PreciselyPoll(files, count, timeout, mask);
}

VBOARD_EXPORT int __ppoll_chk(pollfd* files, nfds_t count, const timespec* timeout,
                              const sigset_t* mask, std::size_t /*room*/) {
    return PreciselyPoll(files, count, timeout, mask);
}

VBOARD_EXPORT int usleep(useconds_t microseconds) {
    if (PauseVirtually(microseconds * 1us)) {
        return 0;
    }
    return Real().usleep(microseconds);
}

VBOARD_EXPORT unsigned sleep(unsigned seconds) {
    if (PauseVirtually(seconds * 1s)) {
        return 0;
    }
    return Real().sleep(seconds);
}

VBOARD_EXPORT int nanosleep(const timespec* length, timespec* remaining) {
    if (PauseVirtually(DurationOf(*length))) {
        return 0;
    }
    return Real().nanosleep(length, remaining);
}

VBOARD_EXPORT int clock_nanosleep(clockid_t clock, int flags, const timespec* time,
                                  timespec* remaining) {
    const bool until = (flags & TIMER_ABSTIME) != 0;
    if (until ? vboard::PauseUntil(clock, DurationOf(*time)) : PauseVirtually(DurationOf(*time))) {
        return 0;
    }
    return Real().clock_nanosleep(clock, flags, time, remaining);
}

VBOARD_EXPORT int clock_gettime(clockid_t clock, timespec* time) __THROW {
    if (const auto now = AskClock(clock)) {
        vboard::StoreDuration(*now, *time);
        return 0;
    }
    return Real().clock_gettime(clock, time);
}

VBOARD_EXPORT int gettimeofday(timeval* time, void* zone) __THROW {
    if (const auto now = AskClock(CLOCK_REALTIME)) {
        vboard::StoreTimeOfDay(*now, *time);
        return 0;
    }
    return Real().gettimeofday(time, zone);
}

VBOARD_EXPORT time_t time(time_t* stored) __THROW {
    if (const auto now = AskClock(CLOCK_REALTIME)) {
        return vboard::StoreSeconds(*now, stored);
    }
    return Real().time(stored);
}

VBOARD_EXPORT int timespec_get(timespec* time, int base) __THROW {
    const auto now = base == TIME_UTC ? AskClock(CLOCK_REALTIME) : std::nullopt;
    if (now) {
        vboard::StoreDuration(*now, *time);
        return base;
    }
    return Real().timespec_get(time, base);
}
