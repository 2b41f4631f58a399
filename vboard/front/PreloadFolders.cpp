// SPDX-License-Identifier: MIT

// Folders: listing them, standing in them, and the names of what is in them.

#include "vboard/front/Preload.h"

// After it: the real headers.
#include <dirent.h>
#include <stdlib.h>
#include <unistd.h>

#include <climits>

#include "vboard/process/Folders.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/Standing.h"
#include "vboard/process/Wrapping.h"

namespace {

using vboard::Answer;
using vboard::FileFor;
using vboard::HostFor;
using vboard::IsOurs;
using vboard::LastLink;
using vboard::Place;
using vboard::Real;

/// readlink(2): the board has no symbolic links.
ssize_t LinkText(const Place& place) {
    return Answer<ssize_t>([&] {
        const auto exists = vboard::Exists(place);
        return exists < 0 ? exists : -EINVAL;
    });
}

/// realpath(3).
char* FullPath(const Place& place, char* resolved) {
    return Answer<int>([&] { return vboard::Exists(place); }) < 0
               ? nullptr
               : vboard::StoreText(place.Path(), resolved, resolved == nullptr ? 0 : PATH_MAX);
}

}  // namespace

VBOARD_EXPORT DIR* opendir(const char* path) {
    return vboard::OpenAnyFolder(path);
}

VBOARD_EXPORT DIR* fdopendir(int descriptor) {
    if (FileFor(descriptor) != nullptr) {
        return vboard::FolderOn(descriptor);
    }
    return vboard::Listed(Real().fdopendir(descriptor));
}

VBOARD_EXPORT int closedir(DIR* folder) {
    if (IsOurs(folder)) {
        return vboard::CloseFolder(folder);
    }
    return Real().closedir(folder);
}

VBOARD_EXPORT struct dirent* readdir(DIR* folder) {
    if (IsOurs(folder)) {
        return vboard::NextEntry<struct dirent>(folder);
    }
    return Real().readdir(folder);
}

VBOARD_EXPORT struct dirent64* readdir64(DIR* folder) {
    if (IsOurs(folder)) {
        return vboard::NextEntry<struct dirent64>(folder);
    }
    return Real().readdir64(folder);
}

VBOARD_EXPORT void rewinddir(DIR* folder) __THROW {
    if (IsOurs(folder)) {
        vboard::GoTo(folder, 0);
        return;
    }
    Real().rewinddir(folder);
}

VBOARD_EXPORT void seekdir(DIR* folder, long place) __THROW {
    if (IsOurs(folder)) {
        vboard::GoTo(folder, place);
        return;
    }
    Real().seekdir(folder, place);
}

VBOARD_EXPORT long telldir(DIR* folder) __THROW {
    if (IsOurs(folder)) {
        return vboard::PlaceIn(folder);
    }
    return Real().telldir(folder);
}

VBOARD_EXPORT int dirfd(DIR* folder) __THROW {
    if (IsOurs(folder)) {
        return vboard::DescriptorOf(folder);
    }
    return Real().dirfd(folder);
}

VBOARD_EXPORT int chdir(const char* path) __THROW {
    if (const Place place = HostFor(path)) {
        return Answer<int>([&] { return vboard::StandIn(place.TheHost(), place.Path()); });
    }
    return Real().chdir(path);
}

VBOARD_EXPORT int fchdir(int descriptor) __THROW {
    if (const auto file = FileFor(descriptor)) {
        return Answer<int>([&] { return vboard::StandIn(vboard::TheHost(), file->path); });
    }
    return Real().fchdir(descriptor);
}

VBOARD_EXPORT char* getcwd(char* buffer, std::size_t size) __THROW {
    if (const std::string folder = vboard::WhereItStands(); !folder.empty()) {
        return vboard::StoreText(folder, buffer, size);
    }
    return Real().getcwd(buffer, size);
}

VBOARD_EXPORT char* __getcwd_chk(char* buffer, std::size_t size, std::size_t /*room*/) {
    if (const std::string folder = vboard::WhereItStands(); !folder.empty()) {
        return vboard::StoreText(folder, buffer, size);
    }
    return Real().getcwd(buffer, size);
}

VBOARD_EXPORT char* get_current_dir_name() __THROW {
    if (const std::string folder = vboard::WhereItStands(); !folder.empty()) {
        return vboard::StoreText(folder, nullptr, 0);
    }
    return Real().get_current_dir_name();
}

VBOARD_EXPORT ssize_t readlink(const char* path, char* buffer, std::size_t size) __THROW {
    if (const Place place = HostFor(path, LastLink::kTaken)) {
        return LinkText(place);
    }
    return Real().readlink(path, buffer, size);
}

VBOARD_EXPORT ssize_t __readlink_chk(const char* path, char* buffer, std::size_t size,
                                     std::size_t /*room*/) {
    if (const Place place = HostFor(path, LastLink::kTaken)) {
        return LinkText(place);
    }
    return Real().readlink(path, buffer, size);
}

VBOARD_EXPORT ssize_t readlinkat(int folder, const char* path, char* buffer,
                                 std::size_t size) __THROW {
    if (const Place place = HostFor(path, LastLink::kTaken, folder)) {
        return LinkText(place);
    }
    return Real().readlinkat(folder, path, buffer, size);
}

VBOARD_EXPORT char* realpath(const char* path, char* resolved) __THROW {
    if (const Place place = HostFor(path)) {
        return FullPath(place, resolved);
    }
    return Real().realpath(path, resolved);
}

VBOARD_EXPORT char* __realpath_chk(const char* path, char* resolved, std::size_t /*room*/) {
    if (const Place place = HostFor(path)) {
        return FullPath(place, resolved);
    }
    return Real().realpath(path, resolved);
}

VBOARD_EXPORT char* canonicalize_file_name(const char* path) __THROW {
    if (const Place place = HostFor(path)) {
        return FullPath(place, nullptr);
    }
    return Real().canonicalize_file_name(path);
}
