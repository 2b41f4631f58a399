// SPDX-License-Identifier: MIT

// Waits for what is not the board's: other threads, locks, many files at once, children. They take
// the machine's time; deadlines by a clock of the program's are told to the machine by its own.

#include "vboard/front/Preload.h"

// After it: the real headers.
#include <linux/futex.h>
#include <mqueue.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/sem.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <threads.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdarg>

#include "vboard/process/Deadlines.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/Reaped.h"
#include "vboard/process/Waiting.h"
#include "vboard/process/Wrapping.h"

namespace {

using vboard::AwaitCondition;
using vboard::AwaitEvents;
using vboard::Duration;
using vboard::DurationOf;
using vboard::HasDeadline;
using vboard::LockUntil;
using vboard::OutsideWait;
using vboard::ThreadsAnswer;
using vboard::WaitFor;
using vboard::WaitUntil;
using vboard::WaitUntilOrFail;

/// libc's old functions take the clock from the object; a date and a time since the start of a
/// machine can't be taken for each other.
clockid_t ClockOf(const timespec& deadline) {
    constexpr time_t kNoMachineIsThatOld = 1'000'000'000;
    return deadline.tv_sec > kNoMachineIsThatOld ? CLOCK_REALTIME : CLOCK_MONOTONIC;
}

int Milliseconds(std::optional<Duration> timeout) {
    return timeout ? static_cast<int>(std::min<std::int64_t>(
                         std::chrono::ceil<std::chrono::milliseconds>(*timeout).count(), INT_MAX))
                   : -1;
}

/// Opening by number: the wrappers of open don't see it, and what it brought would be the
/// machine's.
bool OpensBoardsFile(long number, const std::array<long, 6>& words) {
    const auto isBoards = [](int folder, long path) {
        // The words of a system call are numbers, also those that point.
        // NOLINTNEXTLINE(performance-no-int-to-ptr)
        const auto* name = reinterpret_cast<const char*>(path);
        return static_cast<bool>(vboard::HostFor(name, vboard::LastLink::kFollowed, folder));
    };
    switch (number) {
#ifdef SYS_open
        case SYS_open:
        case SYS_creat:
            return isBoards(AT_FDCWD, words[0]);
#endif
#ifdef SYS_openat2
        case SYS_openat2:
#endif
        case SYS_openat:
            return isBoards(static_cast<int>(words[0]), words[1]);
        default:
            return false;
    }
}

bool IsFutex(long number) {
#ifdef SYS_futex_time64
    return number == SYS_futex || number == SYS_futex_time64;
#else
    return number == SYS_futex;
#endif
}

/// The times of a futex in 64 bits, on a 32-bit machine.
struct WideTimespec {
    std::int64_t tv_sec;
    std::int64_t tv_nsec;
};

/// A system call with its words; a wait of futex(2) has its time in the fourth.
template <class Timespec>
long Futex(long number, const std::array<long, 6>& words) {
    static const auto real = vboard::RealNamed<long (*)(long, ...)>("syscall");
    const int operation = static_cast<int>(words[1]) & FUTEX_CMD_MASK;
    // The words of a system call are numbers, also those that point.
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    const auto* deadline = reinterpret_cast<const Timespec*>(words[3]);
    const bool waits = operation == FUTEX_WAIT || operation == FUTEX_WAIT_BITSET;
    if (!IsFutex(number) || !waits || !HasDeadline(deadline)) {
        return real(number, words[0], words[1], words[2], words[3], words[4], words[5]);
    }
    const clockid_t clock =
        (words[1] & FUTEX_CLOCK_REALTIME) != 0 ? CLOCK_REALTIME : CLOCK_MONOTONIC;
    OutsideWait away = operation == FUTEX_WAIT ? OutsideWait(DurationOf(*deadline))
                                               : OutsideWait(clock, DurationOf(*deadline));
    Timespec then{};
    vboard::StoreDuration(operation == FUTEX_WAIT ? *away.RealTimeout() : away.RealDeadline(clock),
                          then);
    const long result = real(number, words[0], words[1], words[2], &then, words[4], words[5]);
    away.Ended(result < 0 && errno == ETIMEDOUT);
    return result;
}

int ConditionUntil(pthread_cond_t* condition, pthread_mutex_t* lock, clockid_t clock,
                   const timespec* deadline) {
    static const auto real =
        vboard::RealNamed<decltype(&pthread_cond_clockwait)>("pthread_cond_clockwait");
    return AwaitCondition(lock, clock, deadline, [=](clockid_t by, const timespec* then) {
        return real(condition, lock, by, then);
    });
}

int SemaphoreUntil(sem_t* semaphore, clockid_t clock, const timespec* deadline) {
    static const auto real = vboard::RealNamed<decltype(&sem_clockwait)>("sem_clockwait");
    return WaitUntilOrFail(clock, deadline, [=](clockid_t by, const timespec* then) {
        return real(semaphore, by, then);
    });
}

int JoinUntil(pthread_t thread, void** result, clockid_t clock, const timespec* deadline) {
    static const auto real =
        vboard::RealNamed<decltype(&pthread_clockjoin_np)>("pthread_clockjoin_np");
    return WaitUntil(clock, deadline, [=](clockid_t by, const timespec* then) {
        return real(thread, result, by, then);
    });
}

}  // namespace

VBOARD_EXPORT int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* lock,
                                         clockid_t clock, const timespec* deadline) {
    return ConditionUntil(condition, lock, clock, deadline);
}

VBOARD_EXPORT int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* lock,
                                         const timespec* deadline) {
    return ConditionUntil(condition, lock, ClockOf(*deadline), deadline);
}

// In glibc the objects of threads.h are those of pthread.h under other names.

VBOARD_EXPORT int cnd_timedwait(cnd_t* condition, mtx_t* lock, const timespec* deadline) {
    return ThreadsAnswer(ConditionUntil(reinterpret_cast<pthread_cond_t*>(condition),
                                        reinterpret_cast<pthread_mutex_t*>(lock), CLOCK_REALTIME,
                                        deadline));
}

VBOARD_EXPORT int mtx_timedlock(mtx_t* lock, const timespec* deadline) {
    static const auto real =
        vboard::RealNamed<decltype(&pthread_mutex_clocklock)>("pthread_mutex_clocklock");
    return ThreadsAnswer(
        LockUntil(real, reinterpret_cast<pthread_mutex_t*>(lock), CLOCK_REALTIME, deadline));
}

VBOARD_EXPORT int thrd_sleep(const timespec* length, timespec* remaining) {
    if (vboard::LengthRefusal(Given(length)) != 0) {
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
    return SemaphoreUntil(semaphore, CLOCK_REALTIME, deadline);
}

VBOARD_EXPORT int sem_clockwait(sem_t* semaphore, clockid_t clock, const timespec* deadline) {
    return SemaphoreUntil(semaphore, clock, deadline);
}

VBOARD_EXPORT int pthread_mutex_timedlock(pthread_mutex_t* lock,
                                          const timespec* deadline) __THROWNL {
    static const auto real =
        vboard::RealNamed<decltype(&pthread_mutex_clocklock)>("pthread_mutex_clocklock");
    return LockUntil(real, lock, CLOCK_REALTIME, deadline);
}

VBOARD_EXPORT int pthread_mutex_clocklock(pthread_mutex_t* lock, clockid_t clock,
                                          const timespec* deadline) __THROWNL {
    static const auto real =
        vboard::RealNamed<decltype(&pthread_mutex_clocklock)>("pthread_mutex_clocklock");
    return LockUntil(real, lock, clock, deadline);
}

VBOARD_EXPORT int pthread_rwlock_timedrdlock(pthread_rwlock_t* lock,
                                             const timespec* deadline) __THROWNL {
    static const auto real =
        vboard::RealNamed<decltype(&pthread_rwlock_clockrdlock)>("pthread_rwlock_clockrdlock");
    return LockUntil(real, lock, CLOCK_REALTIME, deadline);
}

VBOARD_EXPORT int pthread_rwlock_clockrdlock(pthread_rwlock_t* lock, clockid_t clock,
                                             const timespec* deadline) __THROWNL {
    static const auto real =
        vboard::RealNamed<decltype(&pthread_rwlock_clockrdlock)>("pthread_rwlock_clockrdlock");
    return LockUntil(real, lock, clock, deadline);
}

VBOARD_EXPORT int pthread_rwlock_timedwrlock(pthread_rwlock_t* lock,
                                             const timespec* deadline) __THROWNL {
    static const auto real =
        vboard::RealNamed<decltype(&pthread_rwlock_clockwrlock)>("pthread_rwlock_clockwrlock");
    return LockUntil(real, lock, CLOCK_REALTIME, deadline);
}

VBOARD_EXPORT int pthread_rwlock_clockwrlock(pthread_rwlock_t* lock, clockid_t clock,
                                             const timespec* deadline) __THROWNL {
    static const auto real =
        vboard::RealNamed<decltype(&pthread_rwlock_clockwrlock)>("pthread_rwlock_clockwrlock");
    return LockUntil(real, lock, clock, deadline);
}

VBOARD_EXPORT int pthread_timedjoin_np(pthread_t thread, void** result, const timespec* deadline) {
    return JoinUntil(thread, result, CLOCK_REALTIME, deadline);
}

VBOARD_EXPORT int pthread_clockjoin_np(pthread_t thread, void** result, clockid_t clock,
                                       const timespec* deadline) {
    return JoinUntil(thread, result, clock, deadline);
}

VBOARD_EXPORT int mq_timedsend(mqd_t queue, const char* text, std::size_t length, unsigned priority,
                               const timespec* deadline) {
    static const auto real = vboard::RealNamed<decltype(&mq_timedsend)>("mq_timedsend");
    return WaitUntilOrFail(CLOCK_REALTIME, deadline, [=](clockid_t, const timespec* then) {
        return real(queue, text, length, priority, then);
    });
}

VBOARD_EXPORT ssize_t mq_timedreceive(mqd_t queue, char* text, std::size_t size, unsigned* priority,
                                      const timespec* deadline) {
    static const auto real = vboard::RealNamed<decltype(&mq_timedreceive)>("mq_timedreceive");
    ssize_t length = -1;
    const int failed =
        WaitUntilOrFail(CLOCK_REALTIME, deadline, [&](clockid_t, const timespec* then) {
            length = real(queue, text, size, priority, then);
            return length < 0 ? -1 : 0;
        });
    return failed < 0 ? -1 : length;
}

VBOARD_EXPORT int semtimedop(int set, sembuf* operations, std::size_t count,
                             const timespec* timeout) __THROW {
    static const auto real = vboard::RealNamed<decltype(&semtimedop)>("semtimedop");
    return WaitFor(timeout,
                   [=](const timespec* then) { return real(set, operations, count, then); });
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
    return WaitFor(timeout, [=](const timespec* then) { return real(signals, information, then); });
}

// The way to the kernel past libc's own functions, on which Rust's threads wait for each other. As
// many words are read as any call has, whatever was passed, as libc does; a sanitizer would object.
#define VBOARD_UNSANITIZED __attribute__((no_sanitize_address))
VBOARD_EXPORT VBOARD_UNSANITIZED long syscall(long number, ...) __THROW {
    va_list arguments;
    va_start(arguments, number);
    std::array<long, 6> words{};
    for (long& word : words) {
        word = va_arg(arguments, long);
    }
    va_end(arguments);
    if (OpensBoardsFile(number, words)) {
        return vboard::Refused(ENOSYS);
    }
#ifdef SYS_futex_time64
    if (number == SYS_futex_time64) {
        return Futex<WideTimespec>(number, words);
    }
#endif
    return Futex<timespec>(number, words);
}

VBOARD_EXPORT pid_t wait(int* status) {
    static const auto real = vboard::RealNamed<decltype(&wait)>("wait");
    return vboard::Reaped(real(status));
}

VBOARD_EXPORT pid_t waitpid(pid_t child, int* status, int options) {
    static const auto real = vboard::RealNamed<decltype(&waitpid)>("waitpid");
    return vboard::Reaped(real(child, status, options));
}

VBOARD_EXPORT pid_t wait3(int* status, int options, rusage* usage) __THROWNL {
    static const auto real = vboard::RealNamed<decltype(&wait3)>("wait3");
    return vboard::Reaped(real(status, options, usage));
}

VBOARD_EXPORT pid_t wait4(pid_t child, int* status, int options, rusage* usage) __THROWNL {
    static const auto real = vboard::RealNamed<decltype(&wait4)>("wait4");
    return vboard::Reaped(real(child, status, options, usage));
}

VBOARD_EXPORT int waitid(idtype_t kind, id_t child, siginfo_t* information, int options) {
    static const auto real = vboard::RealNamed<decltype(&waitid)>("waitid");
    const int result = real(kind, child, information, options);
    const bool nobody = information != nullptr && information->si_pid == 0;
    static_cast<void>(vboard::Reaped(result == 0 && !nobody ? 1 : 0));
    return result;
}
