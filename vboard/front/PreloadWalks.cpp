// SPDX-License-Identifier: MIT

// Calls in which libc itself opens what it is told of, past every wrapper: walks through folders,
// and what a child is to open before it becomes a program. For the board's files they are refused.

#include "vboard/front/Preload.h"

// After it: the real headers.
#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <glob.h>
#include <mntent.h>
#include <spawn.h>
#include <sys/mount.h>

#include <cerrno>
#include <string>

#include "vboard/process/RealLibc.h"
#include "vboard/process/Wrapping.h"

namespace {

using vboard::HostFor;
using vboard::Refused;

/// True where the folder in which a pattern begins is the board's.
bool LeadsToTheBoard(const char* pattern) {
    std::string folder(pattern == nullptr ? "" : pattern);
    folder.erase(std::min(folder.find_first_of("*?["), folder.size()));
    folder.erase(std::min(folder.rfind('/'), folder.size()));
    return !folder.empty() && static_cast<bool>(HostFor(folder.c_str()));
}

using NameOrder = int (*)(const dirent**, const dirent**);
using WideNameOrder = int (*)(const dirent64**, const dirent64**);

}  // namespace

VBOARD_EXPORT int glob(const char* pattern, int flags, int (*failed)(const char*, int),
                       glob_t* found) __THROW {
    if (LeadsToTheBoard(pattern)) {
        errno = EOPNOTSUPP;
        return GLOB_ABORTED;
    }
    static const auto real = vboard::RealNamed<decltype(&glob)>("glob");
    return real(pattern, flags, failed, found);
}

VBOARD_EXPORT int glob64(const char* pattern, int flags, int (*failed)(const char*, int),
                         glob64_t* found) __THROW {
    if (LeadsToTheBoard(pattern)) {
        errno = EOPNOTSUPP;
        return GLOB_ABORTED;
    }
    static const auto real = vboard::RealNamed<decltype(&glob64)>("glob64");
    return real(pattern, flags, failed, found);
}

VBOARD_EXPORT int ftw(const char* path, __ftw_func_t visit, int descriptors) {
    if (HostFor(path)) {
        return Refused(EOPNOTSUPP);
    }
    static const auto real = vboard::RealNamed<decltype(&ftw)>("ftw");
    return real(path, visit, descriptors);
}

VBOARD_EXPORT int ftw64(const char* path, __ftw64_func_t visit, int descriptors) {
    if (HostFor(path)) {
        return Refused(EOPNOTSUPP);
    }
    static const auto real = vboard::RealNamed<decltype(&ftw64)>("ftw64");
    return real(path, visit, descriptors);
}

VBOARD_EXPORT int nftw(const char* path, __nftw_func_t visit, int descriptors, int flags) {
    if (HostFor(path)) {
        return Refused(EOPNOTSUPP);
    }
    static const auto real = vboard::RealNamed<decltype(&nftw)>("nftw");
    return real(path, visit, descriptors, flags);
}

VBOARD_EXPORT int nftw64(const char* path, __nftw64_func_t visit, int descriptors, int flags) {
    if (HostFor(path)) {
        return Refused(EOPNOTSUPP);
    }
    static const auto real = vboard::RealNamed<decltype(&nftw64)>("nftw64");
    return real(path, visit, descriptors, flags);
}

VBOARD_EXPORT int scandir(const char* path, dirent*** entries, int (*wanted)(const dirent*),
                          NameOrder order) {
    if (HostFor(path)) {
        return Refused(EOPNOTSUPP);
    }
    static const auto real = vboard::RealNamed<decltype(&scandir)>("scandir");
    return real(path, entries, wanted, order);
}

VBOARD_EXPORT int scandir64(const char* path, dirent64*** entries, int (*wanted)(const dirent64*),
                            WideNameOrder order) {
    if (HostFor(path)) {
        return Refused(EOPNOTSUPP);
    }
    static const auto real = vboard::RealNamed<decltype(&scandir64)>("scandir64");
    return real(path, entries, wanted, order);
}

VBOARD_EXPORT int scandirat(int folder, const char* path, dirent*** entries,
                            int (*wanted)(const dirent*), NameOrder order) {
    if (HostFor(path, vboard::LastLink::kFollowed, folder)) {
        return Refused(EOPNOTSUPP);
    }
    static const auto real = vboard::RealNamed<decltype(&scandirat)>("scandirat");
    return real(folder, path, entries, wanted, order);
}

VBOARD_EXPORT int scandirat64(int folder, const char* path, dirent64*** entries,
                              int (*wanted)(const dirent64*), WideNameOrder order) {
    if (HostFor(path, vboard::LastLink::kFollowed, folder)) {
        return Refused(EOPNOTSUPP);
    }
    static const auto real = vboard::RealNamed<decltype(&scandirat64)>("scandirat64");
    return real(folder, path, entries, wanted, order);
}

VBOARD_EXPORT std::FILE* setmntent(const char* path, const char* mode) __THROW {
    if (HostFor(path)) {
        errno = EOPNOTSUPP;
        return nullptr;
    }
    static const auto real = vboard::RealNamed<decltype(&setmntent)>("setmntent");
    return real(path, mode);
}

VBOARD_EXPORT int open_tree(int folder, const char* path, unsigned flags) __THROW {
    if (HostFor(path, vboard::LastLink::kFollowed, folder)) {
        return Refused(EPERM);
    }
    static const auto real = vboard::RealNamed<decltype(&open_tree)>("open_tree");
    return real(folder, path, flags);
}

VBOARD_EXPORT int fspick(int folder, const char* path, unsigned flags) __THROW {
    if (HostFor(path, vboard::LastLink::kFollowed, folder)) {
        return Refused(EPERM);
    }
    static const auto real = vboard::RealNamed<decltype(&fspick)>("fspick");
    return real(folder, path, flags);
}

VBOARD_EXPORT int mount_setattr(int folder, const char* path, unsigned flags,
                                mount_attr* attributes, std::size_t size) __THROW {
    if (HostFor(path, vboard::LastLink::kFollowed, folder)) {
        return Refused(EPERM);
    }
    static const auto real = vboard::RealNamed<decltype(&mount_setattr)>("mount_setattr");
    return real(folder, path, flags, attributes, size);
}

// What these two answer is an error number.

VBOARD_EXPORT int posix_spawn_file_actions_addopen(posix_spawn_file_actions_t* actions,
                                                   int descriptor, const char* path, int flags,
                                                   mode_t mode) __THROW {
    if (HostFor(path)) {
        return EOPNOTSUPP;
    }
    static const auto real = vboard::RealNamed<decltype(&posix_spawn_file_actions_addopen)>(
        "posix_spawn_file_actions_addopen");
    return real(actions, descriptor, path, flags, mode);
}

VBOARD_EXPORT int posix_spawn_file_actions_addchdir_np(posix_spawn_file_actions_t* actions,
                                                       const char* path) __THROW {
    if (HostFor(path)) {
        return EOPNOTSUPP;
    }
    static const auto real = vboard::RealNamed<decltype(&posix_spawn_file_actions_addchdir_np)>(
        "posix_spawn_file_actions_addchdir_np");
    return real(actions, path);
}
