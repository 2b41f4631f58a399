// SPDX-License-Identifier: MIT
#pragma once

// What stat and its relatives say about the board's files, in whichever structure the caller has.

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <cstdint>
#include <string_view>

#include "vboard/host/Host.h"
#include "vboard/process/ProgramMemory.h"

namespace vboard {

/// What there is to know about a path of the board.
struct FileFacts {
    mode_t mode;
    dev_t device;         ///< Of a terminal or another device; else 0.
    std::uint64_t inode;  ///< The same for the same path.
    unsigned sizeBytes;
};

/// What st_blksize says of every file of the board.
inline constexpr unsigned kFileBlockBytes = 4096;

/// The number of a path of the board, whether it exists or not.
[[nodiscard]] std::uint64_t InodeOf(std::string_view path);

/// -ENOENT or -ENOTDIR where the path does not exist; else 0 and `facts`.
[[nodiscard]] IoResult LookUpFacts(const Host& host, std::string_view path, FileFacts& facts);

/// Fills a struct stat of any width; -EFAULT where there is none. All widths have the same name, so
/// each source needs a function of its own: static.
template <class Status>
static IoResult StoreStatus(const Host& host, std::string_view path, Status* stored) {
    if (!CanWrite(stored)) {
        return -EFAULT;
    }
    FileFacts facts{};
    const IoResult result = LookUpFacts(host, path, facts);
    if (result < 0) {
        return result;
    }
    Status& status = *stored;
    status = {};
    status.st_mode = facts.mode;
    status.st_nlink = 1;
    status.st_ino = static_cast<decltype(status.st_ino)>(facts.inode);
    status.st_rdev = static_cast<decltype(status.st_rdev)>(facts.device);
    status.st_size = static_cast<decltype(status.st_size)>(facts.sizeBytes);
    status.st_blksize = static_cast<decltype(status.st_blksize)>(kFileBlockBytes);
    return 0;
}

/// The same for statx(2), which has one width.
IoResult StoreStatx(const Host& host, std::string_view path, struct statx* status);

}  // namespace vboard
