// SPDX-License-Identifier: MIT

// What is said about a file without opening it.

#include "vboard/front/Preload.h"

// After it: the real headers.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "vboard/process/FileStatus.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/Wrapping.h"

namespace {

using vboard::Answer;
using vboard::FileFor;
using vboard::FileTurn;
using vboard::HostFor;
using vboard::LastLink;
using vboard::OpenFile;
using vboard::Place;
using vboard::Real;
using vboard::TheHost;

LastLink LinkOf(int flags) {
    return (flags & AT_SYMLINK_NOFOLLOW) != 0 ? LastLink::kTaken : LastLink::kFollowed;
}

/// The file that a path and a descriptor name together, for the calls with AT_EMPTY_PATH.
FileTurn FileAt(int folder, const char* path, int flags) {
    const char* given = Given(path);
    return (given == nullptr || *given == '\0') && (flags & AT_EMPTY_PATH) != 0 ? FileFor(folder)
                                                                                : FileTurn();
}

template <class Status>
int StatusOf(const Place& place, Status* status) {
    return Answer<int>(
        [&] { return vboard::StoreStatus(place.TheHost(), place.Path(), Given(status)); });
}

template <class Status>
int StatusOf(const OpenFile& file, Status* status) {
    return Answer<int>([&] { return vboard::StoreStatus(TheHost(), file.path, Given(status)); });
}

}  // namespace

VBOARD_EXPORT int access(const char* path, int mode) __THROW {
    if (const Place place = HostFor(path)) {
        return Answer<int>([&] { return vboard::Exists(place); });
    }
    return Real().access(path, mode);
}

VBOARD_EXPORT int eaccess(const char* path, int mode) __THROW {
    if (const Place place = HostFor(path)) {
        return Answer<int>([&] { return vboard::Exists(place); });
    }
    return Real().eaccess(path, mode);
}

VBOARD_EXPORT int euidaccess(const char* path, int mode) __THROW {
    if (const Place place = HostFor(path)) {
        return Answer<int>([&] { return vboard::Exists(place); });
    }
    return Real().euidaccess(path, mode);
}

VBOARD_EXPORT int faccessat(int folder, const char* path, int mode, int flags) __THROW {
    if (const Place place = HostFor(path, LinkOf(flags), folder)) {
        return Answer<int>([&] { return vboard::Exists(place); });
    }
    return Real().faccessat(folder, path, mode, flags);
}

VBOARD_EXPORT int stat(const char* path, struct stat* status) __THROW {
    if (const Place place = HostFor(path, LastLink::kFollowed)) {
        return StatusOf(place, status);
    }
    return Real().stat(path, status);
}

VBOARD_EXPORT int stat64(const char* path, struct stat64* status) __THROW {
    if (const Place place = HostFor(path, LastLink::kFollowed)) {
        return StatusOf(place, status);
    }
    return Real().stat64(path, status);
}

VBOARD_EXPORT int lstat(const char* path, struct stat* status) __THROW {
    if (const Place place = HostFor(path, LastLink::kTaken)) {
        return StatusOf(place, status);
    }
    return Real().lstat(path, status);
}

VBOARD_EXPORT int lstat64(const char* path, struct stat64* status) __THROW {
    if (const Place place = HostFor(path, LastLink::kTaken)) {
        return StatusOf(place, status);
    }
    return Real().lstat64(path, status);
}

VBOARD_EXPORT int fstat(int descriptor, struct stat* status) __THROW {
    if (const auto file = FileFor(descriptor)) {
        return StatusOf(*file, status);
    }
    return Real().fstat(descriptor, status);
}

VBOARD_EXPORT int fstat64(int descriptor, struct stat64* status) __THROW {
    if (const auto file = FileFor(descriptor)) {
        return StatusOf(*file, status);
    }
    return Real().fstat64(descriptor, status);
}

VBOARD_EXPORT int fstatat(int folder, const char* path, struct stat* status, int flags) __THROW {
    if (const auto file = FileAt(folder, path, flags)) {
        return StatusOf(*file, status);
    }
    if (const Place place = HostFor(path, LinkOf(flags), folder)) {
        return StatusOf(place, status);
    }
    return Real().fstatat(folder, path, status, flags);
}

VBOARD_EXPORT int fstatat64(int folder, const char* path, struct stat64* status,
                            int flags) __THROW {
    if (const auto file = FileAt(folder, path, flags)) {
        return StatusOf(*file, status);
    }
    if (const Place place = HostFor(path, LinkOf(flags), folder)) {
        return StatusOf(place, status);
    }
    return Real().fstatat64(folder, path, status, flags);
}

VBOARD_EXPORT int statx(int folder, const char* path, int flags, unsigned mask,
                        struct statx* status) __THROW {
    if (const auto file = FileAt(folder, path, flags)) {
        return Answer<int>(
            [&] { return vboard::StoreStatx(TheHost(), file->path, Given(status)); });
    }
    if (const Place place = HostFor(path, LinkOf(flags), folder)) {
        return Answer<int>(
            [&] { return vboard::StoreStatx(place.TheHost(), place.Path(), Given(status)); });
    }
    return Real().statx(folder, path, flags, mask, status);
}

// The names of programs that were built for a C library before 2.33. The first word says which
// shape the structure has; there is one for each name.

VBOARD_EXPORT int __xstat(int shape, const char* path, struct stat* status) {
    if (const Place place = HostFor(path, LastLink::kFollowed)) {
        return StatusOf(place, status);
    }
    static const auto real = vboard::RealNamed<decltype(&__xstat)>("__xstat");
    return real(shape, path, status);
}

VBOARD_EXPORT int __xstat64(int shape, const char* path, struct stat64* status) {
    if (const Place place = HostFor(path, LastLink::kFollowed)) {
        return StatusOf(place, status);
    }
    static const auto real = vboard::RealNamed<decltype(&__xstat64)>("__xstat64");
    return real(shape, path, status);
}

VBOARD_EXPORT int __lxstat(int shape, const char* path, struct stat* status) {
    if (const Place place = HostFor(path, LastLink::kTaken)) {
        return StatusOf(place, status);
    }
    static const auto real = vboard::RealNamed<decltype(&__lxstat)>("__lxstat");
    return real(shape, path, status);
}

VBOARD_EXPORT int __lxstat64(int shape, const char* path, struct stat64* status) {
    if (const Place place = HostFor(path, LastLink::kTaken)) {
        return StatusOf(place, status);
    }
    static const auto real = vboard::RealNamed<decltype(&__lxstat64)>("__lxstat64");
    return real(shape, path, status);
}

VBOARD_EXPORT int __fxstat(int shape, int descriptor, struct stat* status) {
    if (const auto file = FileFor(descriptor)) {
        return StatusOf(*file, status);
    }
    static const auto real = vboard::RealNamed<decltype(&__fxstat)>("__fxstat");
    return real(shape, descriptor, status);
}

VBOARD_EXPORT int __fxstat64(int shape, int descriptor, struct stat64* status) {
    if (const auto file = FileFor(descriptor)) {
        return StatusOf(*file, status);
    }
    static const auto real = vboard::RealNamed<decltype(&__fxstat64)>("__fxstat64");
    return real(shape, descriptor, status);
}

VBOARD_EXPORT int __fxstatat(int shape, int folder, const char* path, struct stat* status,
                             int flags) {
    if (const auto file = FileAt(folder, path, flags)) {
        return StatusOf(*file, status);
    }
    if (const Place place = HostFor(path, LinkOf(flags), folder)) {
        return StatusOf(place, status);
    }
    static const auto real = vboard::RealNamed<decltype(&__fxstatat)>("__fxstatat");
    return real(shape, folder, path, status, flags);
}

VBOARD_EXPORT int __fxstatat64(int shape, int folder, const char* path, struct stat64* status,
                               int flags) {
    if (const auto file = FileAt(folder, path, flags)) {
        return StatusOf(*file, status);
    }
    if (const Place place = HostFor(path, LinkOf(flags), folder)) {
        return StatusOf(place, status);
    }
    static const auto real = vboard::RealNamed<decltype(&__fxstatat64)>("__fxstatat64");
    return real(shape, folder, path, status, flags);
}
