// SPDX-License-Identifier: MIT

// Opening, closing, reading and writing.

#include "vboard/front/Preload.h"

// After it: the real headers.
#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>

#include "vboard/process/DescriptorCalls.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/Transfers.h"
#include "vboard/process/Wrapping.h"

namespace {

using vboard::Answer;
using vboard::FileFor;
using vboard::HostFor;
using vboard::LastLink;
using vboard::Place;
using vboard::Real;
using vboard::TheHost;

constexpr int kNowhere = AT_FDCWD;

/// With O_NOFOLLOW, and where it must not exist, a symbolic link is not gone after.
LastLink LastOf(int flags) {
    const bool creates = (flags & (O_CREAT | O_EXCL)) == (O_CREAT | O_EXCL);
    return creates || (flags & O_NOFOLLOW) != 0 ? LastLink::kTaken : LastLink::kFollowed;
}

/// The third argument of open, which is there only when a file may be created.
mode_t ModeOf(int flags, va_list arguments) {
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(arguments, mode_t)
                                                                      : 0;
}

int Open(int folder, const char* path, int flags, mode_t mode) {
    if (const Place place = HostFor(path, LastOf(flags), folder)) {
        return vboard::OpenDescriptor(place, flags);
    }
    return Real().openat(folder, path, flags, mode);
}

ssize_t Read(int descriptor, void* buffer, std::size_t size) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<ssize_t>([&] { return vboard::ReadInto(*file, buffer, size); });
    }
    return Real().read(descriptor, buffer, size);
}

}  // namespace

VBOARD_EXPORT int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = ModeOf(flags, arguments);
    va_end(arguments);
    return Open(kNowhere, path, flags, mode);
}

VBOARD_EXPORT int open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = ModeOf(flags, arguments);
    va_end(arguments);
    return Open(kNowhere, path, flags | O_LARGEFILE, mode);
}

VBOARD_EXPORT int openat(int folder, const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = ModeOf(flags, arguments);
    va_end(arguments);
    return Open(folder, path, flags, mode);
}

VBOARD_EXPORT int openat64(int folder, const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = ModeOf(flags, arguments);
    va_end(arguments);
    return Open(folder, path, flags | O_LARGEFILE, mode);
}

VBOARD_EXPORT int __open_2(const char* path, int flags) {
    return Open(kNowhere, path, flags, 0);
}

VBOARD_EXPORT int __open64_2(const char* path, int flags) {
    return Open(kNowhere, path, flags | O_LARGEFILE, 0);
}

VBOARD_EXPORT int __openat_2(int folder, const char* path, int flags) {
    return Open(folder, path, flags, 0);
}

VBOARD_EXPORT int __openat64_2(int folder, const char* path, int flags) {
    return Open(folder, path, flags | O_LARGEFILE, 0);
}

VBOARD_EXPORT int creat(const char* path, mode_t mode) {
    return Open(kNowhere, path, O_CREAT | O_WRONLY | O_TRUNC, mode);
}

VBOARD_EXPORT int creat64(const char* path, mode_t mode) {
    return Open(kNowhere, path, O_CREAT | O_WRONLY | O_TRUNC | O_LARGEFILE, mode);
}

VBOARD_EXPORT int close(int descriptor) {
    if (FileFor(descriptor) != nullptr) {
        return vboard::CloseDescriptor(descriptor);
    }
    if (vboard::IsReserved(descriptor)) {
        return Answer<int>([] { return -EBADF; });
    }
    return Real().close(descriptor);
}

VBOARD_EXPORT int close_range(unsigned first, unsigned last, int flags) __THROW {
    return vboard::CloseRange(first, last, flags);
}

VBOARD_EXPORT void closefrom(int first) __THROW {
    static_cast<void>(vboard::CloseRange(static_cast<unsigned>(first), UINT_MAX, 0));
}

VBOARD_EXPORT ssize_t read(int descriptor, void* buffer, std::size_t size) {
    return Read(descriptor, buffer, size);
}

VBOARD_EXPORT ssize_t __read_chk(int descriptor, void* buffer, std::size_t size,
                                 std::size_t /*room*/) {
    return Read(descriptor, buffer, size);
}

VBOARD_EXPORT ssize_t write(int descriptor, const void* data, std::size_t size) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<ssize_t>([&] { return vboard::WriteFrom(*file, data, size); });
    }
    return Real().write(descriptor, data, size);
}

VBOARD_EXPORT off_t lseek(int descriptor, off_t offset, int whence) __THROW {
    if (const auto file = FileFor(descriptor)) {
        return Answer<off_t>([&] { return TheHost().Seek(*file, offset, whence); });
    }
    return Real().lseek(descriptor, offset, whence);
}

VBOARD_EXPORT off64_t lseek64(int descriptor, off64_t offset, int whence) __THROW {
    if (const auto file = FileFor(descriptor)) {
        return Answer<off64_t>([&] { return TheHost().Seek(*file, offset, whence); });
    }
    return Real().lseek64(descriptor, offset, whence);
}
