// SPDX-License-Identifier: MIT

// What files have besides their contents: owners, modes, dates, attributes, the file system that
// they are on, and who watches them. The board's have none to show and none to change.

#include "vboard/front/Preload.h"

// After it: the real headers.
#include <fcntl.h>
#include <sys/fanotify.h>
#include <sys/inotify.h>
#include <sys/ipc.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/time.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <utime.h>

#include <cerrno>

#include "vboard/process/RealLibc.h"
#include "vboard/process/Wrapping.h"

using vboard::FileFor;
using vboard::HostFor;
using vboard::LastLink;
using vboard::Real;
using vboard::Refused;

VBOARD_EXPORT int chmod(const char* path, mode_t mode) __THROW {
    if (HostFor(path)) {
        return Refused(EPERM);
    }
    return Real().chmod(path, mode);
}

VBOARD_EXPORT int lchmod(const char* path, mode_t mode) __THROW {
    if (HostFor(path, LastLink::kTaken)) {
        return Refused(EPERM);
    }
    return Real().lchmod(path, mode);
}

VBOARD_EXPORT int fchmod(int descriptor, mode_t mode) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return Refused(EPERM);
    }
    return Real().fchmod(descriptor, mode);
}

VBOARD_EXPORT int fchmodat(int folder, const char* path, mode_t mode, int flags) __THROW {
    if (HostFor(path, LastLink::kFollowed, folder)) {
        return Refused(EPERM);
    }
    return Real().fchmodat(folder, path, mode, flags);
}

VBOARD_EXPORT int chown(const char* path, uid_t owner, gid_t group) __THROW {
    if (HostFor(path)) {
        return Refused(EPERM);
    }
    return Real().chown(path, owner, group);
}

VBOARD_EXPORT int lchown(const char* path, uid_t owner, gid_t group) __THROW {
    if (HostFor(path, LastLink::kTaken)) {
        return Refused(EPERM);
    }
    return Real().lchown(path, owner, group);
}

VBOARD_EXPORT int fchown(int descriptor, uid_t owner, gid_t group) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return Refused(EPERM);
    }
    return Real().fchown(descriptor, owner, group);
}

VBOARD_EXPORT int fchownat(int folder, const char* path, uid_t owner, gid_t group,
                           int flags) __THROW {
    if (FileFor(folder) != nullptr || HostFor(path, LastLink::kFollowed, folder)) {
        return Refused(EPERM);
    }
    return Real().fchownat(folder, path, owner, group, flags);
}

VBOARD_EXPORT int utime(const char* path, const utimbuf* times) __THROW {
    if (HostFor(path)) {
        return Refused(EPERM);
    }
    return Real().utime(path, times);
}

VBOARD_EXPORT int utimes(const char* path, const timeval times[2]) __THROW {
    if (HostFor(path)) {
        return Refused(EPERM);
    }
    return Real().utimes(path, times);
}

VBOARD_EXPORT int lutimes(const char* path, const timeval times[2]) __THROW {
    if (HostFor(path, LastLink::kTaken)) {
        return Refused(EPERM);
    }
    return Real().lutimes(path, times);
}

VBOARD_EXPORT int futimes(int descriptor, const timeval times[2]) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return Refused(EPERM);
    }
    return Real().futimes(descriptor, times);
}

VBOARD_EXPORT int futimesat(int folder, const char* path, const timeval times[2]) __THROW {
    if (FileFor(folder) != nullptr || HostFor(path, LastLink::kFollowed, folder)) {
        return Refused(EPERM);
    }
    return Real().futimesat(folder, path, times);
}

VBOARD_EXPORT int utimensat(int folder, const char* path, const timespec times[2],
                            int flags) __THROW {
    if (FileFor(folder) != nullptr || HostFor(path, LastLink::kFollowed, folder)) {
        return Refused(EPERM);
    }
    return Real().utimensat(folder, path, times, flags);
}

VBOARD_EXPORT int futimens(int descriptor, const timespec times[2]) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return Refused(EPERM);
    }
    return Real().futimens(descriptor, times);
}

VBOARD_EXPORT int statfs(const char* path, struct statfs* status) __THROW {
    if (HostFor(path)) {
        return Refused(ENOSYS);
    }
    return Real().statfs(path, status);
}

VBOARD_EXPORT int statfs64(const char* path, struct statfs64* status) __THROW {
    if (HostFor(path)) {
        return Refused(ENOSYS);
    }
    return Real().statfs64(path, status);
}

VBOARD_EXPORT int fstatfs(int descriptor, struct statfs* status) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return Refused(ENOSYS);
    }
    return Real().fstatfs(descriptor, status);
}

VBOARD_EXPORT int fstatfs64(int descriptor, struct statfs64* status) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return Refused(ENOSYS);
    }
    return Real().fstatfs64(descriptor, status);
}

VBOARD_EXPORT int statvfs(const char* path, struct statvfs* status) __THROW {
    if (HostFor(path)) {
        return Refused(ENOSYS);
    }
    return Real().statvfs(path, status);
}

VBOARD_EXPORT int statvfs64(const char* path, struct statvfs64* status) __THROW {
    if (HostFor(path)) {
        return Refused(ENOSYS);
    }
    return Real().statvfs64(path, status);
}

VBOARD_EXPORT int fstatvfs(int descriptor, struct statvfs* status) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return Refused(ENOSYS);
    }
    return Real().fstatvfs(descriptor, status);
}

VBOARD_EXPORT int fstatvfs64(int descriptor, struct statvfs64* status) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return Refused(ENOSYS);
    }
    return Real().fstatvfs64(descriptor, status);
}

VBOARD_EXPORT long pathconf(const char* path, int name) __THROW {
    if (HostFor(path)) {
        return Refused(EINVAL);
    }
    return Real().pathconf(path, name);
}

VBOARD_EXPORT long fpathconf(int descriptor, int name) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return Refused(EINVAL);
    }
    return Real().fpathconf(descriptor, name);
}

VBOARD_EXPORT ssize_t getxattr(const char* path, const char* name, void* value,
                               std::size_t size) __THROW {
    if (HostFor(path)) {
        return Refused(EOPNOTSUPP);
    }
    return Real().getxattr(path, name, value, size);
}

VBOARD_EXPORT ssize_t lgetxattr(const char* path, const char* name, void* value,
                                std::size_t size) __THROW {
    if (HostFor(path, LastLink::kTaken)) {
        return Refused(EOPNOTSUPP);
    }
    return Real().lgetxattr(path, name, value, size);
}

VBOARD_EXPORT ssize_t fgetxattr(int descriptor, const char* name, void* value,
                                std::size_t size) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return Refused(EOPNOTSUPP);
    }
    return Real().fgetxattr(descriptor, name, value, size);
}

VBOARD_EXPORT ssize_t listxattr(const char* path, char* names, std::size_t size) __THROW {
    if (HostFor(path)) {
        return Refused(EOPNOTSUPP);
    }
    return Real().listxattr(path, names, size);
}

VBOARD_EXPORT ssize_t llistxattr(const char* path, char* names, std::size_t size) __THROW {
    if (HostFor(path, LastLink::kTaken)) {
        return Refused(EOPNOTSUPP);
    }
    return Real().llistxattr(path, names, size);
}

VBOARD_EXPORT ssize_t flistxattr(int descriptor, char* names, std::size_t size) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return Refused(EOPNOTSUPP);
    }
    return Real().flistxattr(descriptor, names, size);
}

VBOARD_EXPORT int setxattr(const char* path, const char* name, const void* value, std::size_t size,
                           int flags) __THROW {
    if (HostFor(path)) {
        return Refused(EOPNOTSUPP);
    }
    return Real().setxattr(path, name, value, size, flags);
}

VBOARD_EXPORT int lsetxattr(const char* path, const char* name, const void* value, std::size_t size,
                            int flags) __THROW {
    if (HostFor(path, LastLink::kTaken)) {
        return Refused(EOPNOTSUPP);
    }
    return Real().lsetxattr(path, name, value, size, flags);
}

VBOARD_EXPORT int fsetxattr(int descriptor, const char* name, const void* value, std::size_t size,
                            int flags) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return Refused(EOPNOTSUPP);
    }
    return Real().fsetxattr(descriptor, name, value, size, flags);
}

VBOARD_EXPORT int removexattr(const char* path, const char* name) __THROW {
    if (HostFor(path)) {
        return Refused(EOPNOTSUPP);
    }
    return Real().removexattr(path, name);
}

VBOARD_EXPORT int lremovexattr(const char* path, const char* name) __THROW {
    if (HostFor(path, LastLink::kTaken)) {
        return Refused(EOPNOTSUPP);
    }
    return Real().lremovexattr(path, name);
}

VBOARD_EXPORT int fremovexattr(int descriptor, const char* name) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return Refused(EOPNOTSUPP);
    }
    return Real().fremovexattr(descriptor, name);
}

VBOARD_EXPORT int inotify_add_watch(int watcher, const char* path, std::uint32_t mask) __THROW {
    if (HostFor(path)) {
        return Refused(EOPNOTSUPP);
    }
    return Real().inotify_add_watch(watcher, path, mask);
}

VBOARD_EXPORT int fanotify_mark(int watcher, unsigned flags, std::uint64_t mask, int folder,
                                const char* path) __THROW {
    if (HostFor(path, LastLink::kFollowed, folder)) {
        return Refused(EOPNOTSUPP);
    }
    return Real().fanotify_mark(watcher, flags, mask, folder, path);
}

VBOARD_EXPORT int name_to_handle_at(int folder, const char* path, file_handle* handle, int* mount,
                                    int flags) __THROW {
    if (FileFor(folder) != nullptr || HostFor(path, LastLink::kFollowed, folder)) {
        return Refused(EOPNOTSUPP);
    }
    return Real().name_to_handle_at(folder, path, handle, mount, flags);
}

VBOARD_EXPORT key_t ftok(const char* path, int project) __THROW {
    if (HostFor(path)) {
        return Refused(EOPNOTSUPP);
    }
    return Real().ftok(path, project);
}
