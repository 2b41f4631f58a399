// SPDX-License-Identifier: MIT

// What 32-bit programs built with 64-bit time call in place of the waits of PreloadWaits.cpp, and
// in place of what changes a file's dates.

#include "vboard/front/Preload.h"

// From here on the structures are those of such programs.
#define _FILE_OFFSET_BITS 64
#define _TIME_BITS 64

#include <fcntl.h>
#include <mqueue.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/sem.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <threads.h>
#include <time.h>
#include <utime.h>

#include <algorithm>
#include <cerrno>

#include "vboard/process/Deadlines.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/Reaped.h"
#include "vboard/process/Waiting.h"

namespace {

using vboard::AwaitCondition;
using vboard::Duration;
using vboard::DurationOf;
using vboard::FileFor;
using vboard::HostFor;
using vboard::LastLink;
using vboard::LockUntil;
using vboard::Refused;
using vboard::ThreadsAnswer;
using vboard::WaitFor;
using vboard::WaitUntil;
using vboard::WaitUntilOrFail;

clockid_t ClockOfCondition(const timespec& deadline) {
    constexpr std::int64_t kNoMachineIsThatOld = 1'000'000'000;
    return deadline.tv_sec > kNoMachineIsThatOld ? CLOCK_REALTIME : CLOCK_MONOTONIC;
}

int ConditionUntil64(pthread_cond_t* condition, pthread_mutex_t* lock, clockid_t clock,
                     const timespec* deadline) {
    static const auto real =
        vboard::RealNamed<int (*)(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*)>(
            "__pthread_cond_clockwait64");
    return AwaitCondition(lock, clock, deadline, [=](clockid_t by, const timespec* then) {
        return real(condition, lock, by, then);
    });
}

int MutexUntil64(pthread_mutex_t* object, clockid_t clock, const timespec* deadline) {
    static const auto real =
        vboard::RealNamed<int (*)(pthread_mutex_t*, clockid_t, const timespec*)>(
            "__pthread_mutex_clocklock64");
    return LockUntil(real, object, clock, deadline);
}

int ReadLockUntil64(pthread_rwlock_t* object, clockid_t clock, const timespec* deadline) {
    static const auto real =
        vboard::RealNamed<int (*)(pthread_rwlock_t*, clockid_t, const timespec*)>(
            "__pthread_rwlock_clockrdlock64");
    return LockUntil(real, object, clock, deadline);
}

int WriteLockUntil64(pthread_rwlock_t* object, clockid_t clock, const timespec* deadline) {
    static const auto real =
        vboard::RealNamed<int (*)(pthread_rwlock_t*, clockid_t, const timespec*)>(
            "__pthread_rwlock_clockwrlock64");
    return LockUntil(real, object, clock, deadline);
}

int SemaphoreUntil64(sem_t* object, clockid_t clock, const timespec* deadline) {
    static const auto real =
        vboard::RealNamed<int (*)(sem_t*, clockid_t, const timespec*)>("__sem_clockwait64");
    return WaitUntilOrFail(clock, deadline, [=](clockid_t by, const timespec* then) {
        return real(object, by, then);
    });
}

int JoinUntil64(pthread_t other, void** result, clockid_t clock, const timespec* deadline) {
    static const auto real =
        vboard::RealNamed<int (*)(pthread_t, void**, clockid_t, const timespec*)>(
            "__pthread_clockjoin_np64");
    return WaitUntil(clock, deadline, [=](clockid_t by, const timespec* then) {
        return real(other, result, by, then);
    });
}

}  // namespace

VBOARD_EXPORT int __pthread_cond_clockwait64(pthread_cond_t* condition, pthread_mutex_t* lock,
                                             clockid_t clock, const timespec* deadline) {
    return ConditionUntil64(condition, lock, clock, deadline);
}

VBOARD_EXPORT int __pthread_cond_timedwait64(pthread_cond_t* condition, pthread_mutex_t* lock,
                                             const timespec* deadline) {
    return ConditionUntil64(condition, lock, ClockOfCondition(*deadline), deadline);
}

VBOARD_EXPORT int __cnd_timedwait64(cnd_t* condition, mtx_t* lock, const timespec* deadline) {
    return ThreadsAnswer(ConditionUntil64(reinterpret_cast<pthread_cond_t*>(condition),
                                          reinterpret_cast<pthread_mutex_t*>(lock), CLOCK_REALTIME,
                                          deadline));
}

VBOARD_EXPORT int __mtx_timedlock64(mtx_t* lock, const timespec* deadline) {
    return ThreadsAnswer(
        MutexUntil64(reinterpret_cast<pthread_mutex_t*>(lock), CLOCK_REALTIME, deadline));
}

VBOARD_EXPORT int __pthread_mutex_clocklock64(pthread_mutex_t* object, clockid_t clock,
                                              const timespec* deadline) {
    return MutexUntil64(object, clock, deadline);
}

VBOARD_EXPORT int __pthread_mutex_timedlock64(pthread_mutex_t* object, const timespec* deadline) {
    return MutexUntil64(object, CLOCK_REALTIME, deadline);
}

VBOARD_EXPORT int __pthread_rwlock_clockrdlock64(pthread_rwlock_t* object, clockid_t clock,
                                                 const timespec* deadline) {
    return ReadLockUntil64(object, clock, deadline);
}

VBOARD_EXPORT int __pthread_rwlock_timedrdlock64(pthread_rwlock_t* object,
                                                 const timespec* deadline) {
    return ReadLockUntil64(object, CLOCK_REALTIME, deadline);
}

VBOARD_EXPORT int __pthread_rwlock_clockwrlock64(pthread_rwlock_t* object, clockid_t clock,
                                                 const timespec* deadline) {
    return WriteLockUntil64(object, clock, deadline);
}

VBOARD_EXPORT int __pthread_rwlock_timedwrlock64(pthread_rwlock_t* object,
                                                 const timespec* deadline) {
    return WriteLockUntil64(object, CLOCK_REALTIME, deadline);
}

VBOARD_EXPORT int __sem_clockwait64(sem_t* object, clockid_t clock, const timespec* deadline) {
    return SemaphoreUntil64(object, clock, deadline);
}

VBOARD_EXPORT int __sem_timedwait64(sem_t* object, const timespec* deadline) {
    return SemaphoreUntil64(object, CLOCK_REALTIME, deadline);
}

VBOARD_EXPORT int __pthread_clockjoin_np64(pthread_t other, void** result, clockid_t clock,
                                           const timespec* deadline) {
    return JoinUntil64(other, result, clock, deadline);
}

VBOARD_EXPORT int __pthread_timedjoin_np64(pthread_t other, void** result,
                                           const timespec* deadline) {
    return JoinUntil64(other, result, CLOCK_REALTIME, deadline);
}

VBOARD_EXPORT int __mq_timedsend_time64(mqd_t queue, const char* text, std::size_t length,
                                        unsigned priority, const timespec* deadline) {
    static const auto real =
        vboard::RealNamed<decltype(&__mq_timedsend_time64)>("__mq_timedsend_time64");
    return WaitUntilOrFail(CLOCK_REALTIME, deadline, [=](clockid_t, const timespec* then) {
        return real(queue, text, length, priority, then);
    });
}

VBOARD_EXPORT ssize_t __mq_timedreceive_time64(mqd_t queue, char* text, std::size_t size,
                                               unsigned* priority, const timespec* deadline) {
    static const auto real =
        vboard::RealNamed<decltype(&__mq_timedreceive_time64)>("__mq_timedreceive_time64");
    ssize_t length = -1;
    const int failed =
        WaitUntilOrFail(CLOCK_REALTIME, deadline, [&](clockid_t, const timespec* then) {
            length = real(queue, text, size, priority, then);
            return length < 0 ? -1 : 0;
        });
    return failed < 0 ? -1 : length;
}

VBOARD_EXPORT int __semtimedop64(int set, sembuf* operations, std::size_t count,
                                 const timespec* timeout) {
    static const auto real = vboard::RealNamed<decltype(&__semtimedop64)>("__semtimedop64");
    return WaitFor(timeout,
                   [=](const timespec* then) { return real(set, operations, count, then); });
}

VBOARD_EXPORT int __sigtimedwait64(const sigset_t* signals, siginfo_t* information,
                                   const timespec* timeout) {
    static const auto real = vboard::RealNamed<decltype(&__sigtimedwait64)>("__sigtimedwait64");
    return WaitFor(timeout, [=](const timespec* then) { return real(signals, information, then); });
}

VBOARD_EXPORT int __epoll_pwait2_time64(int set, epoll_event* events, int most,
                                        const timespec* timeout, const sigset_t* mask) {
    static const auto real =
        vboard::RealNamed<decltype(&__epoll_pwait2_time64)>("__epoll_pwait2_time64");
    return vboard::AwaitEvents(vboard::TimeoutOf(timeout), [=](std::optional<Duration> then) {
        const timespec length = vboard::TimespecOf(then.value_or(Duration::zero()));
        return real(set, events, most, then ? &length : nullptr, mask);
    });
}

VBOARD_EXPORT int __thrd_sleep64(const timespec* length, timespec* remaining) {
    if (vboard::LengthRefusal(Given(length)) != 0) {
        return -2;
    }
    if (const auto left = vboard::PauseVirtually(DurationOf(*length))) {
        if (*left > Duration::zero() && remaining != nullptr) {
            vboard::StoreDuration(*left, *remaining);
        }
        return *left > Duration::zero() ? -1 : 0;
    }
    static const auto real = vboard::RealNamed<decltype(&__thrd_sleep64)>("__thrd_sleep64");
    return real(length, remaining);
}

VBOARD_EXPORT pid_t __wait3_time64(int* status, int options, rusage* usage) {
    static const auto real = vboard::RealNamed<decltype(&__wait3_time64)>("__wait3_time64");
    return vboard::Reaped(real(status, options, usage));
}

VBOARD_EXPORT pid_t __wait4_time64(pid_t child, int* status, int options, rusage* usage) {
    static const auto real = vboard::RealNamed<decltype(&__wait4_time64)>("__wait4_time64");
    return vboard::Reaped(real(child, status, options, usage));
}

// A board's file has no dates to change.

VBOARD_EXPORT int __utime64(const char* path, const utimbuf* times) {
    if (HostFor(path)) {
        return Refused(EPERM);
    }
    static const auto real = vboard::RealNamed<decltype(&__utime64)>("__utime64");
    return real(path, times);
}

VBOARD_EXPORT int __utimes64(const char* path, const timeval times[2]) {
    if (HostFor(path)) {
        return Refused(EPERM);
    }
    static const auto real = vboard::RealNamed<decltype(&__utimes64)>("__utimes64");
    return real(path, times);
}

VBOARD_EXPORT int __lutimes64(const char* path, const timeval times[2]) {
    if (HostFor(path, LastLink::kTaken)) {
        return Refused(EPERM);
    }
    static const auto real = vboard::RealNamed<decltype(&__lutimes64)>("__lutimes64");
    return real(path, times);
}

VBOARD_EXPORT int __futimes64(int descriptor, const timeval times[2]) {
    if (FileFor(descriptor)) {
        return Refused(EPERM);
    }
    static const auto real = vboard::RealNamed<decltype(&__futimes64)>("__futimes64");
    return real(descriptor, times);
}

VBOARD_EXPORT int __futimens64(int descriptor, const timespec times[2]) {
    if (FileFor(descriptor)) {
        return Refused(EPERM);
    }
    static const auto real = vboard::RealNamed<decltype(&__futimens64)>("__futimens64");
    return real(descriptor, times);
}

VBOARD_EXPORT int __futimesat64(int folder, const char* path, const timeval times[2]) {
    if (HostFor(path, LastLink::kFollowed, folder)) {
        return Refused(EPERM);
    }
    static const auto real = vboard::RealNamed<decltype(&__futimesat64)>("__futimesat64");
    return real(folder, path, times);
}

VBOARD_EXPORT int __utimensat64(int folder, const char* path, const timespec times[2], int flags) {
    if (HostFor(path, (flags & AT_SYMLINK_NOFOLLOW) != 0 ? LastLink::kTaken : LastLink::kFollowed,
                folder)) {
        return Refused(EPERM);
    }
    static const auto real = vboard::RealNamed<decltype(&__utimensat64)>("__utimensat64");
    return real(folder, path, times, flags);
}
