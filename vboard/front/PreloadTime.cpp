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
#include "vboard/process/SanitizerCalls.h"
#include "vboard/process/Waiting.h"

namespace {

using vboard::AnyOurs;
using vboard::AskClock;
using vboard::Duration;
using vboard::DurationOf;
using vboard::FileSets;
using vboard::PauseVirtually;
using vboard::PollFiles;
using vboard::PollOthers;
using vboard::PollTimeout;
using vboard::Real;
using vboard::Refused;
using vboard::SelectOthers;
using vboard::Slept;
using vboard::TimeoutOf;

using std::chrono_literals::operator""us;
using std::chrono_literals::operator""s;

int Poll(pollfd* files, nfds_t count, int timeout) {
    if (const int error = vboard::Refusal(files, count); error != 0) {
        return Refused(error);
    }
    if (AnyOurs(files, count)) {
        return PollFiles("poll", files, count, PollTimeout(timeout));
    }
    if (timeout == 0) {
        return Real().poll(files, count, timeout);
    }
    if (const auto left =
            count == 0 && timeout > 0 ? PauseVirtually(*PollTimeout(timeout)) : std::nullopt) {
        return Slept(*left);
    }
    return PollOthers(files, count, PollTimeout(timeout), nullptr);
}

int PreciselyPoll(pollfd* files, nfds_t count, const timespec* timeout, const sigset_t* mask) {
    if (const int error = vboard::Refusal(files, count, timeout); error != 0) {
        return Refused(error);
    }
    if (AnyOurs(files, count)) {
        return PollFiles("poll", files, count, TimeoutOf(timeout));
    }
    if (const auto left = count == 0 && timeout != nullptr ? PauseVirtually(DurationOf(*timeout))
                                                           : std::nullopt) {
        return Slept(*left);
    }
    return PollOthers(files, count, TimeoutOf(timeout), mask);
}

}  // namespace

VBOARD_EXPORT int select(int count, fd_set* reading, fd_set* writing, fd_set* excepting,
                         timeval* timeout) {
    const FileSets sets = vboard::SetsOf(count, reading, writing, excepting);
    if (const int error = vboard::Refusal(sets, timeout); error != 0) {
        return Refused(error);
    }
    if (AnyOurs(sets)) {
        return vboard::SelectFiles(sets, timeout);
    }
    if (timeout == nullptr) {
        return SelectOthers(sets, std::nullopt, nullptr);
    }
    const Duration length = DurationOf(timeout->tv_sec, timeout->tv_usec, 1us);
    if (const auto left = Empty(sets) ? PauseVirtually(length) : std::nullopt) {
        vboard::StoreTimeOfDay(*left, *timeout);
        return Slept(*left);
    }
    return SelectOthers(sets, length, nullptr);
}

VBOARD_EXPORT int pselect(int count, fd_set* reading, fd_set* writing, fd_set* excepting,
                          const timespec* timeout, const sigset_t* mask) {
    const FileSets sets = vboard::SetsOf(count, reading, writing, excepting);
    if (const int error = vboard::Refusal(sets, timeout); error != 0) {
        return Refused(error);
    }
    if (AnyOurs(sets)) {
        return vboard::SelectFiles(sets, TimeoutOf(timeout));
    }
    if (const auto left = Empty(sets) && timeout != nullptr ? PauseVirtually(DurationOf(*timeout))
                                                            : std::nullopt) {
        return Slept(*left);
    }
    return SelectOthers(sets, TimeoutOf(timeout), mask);
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
    if (const auto left = PauseVirtually(microseconds * 1us)) {
        return Slept(*left);
    }
    return Real().usleep(microseconds);
}

VBOARD_EXPORT unsigned sleep(unsigned seconds) {
    if (const auto left = PauseVirtually(seconds * 1s)) {
        return static_cast<unsigned>(std::chrono::ceil<std::chrono::seconds>(*left).count());
    }
    return Real().sleep(seconds);
}

VBOARD_EXPORT int nanosleep(const timespec* length, timespec* remaining) {
    if (const int error = vboard::LengthRefusal(Given(length)); error != 0) {
        return Refused(error);
    }
    if (const auto left = PauseVirtually(DurationOf(*length))) {
        if (*left > Duration::zero() && remaining != nullptr) {
            vboard::StoreDuration(*left, *remaining);
        }
        return Slept(*left);
    }
    return Real().nanosleep(length, remaining);
}

VBOARD_EXPORT int clock_nanosleep(clockid_t clock, int flags, const timespec* time,
                                  timespec* remaining) {
    const bool until = (flags & TIMER_ABSTIME) != 0;
    if (const int error = vboard::LengthRefusal(Given(time)); error != 0) {
        return error;
    }
    const auto left = vboard::PauseBy(clock, until, DurationOf(*time));
    if (!left) {
        return Real().clock_nanosleep(clock, flags, time, remaining);
    }
    if (*left == Duration::zero()) {
        return 0;
    }
    if (!until && remaining != nullptr) {
        vboard::StoreDuration(*left, *remaining);
    }
    return EINTR;
}

VBOARD_EXPORT int clock_gettime(clockid_t clock, timespec* time) __THROW {
    if (Given(time) == nullptr) {
        return Refused(EFAULT);
    }
    const bool forItself = vboard::IsTheSanitizers(__builtin_return_address(0));
    if (const auto now = forItself ? std::nullopt : AskClock(clock)) {
        vboard::StoreDuration(*now, *time);
        return 0;
    }
    return Real().clock_gettime(clock, time);
}

VBOARD_EXPORT int gettimeofday(timeval* time, void* zone) __THROW {
    // The kernel stores the time only where there is a place for it.
    const auto now = Given(time) == nullptr ? std::nullopt : AskClock(CLOCK_REALTIME);
    if (now) {
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
    if (now && Given(time) == nullptr) {
        return 0;
    }
    if (now) {
        vboard::StoreDuration(*now, *time);
        return base;
    }
    return Real().timespec_get(time, base);
}
