// SPDX-License-Identifier: MIT
#pragma once

// Waits with a deadline or a length, whatever it is that they wait for. `real` is libc's own
// function behind the wrapper; it gets the machine's clock and time.
//
// The structures of time have two widths on 32-bit machines and the same names in both, so each
// source needs functions of its own: static.

#include <pthread.h>
#include <threads.h>

#include <cerrno>

#include "vboard/process/OutsideWait.h"
#include "vboard/process/ProgramTime.h"

namespace vboard {

/// False where there is none, and for one that libc refuses with EINVAL.
template <class Timespec>
[[nodiscard]] static bool HasDeadline(const Timespec* deadline) {
    return deadline != nullptr && deadline->tv_nsec >= 0 && deadline->tv_nsec < 1'000'000'000;
}

/// Until `clock` shows `deadline`. `real` answers 0 or an errno, as this does.
template <class Timespec, class Real>
[[nodiscard]] static int WaitUntil(clockid_t clock, const Timespec* deadline, Real real) {
    if (!HasDeadline(deadline)) {
        return real(clock, deadline);
    }
    OutsideWait away(clock, DurationOf(*deadline));
    Timespec then{};
    StoreDuration(away.RealDeadline(clock), then);
    const int result = real(clock, &then);
    away.Ended(result == ETIMEDOUT);
    return result;
}

/// The same of `object`, a lock or a thread, for one of libc's functions that take a clock.
template <class Object, class Timespec>
[[nodiscard]] static int LockUntil(int (*real)(Object*, clockid_t, const Timespec*), Object* object,
                                   clockid_t clock, const Timespec* deadline) {
    return WaitUntil(clock, deadline,
                     [=](clockid_t by, const Timespec* then) { return real(object, by, then); });
}

/// The same for functions that answer -1 and errno where they fail.
template <class Timespec, class Real>
[[nodiscard]] static int WaitUntilOrFail(clockid_t clock, const Timespec* deadline, Real real) {
    const int error = WaitUntil(clock, deadline, [&real](clockid_t by, const Timespec* then) {
        return real(by, then) < 0 ? errno : 0;
    });
    errno = error == 0 ? errno : error;
    return error == 0 ? 0 : -1;
}

/// The same for a condition, whose lock is free for others as long as the wait lasts.
template <class Timespec, class Real>
[[nodiscard]] static int AwaitCondition(pthread_mutex_t* lock, clockid_t clock,
                                        const Timespec* deadline, Real real) {
    if (!HasDeadline(deadline)) {
        return real(clock, deadline);
    }
    OutsideWait away(clock, DurationOf(*deadline));
    Timespec then{};
    StoreDuration(away.RealDeadline(clock), then);
    int result = real(clock, &then);
    if (result == ETIMEDOUT) {
        static_cast<void>(pthread_mutex_unlock(lock));
        const bool tooEarly = away.IsTooEarly();
        if (!tooEarly) {
            away.Ended(true);
        }
        static_cast<void>(pthread_mutex_lock(lock));
        // A condition may wake its waiters for no reason.
        result = tooEarly ? 0 : result;
    } else {
        away.Ended(false);
    }
    return result;
}

/// For so long; for ever without a length. `real` answers -1 and errno where it fails, EAGAIN where
/// the time is up.
template <class Timespec, class Real>
[[nodiscard]] static int WaitFor(const Timespec* length, Real real) {
    if (length != nullptr && !IsLength(*length)) {
        return real(length);
    }
    OutsideWait away(length == nullptr ? std::nullopt : std::optional(DurationOf(*length)));
    const auto then = away.RealTimeout();
    Timespec machines{};
    StoreDuration(then.value_or(Duration::zero()), machines);
    const int result = real(then ? &machines : nullptr);
    away.Ended(result < 0 && errno == EAGAIN);
    return result;
}

/// For files, for so long or without end. `look` tells how many are ready now, which takes no time;
/// `real` gets the machine's timeout and answers 0 where it is up.
template <class Look, class Real>
[[nodiscard]] int AwaitFiles(std::optional<Duration> timeout, Look look, Real real) {
    OutsideWait away(timeout);
    if (const int now = look(); now != 0) {
        away.EndedAtOnce();
        return now;
    }
    const int ready = real(away.RealTimeout());
    away.Ended(ready == 0);
    return ready;
}

/// The same for epoll_wait and its relatives, where asking without waiting is no wait.
template <class Real>
[[nodiscard]] int AwaitEvents(std::optional<Duration> timeout, Real real) {
    const auto look = [&real] { return real(Duration::zero()); };
    return timeout == Duration::zero() ? look() : AwaitFiles(timeout, look, real);
}

/// What the functions of threads.h make of an errno.
[[nodiscard]] inline int ThreadsAnswer(int error) {
    return error == 0 ? thrd_success : error == ETIMEDOUT ? thrd_timedout : thrd_error;
}

}  // namespace vboard
