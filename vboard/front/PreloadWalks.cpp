// SPDX-License-Identifier: MIT

// Calls in which libc itself opens what it is told of, past every wrapper: walks through folders,
// and what a child is to open before it becomes a program. Some can be told what to look with; the
// others are refused where they would come to the board's files.

#include "vboard/front/Preload.h"

// After it: the real headers.
#include <dirent.h>
#include <fcntl.h>
#include <fts.h>
#include <ftw.h>
#include <glob.h>
#include <mntent.h>
#include <spawn.h>
#include <sys/mount.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <vector>

#include "vboard/process/FileStatus.h"
#include "vboard/process/Folders.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/Wrapping.h"

namespace {

using vboard::HostFor;
using vboard::LastLink;
using vboard::Real;
using vboard::Refused;

/// True for a walk that would come to the board's files, which libc would not see.
bool MeetsTheBoard(const char* path) {
    return vboard::LiesAboveTheBoard(path) || static_cast<bool>(HostFor(path));
}

// What glob looks through folders with, in place of libc's own.

void* OpenForGlob(const char* path) {
    return vboard::OpenAnyFolder(path);
}

void CloseForGlob(void* folder) {
    auto* opened = static_cast<DIR*>(folder);
    static_cast<void>(vboard::IsOurs(opened) ? vboard::CloseFolder(opened)
                                             : Real().closedir(opened));
}

template <class Entry>
Entry* NextIn(DIR* folder) {
    if (vboard::IsOurs(folder)) {
        return vboard::NextEntry<Entry>(folder);
    }
    if constexpr (std::is_same_v<Entry, struct dirent>) {
        return Real().readdir(folder);
    } else {
        return Real().readdir64(folder);
    }
}

template <class Entry>
Entry* ReadForGlob(void* folder) {
    return NextIn<Entry>(static_cast<DIR*>(folder));
}

template <class Status, LastLink kLast>
int StatForGlob(const char* path, Status* status) {
    if (const auto place = HostFor(path, kLast)) {
        return vboard::Answer<int>(
            [&] { return vboard::StoreStatus(place.TheHost(), place.Path(), status); });
    }
    constexpr bool kFollows = kLast == LastLink::kFollowed;
    if constexpr (std::is_same_v<Status, struct stat>) {
        return kFollows ? Real().stat(path, status) : Real().lstat(path, status);
    } else {
        return kFollows ? Real().stat64(path, status) : Real().lstat64(path, status);
    }
}

/// glob(3) by `real`, which sees the board's folders and files; a program's own functions stay.
template <class Entry, class Status, class Found, class RealGlob>
int GlobOnBoard(const char* pattern, int flags, int (*failed)(const char*, int), Found* found,
                RealGlob real) {
    if (vboard::RunLink::Get() == nullptr || found == nullptr || (flags & GLOB_ALTDIRFUNC) != 0) {
        return real(pattern, flags, failed, found);
    }
    const Found before = *found;
    found->gl_opendir = OpenForGlob;
    found->gl_readdir = ReadForGlob<Entry>;
    found->gl_closedir = CloseForGlob;
    found->gl_stat = StatForGlob<Status, LastLink::kFollowed>;
    found->gl_lstat = StatForGlob<Status, LastLink::kTaken>;
    const int result = real(pattern, flags | GLOB_ALTDIRFUNC, failed, found);
    found->gl_opendir = before.gl_opendir;
    found->gl_readdir = before.gl_readdir;
    found->gl_closedir = before.gl_closedir;
    found->gl_stat = before.gl_stat;
    found->gl_lstat = before.gl_lstat;
    found->gl_flags &= ~GLOB_ALTDIRFUNC;
    return result;
}

template <class Entry>
using Order = int (*)(const Entry**, const Entry**);

/// scandir(3) of an opened folder, which this closes; its memory is the caller's to free.
template <class Entry>
int Scan(DIR* folder, Entry*** entries, int (*wanted)(const Entry*), Order<Entry> order) {
    if (folder == nullptr) {
        return -1;
    }
    std::vector<Entry*> found;
    while (const Entry* entry = NextIn<Entry>(folder)) {
        if (wanted == nullptr || wanted(entry) != 0) {
            auto* copy = static_cast<Entry*>(std::malloc(sizeof(Entry)));
            const std::size_t size = std::min<std::size_t>(entry->d_reclen, sizeof(Entry));
            found.push_back(static_cast<Entry*>(std::memcpy(copy, entry, size)));
        }
    }
    CloseForGlob(folder);
    const std::size_t size = std::max<std::size_t>(found.size(), 1) * sizeof(Entry*);
    *entries = static_cast<Entry**>(std::malloc(size));
    std::copy(found.begin(), found.end(), *entries);
    if (order != nullptr) {
        std::qsort(*entries, found.size(), sizeof(Entry*),
                   reinterpret_cast<int (*)(const void*, const void*)>(order));
    }
    return static_cast<int>(found.size());
}

}  // namespace

VBOARD_EXPORT int glob(const char* pattern, int flags, int (*failed)(const char*, int),
                       glob_t* found) __THROW {
    static const auto real = vboard::RealNamed<decltype(&glob)>("glob");
    return GlobOnBoard<struct dirent, struct stat>(pattern, flags, failed, found, real);
}

VBOARD_EXPORT int glob64(const char* pattern, int flags, int (*failed)(const char*, int),
                         glob64_t* found) __THROW {
    static const auto real = vboard::RealNamed<decltype(&glob64)>("glob64");
    return GlobOnBoard<struct dirent64, struct stat64>(pattern, flags, failed, found, real);
}

VBOARD_EXPORT FTS* fts_open(char* const* paths, int options,
                            int (*order)(const FTSENT**, const FTSENT**)) {
    for (char* const* path = paths; *path != nullptr; ++path) {
        if (MeetsTheBoard(*path)) {
            errno = EOPNOTSUPP;
            return nullptr;
        }
    }
    static const auto real = vboard::RealNamed<decltype(&fts_open)>("fts_open");
    return real(paths, options, order);
}

VBOARD_EXPORT int ftw(const char* path, __ftw_func_t visit, int descriptors) {
    if (MeetsTheBoard(path)) {
        return Refused(EOPNOTSUPP);
    }
    static const auto real = vboard::RealNamed<decltype(&ftw)>("ftw");
    return real(path, visit, descriptors);
}

VBOARD_EXPORT int ftw64(const char* path, __ftw64_func_t visit, int descriptors) {
    if (MeetsTheBoard(path)) {
        return Refused(EOPNOTSUPP);
    }
    static const auto real = vboard::RealNamed<decltype(&ftw64)>("ftw64");
    return real(path, visit, descriptors);
}

VBOARD_EXPORT int nftw(const char* path, __nftw_func_t visit, int descriptors, int flags) {
    if (MeetsTheBoard(path)) {
        return Refused(EOPNOTSUPP);
    }
    static const auto real = vboard::RealNamed<decltype(&nftw)>("nftw");
    return real(path, visit, descriptors, flags);
}

VBOARD_EXPORT int nftw64(const char* path, __nftw64_func_t visit, int descriptors, int flags) {
    if (MeetsTheBoard(path)) {
        return Refused(EOPNOTSUPP);
    }
    static const auto real = vboard::RealNamed<decltype(&nftw64)>("nftw64");
    return real(path, visit, descriptors, flags);
}

VBOARD_EXPORT int scandir(const char* path, dirent*** entries, int (*wanted)(const dirent*),
                          Order<dirent> order) {
    return Scan(vboard::OpenAnyFolder(path), entries, wanted, order);
}

VBOARD_EXPORT int scandir64(const char* path, dirent64*** entries, int (*wanted)(const dirent64*),
                            Order<dirent64> order) {
    return Scan(vboard::OpenAnyFolder(path), entries, wanted, order);
}

VBOARD_EXPORT int scandirat(int folder, const char* path, dirent*** entries,
                            int (*wanted)(const dirent*), Order<dirent> order) {
    return Scan(vboard::OpenAnyFolder(path, folder), entries, wanted, order);
}

VBOARD_EXPORT int scandirat64(int folder, const char* path, dirent64*** entries,
                              int (*wanted)(const dirent64*), Order<dirent64> order) {
    return Scan(vboard::OpenAnyFolder(path, folder), entries, wanted, order);
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
