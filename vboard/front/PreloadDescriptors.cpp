// SPDX-License-Identifier: MIT

// Descriptors and paths: copies, flags, and what is said about a file without opening it.

#include "vboard/front/Preload.h"

// After it: the real headers.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>

#include "vboard/process/FileStatus.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/Wrapping.h"

namespace {

using vboard::Answer;
using vboard::FileFor;
using vboard::FileTurn;
using vboard::HostFor;
using vboard::Real;
using vboard::TheHost;

int Control(int descriptor, int command, void* argument) {
    if (FileFor(descriptor) != nullptr) {
        return vboard::ControlDescriptor(descriptor, command, argument);
    }
    return Real().fcntl(descriptor, command, argument);
}

/// The file that a path and a descriptor name together, for the calls with AT_EMPTY_PATH.
FileTurn FileAt(int folder, const char* path, int flags) {
    return path != nullptr && *path == '\0' && (flags & AT_EMPTY_PATH) != 0 ? FileFor(folder)
                                                                            : FileTurn();
}

template <class Status>
int StatusOf(int folder, const char* path, Status* status, int flags) {
    if (const auto file = FileAt(folder, path, flags)) {
        return Answer<int>([&] { return vboard::StoreStatus(TheHost(), file->path, *status); });
    }
    const auto host = HostFor(path);
    return Answer<int>([&] { return vboard::StoreStatus(*host, path, *status); });
}

}  // namespace

VBOARD_EXPORT int dup(int descriptor) __THROW {
    const int copy = Real().dup(descriptor);
    return FileFor(descriptor) == nullptr ? copy : vboard::Copied(descriptor, copy);
}

VBOARD_EXPORT int dup2(int descriptor, int target) __THROW {
    vboard::MakeRoom(descriptor, target);
    const int copy = Real().dup2(descriptor, target);
    return FileFor(descriptor) == nullptr ? copy : vboard::Copied(descriptor, copy);
}

VBOARD_EXPORT int dup3(int descriptor, int target, int flags) __THROW {
    vboard::MakeRoom(descriptor, target);
    const int copy = Real().dup3(descriptor, target, flags);
    return FileFor(descriptor) == nullptr ? copy : vboard::Copied(descriptor, copy);
}

VBOARD_EXPORT int fcntl(int descriptor, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return Control(descriptor, command, argument);
}

VBOARD_EXPORT int fcntl64(int descriptor, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (FileFor(descriptor) != nullptr) {
        return vboard::ControlDescriptor(descriptor, command, argument);
    }
    return Real().fcntl64(descriptor, command, argument);
}

VBOARD_EXPORT int access(const char* path, int mode) __THROW {
    if (const auto host = HostFor(path)) {
        return Answer<int>([&] { return vboard::Exists(*host, path); });
    }
    return Real().access(path, mode);
}

VBOARD_EXPORT int eaccess(const char* path, int mode) __THROW {
    if (const auto host = HostFor(path)) {
        return Answer<int>([&] { return vboard::Exists(*host, path); });
    }
    return Real().eaccess(path, mode);
}

VBOARD_EXPORT int euidaccess(const char* path, int mode) __THROW {
    if (const auto host = HostFor(path)) {
        return Answer<int>([&] { return vboard::Exists(*host, path); });
    }
    return Real().euidaccess(path, mode);
}

VBOARD_EXPORT int faccessat(int folder, const char* path, int mode, int flags) __THROW {
    if (const auto host = HostFor(path)) {
        return Answer<int>([&] { return vboard::Exists(*host, path); });
    }
    return Real().faccessat(folder, path, mode, flags);
}

VBOARD_EXPORT int stat(const char* path, struct stat* status) __THROW {
    if (HostFor(path) != nullptr) {
        return StatusOf(AT_FDCWD, path, status, 0);
    }
    return Real().stat(path, status);
}

VBOARD_EXPORT int stat64(const char* path, struct stat64* status) __THROW {
    if (HostFor(path) != nullptr) {
        return StatusOf(AT_FDCWD, path, status, 0);
    }
    return Real().stat64(path, status);
}

VBOARD_EXPORT int lstat(const char* path, struct stat* status) __THROW {
    if (HostFor(path) != nullptr) {
        return StatusOf(AT_FDCWD, path, status, 0);
    }
    return Real().lstat(path, status);
}

VBOARD_EXPORT int lstat64(const char* path, struct stat64* status) __THROW {
    if (HostFor(path) != nullptr) {
        return StatusOf(AT_FDCWD, path, status, 0);
    }
    return Real().lstat64(path, status);
}

VBOARD_EXPORT int fstat(int descriptor, struct stat* status) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return StatusOf(descriptor, "", status, AT_EMPTY_PATH);
    }
    return Real().fstat(descriptor, status);
}

VBOARD_EXPORT int fstat64(int descriptor, struct stat64* status) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return StatusOf(descriptor, "", status, AT_EMPTY_PATH);
    }
    return Real().fstat64(descriptor, status);
}

VBOARD_EXPORT int fstatat(int folder, const char* path, struct stat* status, int flags) __THROW {
    if (HostFor(path) != nullptr || FileAt(folder, path, flags) != nullptr) {
        return StatusOf(folder, path, status, flags);
    }
    return Real().fstatat(folder, path, status, flags);
}

VBOARD_EXPORT int fstatat64(int folder, const char* path, struct stat64* status,
                            int flags) __THROW {
    if (HostFor(path) != nullptr || FileAt(folder, path, flags) != nullptr) {
        return StatusOf(folder, path, status, flags);
    }
    return Real().fstatat64(folder, path, status, flags);
}

VBOARD_EXPORT int statx(int folder, const char* path, int flags, unsigned mask,
                        struct statx* status) __THROW {
    if (const auto file = FileAt(folder, path, flags)) {
        return Answer<int>([&] { return vboard::StoreStatx(TheHost(), file->path, *status); });
    }
    if (const auto host = HostFor(path)) {
        return Answer<int>([&] { return vboard::StoreStatx(*host, path, *status); });
    }
    return Real().statx(folder, path, flags, mask, status);
}
