// SPDX-License-Identifier: MIT
#pragma once

// The one way to the C library's own functions behind the wrappers.

#include <poll.h>
#include <sys/select.h>
#include <sys/types.h>
#include <termios.h>
#include <time.h>

#include <cstddef>
#include <cstdio>

namespace vboard {

struct RealLibc {
    int (*open)(const char*, int, ...);
    int (*close)(int);
    ssize_t (*read)(int, void*, std::size_t);
    ssize_t (*write)(int, const void*, std::size_t);
    int (*ioctl)(int, unsigned long, ...);
    int (*fcntl)(int, int, ...);
    int (*select)(int, fd_set*, fd_set*, fd_set*, timeval*);
    int (*poll)(pollfd*, nfds_t, int);
    std::FILE* (*fopen)(const char*, const char*);
    std::FILE* (*fopen64)(const char*, const char*);
    int (*isatty)(int);
    int (*tcgetattr)(int, termios*);
    int (*tcsetattr)(int, int, const termios*);
    int (*tcdrain)(int);
    int (*tcflush)(int, int);
    int (*tcsendbreak)(int, int);
    int (*usleep)(useconds_t);
    unsigned (*sleep)(unsigned);
    int (*nanosleep)(const timespec*, timespec*);
    int (*clock_nanosleep)(clockid_t, int, const timespec*, timespec*);
    void (*quickExit)(int);  ///< _exit
};

/// Looked up once, at the first call.
[[nodiscard]] const RealLibc& Real();

}  // namespace vboard
