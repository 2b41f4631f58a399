// SPDX-License-Identifier: MIT
#pragma once

// Which of the board's files a path of the program leads to: as the kernel would find it, from the
// folder in which the program stands, over symbolic links and "..".

#include <fcntl.h>

#include <cstdint>
#include <string>

namespace vboard {

enum class LastLink : std::uint8_t {
    kFollowed,  ///< As open(2) does.
    kTaken,     ///< A symbolic link at the end of the path is itself what is meant: lstat(2).
};

/// The board's name for what `path` leads to, with a slash at its end where it has one; empty where
/// it is none of the board's. `folder` is
/// that of openat(2).
[[nodiscard]] std::string BoardPath(int folder, const char* path, LastLink last);

/// True for a folder from which a walk downwards comes to the board's files: "/", "/dev" and
/// others.
[[nodiscard]] bool LiesAboveTheBoard(const char* path);

}  // namespace vboard
