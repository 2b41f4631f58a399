// SPDX-License-Identifier: MIT

// The names that 32-bit programs built with 64-bit time call in place of the plain ones. Nobody
// calls them on a processor whose time always had 64 bits, and its libc has no such names.

#include "vboard/front/Preload.h"

// From here on the structures are those of such programs.
#define _FILE_OFFSET_BITS 64
#define _TIME_BITS 64

#include <fcntl.h>
#include <poll.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <time.h>

#include <cerrno>
#include <cstdarg>

#include "vboard/process/DescriptorCalls.h"
#include "vboard/process/FileStatus.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/Waiting.h"

namespace {

using vboard::Answer;
using vboard::AnyOurs;
using vboard::AskClock;
using vboard::Duration;
using vboard::DurationOf;
using vboard::FileFor;
using vboard::FileSets;
using vboard::HostFor;
using vboard::LastLink;
using vboard::PauseVirtually;
using vboard::Place;
using vboard::PollFiles;
using vboard::PollOthers;
using vboard::Refused;
using vboard::SelectOthers;
using vboard::Slept;
using vboard::TheHost;
using vboard::TimeoutOf;

using std::chrono_literals::operator""us;

}  // namespace

VBOARD_EXPORT int __select64(int count, fd_set* reading, fd_set* writing, fd_set* excepting,
                             timeval* timeout) {
    const FileSets sets = vboard::SetsOf(count, reading, writing, excepting);
    if (const int error = vboard::Refusal(sets, timeout); error != 0) {
        return Refused(error);
    }
    if (AnyOurs(sets)) {
        return vboard::SelectFiles(sets, timeout);
    }
    if (const auto left = Empty(sets) && timeout != nullptr
                              ? PauseVirtually(DurationOf(timeout->tv_sec, timeout->tv_usec, 1us))
                              : std::nullopt) {
        return Slept(*left);
    }
    return SelectOthers(sets,
                        timeout == nullptr
                            ? std::nullopt
                            : std::optional(DurationOf(timeout->tv_sec, timeout->tv_usec, 1us)),
                        nullptr);
}

VBOARD_EXPORT int __pselect64(int count, fd_set* reading, fd_set* writing, fd_set* excepting,
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

VBOARD_EXPORT int __ppoll64(pollfd* files, nfds_t count, const timespec* timeout,
                            const sigset_t* mask) {
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

VBOARD_EXPORT int __nanosleep64(const timespec* length, timespec* remaining) {
    if (const int error = vboard::LengthRefusal(Given(length)); error != 0) {
        return Refused(error);
    }
    if (const auto left = PauseVirtually(DurationOf(*length))) {
        if (*left > Duration::zero() && remaining != nullptr) {
            vboard::StoreDuration(*left, *remaining);
        }
        return Slept(*left);
    }
    static const auto real = vboard::RealNamed<decltype(&__nanosleep64)>("__nanosleep64");
    return real(length, remaining);
}

VBOARD_EXPORT int __clock_nanosleep_time64(clockid_t clock, int flags, const timespec* time,
                                           timespec* remaining) {
    const bool until = (flags & TIMER_ABSTIME) != 0;
    if (const int error = vboard::LengthRefusal(Given(time)); error != 0) {
        return error;
    }
    if (const auto left = vboard::PauseBy(clock, until, DurationOf(*time))) {
        if (*left > Duration::zero() && !until && remaining != nullptr) {
            vboard::StoreDuration(*left, *remaining);
        }
        return *left > Duration::zero() ? EINTR : 0;
    }
    static const auto real =
        vboard::RealNamed<decltype(&__clock_nanosleep_time64)>("__clock_nanosleep_time64");
    return real(clock, flags, time, remaining);
}

VBOARD_EXPORT int __clock_gettime64(clockid_t clock, timespec* time) {
    if (Given(time) == nullptr) {
        return Refused(EFAULT);
    }
    if (const auto now = AskClock(clock)) {
        vboard::StoreDuration(*now, *time);
        return 0;
    }
    static const auto real = vboard::RealNamed<decltype(&__clock_gettime64)>("__clock_gettime64");
    return real(clock, time);
}

VBOARD_EXPORT int __gettimeofday64(timeval* time, void* zone) {
    const auto now = Given(time) == nullptr ? std::nullopt : AskClock(CLOCK_REALTIME);
    if (now) {
        vboard::StoreTimeOfDay(*now, *time);
        return 0;
    }
    static const auto real = vboard::RealNamed<decltype(&__gettimeofday64)>("__gettimeofday64");
    return real(time, zone);
}

VBOARD_EXPORT time_t __time64(time_t* stored) {
    if (const auto now = AskClock(CLOCK_REALTIME)) {
        return vboard::StoreSeconds(*now, stored);
    }
    static const auto real = vboard::RealNamed<decltype(&__time64)>("__time64");
    return real(stored);
}

VBOARD_EXPORT int __timespec_get64(timespec* time, int base) {
    const auto now = base == TIME_UTC ? AskClock(CLOCK_REALTIME) : std::nullopt;
    if (now && Given(time) == nullptr) {
        return 0;
    }
    if (now) {
        vboard::StoreDuration(*now, *time);
        return base;
    }
    static const auto real = vboard::RealNamed<decltype(&__timespec_get64)>("__timespec_get64");
    return real(time, base);
}

VBOARD_EXPORT int __stat64_time64(const char* path, struct stat* status) {
    if (const Place place = HostFor(path, LastLink::kFollowed)) {
        return Answer<int>(
            [&] { return vboard::StoreStatus(place.TheHost(), place.Path(), Given(status)); });
    }
    static const auto real = vboard::RealNamed<decltype(&__stat64_time64)>("__stat64_time64");
    return real(path, status);
}

VBOARD_EXPORT int __lstat64_time64(const char* path, struct stat* status) {
    if (const Place place = HostFor(path, LastLink::kTaken)) {
        return Answer<int>(
            [&] { return vboard::StoreStatus(place.TheHost(), place.Path(), Given(status)); });
    }
    static const auto real = vboard::RealNamed<decltype(&__lstat64_time64)>("__lstat64_time64");
    return real(path, status);
}

VBOARD_EXPORT int __fstat64_time64(int descriptor, struct stat* status) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<int>(
            [&] { return vboard::StoreStatus(TheHost(), file->path, Given(status)); });
    }
    static const auto real = vboard::RealNamed<decltype(&__fstat64_time64)>("__fstat64_time64");
    return real(descriptor, status);
}

VBOARD_EXPORT int __fstatat64_time64(int folder, const char* path, struct stat* status, int flags) {
    const LastLink last =
        (flags & AT_SYMLINK_NOFOLLOW) != 0 ? LastLink::kTaken : LastLink::kFollowed;
    const bool itself = (flags & AT_EMPTY_PATH) != 0 && (Given(path) == nullptr || *path == '\0');
    if (const auto file = itself ? FileFor(folder) : vboard::FileTurn()) {
        return Answer<int>(
            [&] { return vboard::StoreStatus(TheHost(), file->path, Given(status)); });
    }
    if (const Place place = HostFor(path, last, folder)) {
        return Answer<int>(
            [&] { return vboard::StoreStatus(place.TheHost(), place.Path(), Given(status)); });
    }
    static const auto real = vboard::RealNamed<decltype(&__fstatat64_time64)>("__fstatat64_time64");
    return real(folder, path, status, flags);
}

VBOARD_EXPORT int __fcntl_time64(int descriptor, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (FileFor(descriptor) != nullptr) {
        return vboard::ControlDescriptor(descriptor, command, argument);
    }
    static const auto real = vboard::RealNamed<decltype(&__fcntl_time64)>("__fcntl_time64");
    return real(descriptor, command, argument);
}
