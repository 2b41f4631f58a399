// SPDX-License-Identifier: MIT

// Waits for what is not the board's: other threads, locks, many files at once, children. They take
// the machine's time; deadlines by a clock of the program's are told to the machine by its own.

#include "vboard/front/Preload.h"

// After it: the real headers.
#include <linux/futex.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <threads.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdarg>

#include "vboard/process/OutsideWait.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/Waiting.h"

namespace {

using vboard::Duration;
using vboard::DurationOf;
using vboard::OutsideWait;

/// libc's old functions take the clock from the object; a date and a time since the start of a
/// machine can't be taken for each other.
clockid_t ClockOf(const timespec& deadline) {
    constexpr time_t kNoMachineIsThatOld = 1'000'000'000;
    return deadline.tv_sec > kNoMachineIsThatOld ? CLOCK_REALTIME : CLOCK_MONOTONIC;
}

bool HasDeadline(const timespec* deadline) {
    return deadline != nullptr && deadline->tv_nsec >= 0 && deadline->tv_nsec < 1'000'000'000;
}

/// Any wait with a deadline by a clock that answers 0 or an errno. `real` gets the machine's clock
/// and deadline.
template <class Real>
int WaitUntil(clockid_t clock, const timespec* deadline, Real real) {
    if (!HasDeadline(deadline)) {
        return real(clock, deadline);
    }
    OutsideWait away(clock, DurationOf(*deadline));
    const timespec then = away.RealDeadline(clock);
    const int result = real(clock, &then);
    away.Ended(result == ETIMEDOUT);
    return result;
}

/// The same for a condition, whose lock is free for others as long as the wait lasts.
int AwaitCondition(pthread_cond_t* condition, pthread_mutex_t* lock, clockid_t clock,
                   const timespec* deadline) {
    static const auto real =
        vboard::RealNamed<decltype(&pthread_cond_clockwait)>("pthread_cond_clockwait");
    if (!HasDeadline(deadline)) {
        return real(condition, lock, clock, deadline);
    }
    OutsideWait away(clock, DurationOf(*deadline));
    const timespec then = away.RealDeadline(clock);
    int result = real(condition, lock, clock, &then);
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

int AwaitSemaphore(sem_t* semaphore, clockid_t clock, const timespec* deadline) {
    static const auto real = vboard::RealNamed<decltype(&sem_clockwait)>("sem_clockwait");
    return WaitUntil(clock, deadline,
                     [semaphore](clockid_t by, const timespec* then) {
                         const int result = real(semaphore, by, then);
                         return result == 0 ? 0 : errno;
                     }) == 0
               ? 0
               : -1;
}

/// epoll_wait and its relatives: `real` gets the machine's timeout.
template <class Real>
int AwaitEvents(std::optional<Duration> timeout, Real real) {
    if (timeout == Duration::zero()) {
        return real(timeout);
    }
    OutsideWait away(timeout);
    if (const int now = real(Duration::zero()); now != 0) {
        away.EndedAtOnce();
        return now;
    }
    const int ready = real(away.RealTimeout());
    away.Ended(ready == 0);
    return ready;
}

int Milliseconds(std::optional<Duration> timeout) {
    return timeout ? static_cast<int>(std::min<std::int64_t>(
                         std::chrono::ceil<std::chrono::milliseconds>(*timeout).count(), INT_MAX))
                   : -1;
}

/// A child that has ended has had its time; so has whoever waited for it.
template <class Result>
Result Reaped(Result child) {
    vboard::RunLink* link = child > 0 ? vboard::RunLink::Get() : nullptr;
    if (link != nullptr) {
        const vboard::BoardTurn turn;
        link->HearOfOthers();
        if (vboard::World* world = vboard::World::IfMade()) {
            world->HearOfOthers();
        }
    }
    return child;
}

}  // namespace

VBOARD_EXPORT int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* lock,
                                         const timespec* deadline) {
    return AwaitCondition(condition, lock, ClockOf(*deadline), deadline);
}

VBOARD_EXPORT int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* lock,
                                         clockid_t clock, const timespec* deadline) {
    return AwaitCondition(condition, lock, clock, deadline);
}

VBOARD_EXPORT int cnd_timedwait(cnd_t* condition, mtx_t* lock, const timespec* deadline) {
    // glibc's are the same objects under other names.
    const int result =
        AwaitCondition(reinterpret_cast<pthread_cond_t*>(condition),
                       reinterpret_cast<pthread_mutex_t*>(lock), CLOCK_REALTIME, deadline);
    return result == 0 ? thrd_success : (result == ETIMEDOUT ? thrd_timedout : thrd_error);
}

VBOARD_EXPORT int thrd_sleep(const timespec* length, timespec* remaining) {
    if (length == nullptr || !vboard::IsLength(*length)) {
        return -2;  // Of the two negative answers the one that is no signal.
    }
    if (const auto left = vboard::PauseVirtually(DurationOf(*length))) {
        if (*left > Duration::zero() && remaining != nullptr) {
            vboard::StoreDuration(*left, *remaining);
        }
        return *left > Duration::zero() ? -1 : 0;
    }
    static const auto real = vboard::RealNamed<decltype(&thrd_sleep)>("thrd_sleep");
    return real(length, remaining);
}

VBOARD_EXPORT int sem_timedwait(sem_t* semaphore, const timespec* deadline) {
    return AwaitSemaphore(semaphore, CLOCK_REALTIME, deadline);
}

VBOARD_EXPORT int sem_clockwait(sem_t* semaphore, clockid_t clock, const timespec* deadline) {
    return AwaitSemaphore(semaphore, clock, deadline);
}

VBOARD_EXPORT int pthread_mutex_timedlock(pthread_mutex_t* lock,
                                          const timespec* deadline) __THROWNL {
    static const auto real =
        vboard::RealNamed<decltype(&pthread_mutex_clocklock)>("pthread_mutex_clocklock");
    return WaitUntil(CLOCK_REALTIME, deadline, [lock](clockid_t clock, const timespec* then) {
        return real(lock, clock, then);
    });
}

VBOARD_EXPORT int pthread_mutex_clocklock(pthread_mutex_t* lock, clockid_t clock,
                                          const timespec* deadline) __THROWNL {
    static const auto real =
        vboard::RealNamed<decltype(&pthread_mutex_clocklock)>("pthread_mutex_clocklock");
    return WaitUntil(clock, deadline,
                     [lock](clockid_t by, const timespec* then) { return real(lock, by, then); });
}

VBOARD_EXPORT int epoll_wait(int set, epoll_event* events, int most, int timeout) {
    static const auto real = vboard::RealNamed<decltype(&epoll_wait)>("epoll_wait");
    return AwaitEvents(vboard::PollTimeout(timeout), [=](std::optional<Duration> then) {
        return real(set, events, most, Milliseconds(then));
    });
}

VBOARD_EXPORT int epoll_pwait(int set, epoll_event* events, int most, int timeout,
                              const sigset_t* mask) {
    static const auto real = vboard::RealNamed<decltype(&epoll_pwait)>("epoll_pwait");
    return AwaitEvents(vboard::PollTimeout(timeout), [=](std::optional<Duration> then) {
        return real(set, events, most, Milliseconds(then), mask);
    });
}

VBOARD_EXPORT int epoll_pwait2(int set, epoll_event* events, int most, const timespec* timeout,
                               const sigset_t* mask) {
    static const auto real = vboard::RealNamed<decltype(&epoll_pwait2)>("epoll_pwait2");
    return AwaitEvents(vboard::TimeoutOf(timeout), [=](std::optional<Duration> then) {
        const timespec length = vboard::TimespecOf(then.value_or(Duration::zero()));
        return real(set, events, most, then ? &length : nullptr, mask);
    });
}

VBOARD_EXPORT int sigtimedwait(const sigset_t* signals, siginfo_t* information,
                               const timespec* timeout) {
    static const auto real = vboard::RealNamed<decltype(&sigtimedwait)>("sigtimedwait");
    OutsideWait away(vboard::TimeoutOf(timeout));
    const auto then = away.RealTimeout();
    const timespec length = vboard::TimespecOf(then.value_or(Duration::zero()));
    const int signal = real(signals, information, then ? &length : nullptr);
    away.Ended(signal < 0 && errno == EAGAIN);
    return signal;
}

// The way to the kernel past libc's own functions, on which Rust's threads wait for each other. As
// many words are read as any call has, whatever was passed, as libc does; a sanitizer would object.
[[gnu::no_sanitize_address]] VBOARD_EXPORT long syscall(long number, ...) __THROW {
    va_list arguments;
    va_start(arguments, number);
    std::array<long, 6> words{};
    for (long& word : words) {
        word = va_arg(arguments, long);
    }
    va_end(arguments);
    static const auto real = vboard::RealNamed<long (*)(long, ...)>("syscall");
    const int operation = static_cast<int>(words[1]) & FUTEX_CMD_MASK;
    // The words of a system call are numbers, also those that point.
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    const auto* deadline = reinterpret_cast<const timespec*>(words[3]);
    const bool waits = operation == FUTEX_WAIT || operation == FUTEX_WAIT_BITSET;
    if (number != SYS_futex || !waits || !HasDeadline(deadline)) {
        return real(number, words[0], words[1], words[2], words[3], words[4], words[5]);
    }
    const clockid_t clock =
        (words[1] & FUTEX_CLOCK_REALTIME) != 0 ? CLOCK_REALTIME : CLOCK_MONOTONIC;
    OutsideWait away = operation == FUTEX_WAIT ? OutsideWait(DurationOf(*deadline))
                                               : OutsideWait(clock, DurationOf(*deadline));
    const timespec then = operation == FUTEX_WAIT ? vboard::TimespecOf(*away.RealTimeout())
                                                  : away.RealDeadline(clock);
    const long result = real(number, words[0], words[1], words[2], &then, words[4], words[5]);
    away.Ended(result < 0 && errno == ETIMEDOUT);
    return result;
}

VBOARD_EXPORT pid_t wait(int* status) {
    static const auto real = vboard::RealNamed<decltype(&wait)>("wait");
    return Reaped(real(status));
}

VBOARD_EXPORT pid_t waitpid(pid_t child, int* status, int options) {
    static const auto real = vboard::RealNamed<decltype(&waitpid)>("waitpid");
    return Reaped(real(child, status, options));
}

VBOARD_EXPORT pid_t wait3(int* status, int options, rusage* usage) __THROWNL {
    static const auto real = vboard::RealNamed<decltype(&wait3)>("wait3");
    return Reaped(real(status, options, usage));
}

VBOARD_EXPORT pid_t wait4(pid_t child, int* status, int options, rusage* usage) __THROWNL {
    static const auto real = vboard::RealNamed<decltype(&wait4)>("wait4");
    return Reaped(real(child, status, options, usage));
}
