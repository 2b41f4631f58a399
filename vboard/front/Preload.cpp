// SPDX-License-Identifier: MIT

// The seam: libc's functions as the program under test calls them. Each wrapper has three beats and
// no more: is it the board's, ask the board, else the real function.

// The wrappers define what the fortified headers would otherwise define inline, and the 32-bit
// names that large-file macros would rename.
#undef _FORTIFY_SOURCE
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>

#include "vboard/front/RealLibc.h"
#include "vboard/front/Wrapping.h"

#define VBOARD_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

using vboard::Answer;
using vboard::DurationOf;
using vboard::FileFor;
using vboard::HostFor;
using vboard::OpenFile;
using vboard::Real;
using vboard::TheHost;

using std::chrono_literals::operator""ns;
using std::chrono_literals::operator""us;
using std::chrono_literals::operator""s;

/// The third argument of open, which is there only when a file may be created.
mode_t ModeOf(int flags, va_list arguments) {
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(arguments, mode_t)
                                                                      : 0;
}

int Open(const char* path, int flags, mode_t mode) {
    if (vboard::Host* host = HostFor(path)) {
        return vboard::OpenDescriptor(*host, path, flags);
    }
    return Real().open(path, flags, mode);
}

int Ioctl(int descriptor, unsigned long request, void* argument) {
    if (OpenFile* file = FileFor(descriptor)) {
        return Answer<int>([&] { return TheHost().Ioctl(*file, request, argument); });
    }
    return Real().ioctl(descriptor, request, argument);
}

ssize_t Read(int descriptor, void* buffer, std::size_t size) {
    if (OpenFile* file = FileFor(descriptor)) {
        return Answer<ssize_t>([&] {
            return TheHost().Read(*file, std::span(static_cast<std::uint8_t*>(buffer), size));
        });
    }
    return Real().read(descriptor, buffer, size);
}

}  // namespace

VBOARD_EXPORT int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = ModeOf(flags, arguments);
    va_end(arguments);
    return Open(path, flags, mode);
}

VBOARD_EXPORT int open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = ModeOf(flags, arguments);
    va_end(arguments);
    return Open(path, flags | O_LARGEFILE, mode);
}

VBOARD_EXPORT int __open_2(const char* path, int flags) {
    return Open(path, flags, 0);
}

VBOARD_EXPORT int __open64_2(const char* path, int flags) {
    return Open(path, flags | O_LARGEFILE, 0);
}

VBOARD_EXPORT std::FILE* fopen(const char* path, const char* mode) {
    if (vboard::Host* host = HostFor(path)) {
        return vboard::OpenStream(*host, path, mode);
    }
    return Real().fopen(path, mode);
}

VBOARD_EXPORT std::FILE* fopen64(const char* path, const char* mode) {
    if (vboard::Host* host = HostFor(path)) {
        return vboard::OpenStream(*host, path, mode);
    }
    return Real().fopen64(path, mode);
}

VBOARD_EXPORT int close(int descriptor) {
    if (FileFor(descriptor) != nullptr) {
        return vboard::CloseDescriptor(descriptor);
    }
    return Real().close(descriptor);
}

VBOARD_EXPORT ssize_t read(int descriptor, void* buffer, std::size_t size) {
    return Read(descriptor, buffer, size);
}

VBOARD_EXPORT ssize_t __read_chk(int descriptor, void* buffer, std::size_t size,
                                 std::size_t /*room*/) {
    return Read(descriptor, buffer, size);
}

VBOARD_EXPORT ssize_t write(int descriptor, const void* data, std::size_t size) {
    if (OpenFile* file = FileFor(descriptor)) {
        return Answer<ssize_t>([&] {
            return TheHost().Write(vboard::CallKind::kWrite, *file,
                                   std::span(static_cast<const std::uint8_t*>(data), size));
        });
    }
    return Real().write(descriptor, data, size);
}

VBOARD_EXPORT int ioctl(int descriptor, unsigned long request, ...) __THROW {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return Ioctl(descriptor, request, argument);
}

// The name that 32-bit programs built with 64-bit time call.
VBOARD_EXPORT int __ioctl_time64(int descriptor, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return Ioctl(descriptor, request, argument);
}

VBOARD_EXPORT int select(int count, fd_set* reading, fd_set* writing, fd_set* excepting,
                         timeval* timeout) {
    if (vboard::AnyOurs(count, reading, writing)) {
        return vboard::SelectOurs(
            count, reading, writing, excepting,
            timeout == nullptr ? std::nullopt
                               : std::optional(DurationOf(timeout->tv_sec, timeout->tv_usec, 1us)));
    }
    return Real().select(count, reading, writing, excepting, timeout);
}

VBOARD_EXPORT int tcgetattr(int descriptor, termios* attributes) __THROW {
    if (OpenFile* file = FileFor(descriptor)) {
        return Answer<int>([&] { return TheHost().GetAttributes(*file, *attributes); });
    }
    return Real().tcgetattr(descriptor, attributes);
}

VBOARD_EXPORT int tcsetattr(int descriptor, int action, const termios* attributes) __THROW {
    if (OpenFile* file = FileFor(descriptor)) {
        return Answer<int>([&] { return TheHost().SetAttributes(*file, action, *attributes); });
    }
    return Real().tcsetattr(descriptor, action, attributes);
}

VBOARD_EXPORT int tcdrain(int descriptor) {
    if (OpenFile* file = FileFor(descriptor)) {
        return Answer<int>([&] { return TheHost().Drain(*file); });
    }
    return Real().tcdrain(descriptor);
}

VBOARD_EXPORT int tcflush(int descriptor, int queue) __THROW {
    if (OpenFile* file = FileFor(descriptor)) {
        return Answer<int>([&] { return TheHost().Flush(*file, queue); });
    }
    return Real().tcflush(descriptor, queue);
}

VBOARD_EXPORT int tcsendbreak(int descriptor, int duration) __THROW {
    if (OpenFile* file = FileFor(descriptor)) {
        return Answer<int>([&] { return TheHost().SendBreak(*file); });
    }
    return Real().tcsendbreak(descriptor, duration);
}

VBOARD_EXPORT int usleep(useconds_t microseconds) {
    if (vboard::PauseVirtually(microseconds * 1us)) {
        return 0;
    }
    return Real().usleep(microseconds);
}

VBOARD_EXPORT unsigned sleep(unsigned seconds) {
    if (vboard::PauseVirtually(seconds * 1s)) {
        return 0;
    }
    return Real().sleep(seconds);
}

VBOARD_EXPORT int nanosleep(const timespec* length, timespec* remaining) {
    if (vboard::PauseVirtually(DurationOf(length->tv_sec, length->tv_nsec, 1ns))) {
        return 0;
    }
    return Real().nanosleep(length, remaining);
}
