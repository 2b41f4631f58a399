// SPDX-License-Identifier: MIT
#pragma once

// The one way to the C library's own functions behind the wrappers.

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/fanotify.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/ipc.h>
#include <sys/mount.h>
#include <sys/select.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/swap.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <sys/xattr.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>
#include <utime.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace vboard {

// Every wrapped function that has a declaration; those that have none are other names of these.
// clang-format off
#define VBOARD_REAL_FUNCTIONS(DO) \
    DO(open) DO(open64) DO(openat) DO(openat64) DO(creat) DO(creat64) DO(close) DO(close_range) \
    DO(closefrom) DO(read) DO(write) DO(readv) DO(writev) DO(pread) DO(pread64) DO(pwrite) \
    DO(preadv) DO(preadv64) DO(pwritev) DO(pwritev64) DO(preadv2) DO(preadv64v2) DO(pwritev2) \
    DO(pwritev64v2) DO(sendfile) DO(sendfile64) DO(vdprintf) DO(readlink) DO(splice) DO(copy_file_range) DO(fsync) DO(fdatasync) DO(ftruncate) \
    DO(ftruncate64) DO(posix_fadvise) DO(posix_fadvise64) DO(flock) DO(lockf) DO(lockf64) DO(pwrite64) DO(lseek) DO(lseek64) DO(dup) DO(dup2) DO(dup3) DO(fcntl) DO(fcntl64) \
    DO(access) DO(eaccess) DO(euidaccess) DO(faccessat) DO(stat) DO(stat64) DO(lstat) \
    DO(lstat64) DO(fstat) DO(fstat64) DO(fstatat) DO(fstatat64) DO(statx) DO(fopen) DO(fopen64) \
    DO(freopen) DO(freopen64) DO(fdopen) DO(ioctl) DO(isatty) \
    DO(tcgetpgrp) DO(tcsetpgrp) DO(tcgetsid) DO(ttyname) DO(ttyname_r) DO(tcgetattr) DO(tcsetattr) DO(tcdrain) DO(tcflush) DO(tcflow) \
    DO(tcsendbreak) DO(select) DO(pselect) DO(poll) DO(ppoll) DO(usleep) DO(sleep) DO(nanosleep) \
    DO(clock_nanosleep) DO(clock_gettime) DO(gettimeofday) DO(time) DO(timespec_get) DO(execv) \
    DO(opendir) DO(fdopendir) DO(closedir) DO(readdir) DO(readdir64) DO(rewinddir) DO(seekdir) \
    DO(telldir) DO(dirfd) DO(chdir) DO(fchdir) DO(getcwd) DO(get_current_dir_name) DO(readlinkat) \
    DO(realpath) DO(canonicalize_file_name) DO(unlink) DO(unlinkat) DO(remove) DO(rmdir) \
    DO(rename) DO(renameat) DO(renameat2) DO(link) DO(linkat) DO(symlink) DO(symlinkat) DO(mkdir) \
    DO(mkdirat) DO(mknod) DO(mknodat) DO(mkfifo) DO(mkfifoat) DO(truncate) DO(truncate64) \
    DO(chroot) DO(acct) DO(swapon) DO(swapoff) DO(mount) DO(umount) DO(umount2) DO(chmod) \
    DO(lchmod) DO(fchmod) DO(fchmodat) DO(chown) DO(lchown) DO(fchown) DO(fchownat) DO(utime) \
    DO(utimes) DO(lutimes) DO(futimes) DO(futimesat) DO(utimensat) DO(futimens) DO(statfs) \
    DO(statfs64) DO(fstatfs) DO(fstatfs64) DO(statvfs) DO(statvfs64) DO(fstatvfs) DO(fstatvfs64) \
    DO(pathconf) DO(fpathconf) DO(getxattr) DO(lgetxattr) DO(fgetxattr) DO(listxattr) \
    DO(llistxattr) DO(flistxattr) DO(setxattr) DO(lsetxattr) DO(fsetxattr) DO(removexattr) \
    DO(lremovexattr) DO(fremovexattr) DO(inotify_add_watch) DO(fanotify_mark) \
    DO(name_to_handle_at) DO(ftok) \
    DO(execve) DO(execvp) DO(execvpe) DO(fexecve) DO(_exit) DO(_Exit)
// clang-format on

/// The address behind a name that no header declares; nullptr when the C library has none.
[[nodiscard]] void* FindReal(const char* name);

/// A function of the C library, called like the function itself. Looked up at its first call: a
/// program needs a few of them, and looking up all would take longer than starting it.
template <class Function>
class RealFunction {
public:
    /// `name` must be static.
    explicit constexpr RealFunction(const char* name) : m_name(name) {}

    /// nullptr when the C library has none of that name.
    operator Function() const {
        Function found = m_found.load(std::memory_order_relaxed);
        if (found == nullptr) {
            found = reinterpret_cast<Function>(FindReal(m_name));
            m_found.store(found, std::memory_order_relaxed);
        }
        return found;
    }

private:
    const char* m_name;
    mutable std::atomic<Function> m_found{nullptr};
};

// Attributes of libc's declarations that do not matter for calls of ours.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wignored-attributes"
/// All of them, each under its own name.
struct RealLibc {
// A member's name can't stand in parentheses. NOLINTNEXTLINE(bugprone-macro-parentheses)
#define VBOARD_MEMBER(name) RealFunction<decltype(&::name)> name{#name};
    VBOARD_REAL_FUNCTIONS(VBOARD_MEMBER)
#undef VBOARD_MEMBER
};
#pragma GCC diagnostic pop

/// For a call past every wrapper: `Real().open(...)`.
[[nodiscard]] const RealLibc& Real();

/// The same as a function of its type.
template <class Function>
[[nodiscard]] Function RealNamed(const char* name) {
    return reinterpret_cast<Function>(FindReal(name));
}

}  // namespace vboard
