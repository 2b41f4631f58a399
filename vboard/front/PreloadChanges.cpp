// SPDX-License-Identifier: MIT

// Calls that would make, move, remove or replace a file: the board has those that it has. Refused
// as the kernel refuses them in sysfs.

#include "vboard/front/Preload.h"

// After it: the real headers.
#include <stdio.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/swap.h>
#include <unistd.h>

#include <cerrno>

#include "vboard/process/RealLibc.h"
#include "vboard/process/Wrapping.h"

using vboard::HostFor;
using vboard::LastLink;
using vboard::Real;
using vboard::Refused;

VBOARD_EXPORT int unlink(const char* path) __THROW {
    if (HostFor(path, LastLink::kTaken)) {
        return Refused(EPERM);
    }
    return Real().unlink(path);
}

VBOARD_EXPORT int unlinkat(int folder, const char* path, int flags) __THROW {
    if (HostFor(path, LastLink::kTaken, folder)) {
        return Refused(EPERM);
    }
    return Real().unlinkat(folder, path, flags);
}

VBOARD_EXPORT int remove(const char* path) __THROW {
    if (HostFor(path, LastLink::kTaken)) {
        return Refused(EPERM);
    }
    return Real().remove(path);
}

VBOARD_EXPORT int rmdir(const char* path) __THROW {
    if (HostFor(path, LastLink::kTaken)) {
        return Refused(EPERM);
    }
    return Real().rmdir(path);
}

VBOARD_EXPORT int rename(const char* path, const char* target) __THROW {
    if (HostFor(path, LastLink::kTaken) || HostFor(target, LastLink::kTaken)) {
        return Refused(EPERM);
    }
    return Real().rename(path, target);
}

VBOARD_EXPORT int renameat(int folder, const char* path, int other, const char* target) __THROW {
    if (HostFor(path, LastLink::kTaken, folder) || HostFor(target, LastLink::kTaken, other)) {
        return Refused(EPERM);
    }
    return Real().renameat(folder, path, other, target);
}

VBOARD_EXPORT int renameat2(int folder, const char* path, int other, const char* target,
                            unsigned flags) __THROW {
    if (HostFor(path, LastLink::kTaken, folder) || HostFor(target, LastLink::kTaken, other)) {
        return Refused(EPERM);
    }
    return Real().renameat2(folder, path, other, target, flags);
}

VBOARD_EXPORT int link(const char* path, const char* target) __THROW {
    if (HostFor(path, LastLink::kTaken) || HostFor(target, LastLink::kTaken)) {
        return Refused(EPERM);
    }
    return Real().link(path, target);
}

VBOARD_EXPORT int linkat(int folder, const char* path, int other, const char* target,
                         int flags) __THROW {
    if (HostFor(path, LastLink::kTaken, folder) || HostFor(target, LastLink::kTaken, other)) {
        return Refused(EPERM);
    }
    return Real().linkat(folder, path, other, target, flags);
}

VBOARD_EXPORT int symlink(const char* text, const char* path) __THROW {
    if (HostFor(path, LastLink::kTaken)) {
        return Refused(EPERM);
    }
    return Real().symlink(text, path);
}

VBOARD_EXPORT int symlinkat(const char* text, int folder, const char* path) __THROW {
    if (HostFor(path, LastLink::kTaken, folder)) {
        return Refused(EPERM);
    }
    return Real().symlinkat(text, folder, path);
}

VBOARD_EXPORT int mkdir(const char* path, mode_t mode) __THROW {
    if (HostFor(path, LastLink::kTaken)) {
        return Refused(EPERM);
    }
    return Real().mkdir(path, mode);
}

VBOARD_EXPORT int mkdirat(int folder, const char* path, mode_t mode) __THROW {
    if (HostFor(path, LastLink::kTaken, folder)) {
        return Refused(EPERM);
    }
    return Real().mkdirat(folder, path, mode);
}

VBOARD_EXPORT int mknod(const char* path, mode_t mode, dev_t device) __THROW {
    if (HostFor(path, LastLink::kTaken)) {
        return Refused(EPERM);
    }
    return Real().mknod(path, mode, device);
}

VBOARD_EXPORT int mknodat(int folder, const char* path, mode_t mode, dev_t device) __THROW {
    if (HostFor(path, LastLink::kTaken, folder)) {
        return Refused(EPERM);
    }
    return Real().mknodat(folder, path, mode, device);
}

VBOARD_EXPORT int mkfifo(const char* path, mode_t mode) __THROW {
    if (HostFor(path, LastLink::kTaken)) {
        return Refused(EPERM);
    }
    return Real().mkfifo(path, mode);
}

VBOARD_EXPORT int mkfifoat(int folder, const char* path, mode_t mode) __THROW {
    if (HostFor(path, LastLink::kTaken, folder)) {
        return Refused(EPERM);
    }
    return Real().mkfifoat(folder, path, mode);
}

VBOARD_EXPORT int truncate(const char* path, off_t length) __THROW {
    if (HostFor(path)) {
        return Refused(EINVAL);
    }
    return Real().truncate(path, length);
}

VBOARD_EXPORT int truncate64(const char* path, off64_t length) __THROW {
    if (HostFor(path)) {
        return Refused(EINVAL);
    }
    return Real().truncate64(path, length);
}

VBOARD_EXPORT int chroot(const char* path) __THROW {
    if (HostFor(path)) {
        return Refused(EPERM);
    }
    return Real().chroot(path);
}

VBOARD_EXPORT int acct(const char* path) __THROW {
    if (HostFor(path)) {
        return Refused(EACCES);
    }
    return Real().acct(path);
}

VBOARD_EXPORT int swapon(const char* path, int flags) __THROW {
    if (HostFor(path)) {
        return Refused(EINVAL);
    }
    return Real().swapon(path, flags);
}

VBOARD_EXPORT int swapoff(const char* path) __THROW {
    if (HostFor(path)) {
        return Refused(EINVAL);
    }
    return Real().swapoff(path);
}

VBOARD_EXPORT int mount(const char* source, const char* path, const char* type, unsigned long flags,
                        const void* data) __THROW {
    if (HostFor(source) || HostFor(path)) {
        return Refused(EPERM);
    }
    return Real().mount(source, path, type, flags, data);
}

VBOARD_EXPORT int umount(const char* path) __THROW {
    if (HostFor(path)) {
        return Refused(EPERM);
    }
    return Real().umount(path);
}

VBOARD_EXPORT int umount2(const char* path, int flags) __THROW {
    if (HostFor(path)) {
        return Refused(EPERM);
    }
    return Real().umount2(path, flags);
}
