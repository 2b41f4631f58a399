// SPDX-License-Identifier: MIT

// Calls that no file of the board can answer, each refused with what Linux says of such a file, so
// that programs which know another way take it. What is not here reaches the kernel with a
// descriptor that can do nothing, and gets EBADF.

#include "vboard/front/Preload.h"

// After it: the real headers.
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>

#include "vboard/process/RealLibc.h"
#include "vboard/process/Wrapping.h"

using vboard::FileFor;
using vboard::Real;
using vboard::Refused;

VBOARD_EXPORT ssize_t splice(int source, off64_t* from, int target, off64_t* to, std::size_t count,
                             unsigned flags) {
    if (FileFor(source) != nullptr || FileFor(target) != nullptr) {
        return Refused(EINVAL);
    }
    return Real().splice(source, from, target, to, count, flags);
}

VBOARD_EXPORT ssize_t copy_file_range(int source, off64_t* from, int target, off64_t* to,
                                      std::size_t count, unsigned flags) {
    if (FileFor(source) != nullptr || FileFor(target) != nullptr) {
        return Refused(EINVAL);
    }
    return Real().copy_file_range(source, from, target, to, count, flags);
}

VBOARD_EXPORT int fsync(int descriptor) {
    if (FileFor(descriptor) != nullptr) {
        return Refused(EINVAL);
    }
    return Real().fsync(descriptor);
}

VBOARD_EXPORT int fdatasync(int descriptor) {
    if (FileFor(descriptor) != nullptr) {
        return Refused(EINVAL);
    }
    return Real().fdatasync(descriptor);
}

VBOARD_EXPORT int ftruncate(int descriptor, off_t length) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return Refused(EINVAL);
    }
    return Real().ftruncate(descriptor, length);
}

VBOARD_EXPORT int ftruncate64(int descriptor, off64_t length) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return Refused(EINVAL);
    }
    return Real().ftruncate64(descriptor, length);
}

// Servers' way to wait for files. One that would be told nothing hangs, so it is told why.
VBOARD_EXPORT int epoll_ctl(int set, int operation, int descriptor, epoll_event* event) __THROW {
    if (const auto file = FileFor(descriptor)) {
        static bool said = false;
        vboard::NameRefused(said, "epoll_ctl", file->path,
                            "EPERM: wait for the board's files with poll or select");
        return Refused(EPERM);
    }
    static const auto real = vboard::RealNamed<decltype(&epoll_ctl)>("epoll_ctl");
    return real(set, operation, descriptor, event);
}

// Advice that nothing comes of is followed by doing nothing.

VBOARD_EXPORT int posix_fadvise(int descriptor, off_t begin, off_t length, int advice) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return 0;
    }
    return Real().posix_fadvise(descriptor, begin, length, advice);
}

VBOARD_EXPORT int posix_fadvise64(int descriptor, off64_t begin, off64_t length,
                                  int advice) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return 0;
    }
    return Real().posix_fadvise64(descriptor, begin, length, advice);
}
