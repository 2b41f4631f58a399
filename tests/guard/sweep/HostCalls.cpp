// SPDX-License-Identifier: MIT
#include "tests/guard/sweep/HostCalls.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <utility>

namespace guard_sweep {
namespace {

using vboard::CallKind;
using vboard::Host;
using vboard::IoResult;
using vboard::OpenFile;

constexpr int kFirstDescriptor = 1000;

Host* theHost = nullptr;
std::array<std::unique_ptr<OpenFile>, 16> theFiles;

OpenFile* FileOf(int descriptor) {
    const int slot = descriptor - kFirstDescriptor;
    return slot >= 0 && slot < static_cast<int>(theFiles.size())
               ? theFiles.at(static_cast<std::size_t>(slot)).get()
               : nullptr;
}

int Keep(std::unique_ptr<OpenFile> file) {
    for (std::size_t slot = 0; slot < theFiles.size(); ++slot) {
        if (theFiles.at(slot) == nullptr) {
            theFiles.at(slot) = std::move(file);
            return kFirstDescriptor + static_cast<int>(slot);
        }
    }
    errno = EMFILE;
    return -1;
}

template <class Result>
Result Answer(IoResult result) {
    if (result < 0) {
        errno = static_cast<int>(-result);
        return -1;
    }
    return static_cast<Result>(result);
}

/// stdio tries the rest of a short write again at once.
ssize_t FlushStream(void* cookie, const char* data, std::size_t size) {
    constexpr int kMostTries = 100;
    std::span rest(reinterpret_cast<const std::uint8_t*>(data), size);
    for (int tries = 0; tries < kMostTries && !rest.empty(); ++tries) {
        const IoResult result =
            theHost->Write(CallKind::kFlush, *static_cast<OpenFile*>(cookie), rest);
        if (result < 0) {
            errno = static_cast<int>(-result);
            return 0;
        }
        rest = rest.subspan(static_cast<std::size_t>(result));
    }
    return static_cast<ssize_t>(size);
}

int SeekStream(void* /*cookie*/, off64_t* offset, int /*whence*/) {
    *offset = 0;
    return 0;
}

int CloseStream(void* cookie) {
    const std::unique_ptr<OpenFile> file(static_cast<OpenFile*>(cookie));
    return Answer<int>(theHost->Close(*file));
}

int FlagsOf(const char* mode) {
    const bool update = mode[1] == '+' || (mode[1] != '\0' && mode[2] == '+');
    switch (mode[0]) {
        case 'r':
            return update ? O_RDWR : O_RDONLY;
        case 'w':
            return (update ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC;
        default:
            return O_WRONLY | O_CREAT | O_APPEND;
    }
}

}  // namespace

void ConnectHost(Host* host) {
    theHost = host;
    theFiles = {};
}

}  // namespace guard_sweep

using namespace guard_sweep;

extern "C" {

int guardside_open(const char* path, int flags, ...) {
    if (!theHost->Owns(path)) {
        std::va_list arguments;
        va_start(arguments, flags);
        const auto mode = static_cast<mode_t>(va_arg(arguments, int));
        va_end(arguments);
        return open(path, flags, mode);
    }
    int error = 0;
    auto file = theHost->Open(CallKind::kOpen, path, flags, {}, error);
    if (file == nullptr) {
        errno = error;
        return -1;
    }
    return Keep(std::move(file));
}

int guardside_close(int descriptor) {
    if (OpenFile* file = FileOf(descriptor)) {
        const IoResult result = theHost->Close(*file);
        theFiles.at(static_cast<std::size_t>(descriptor - kFirstDescriptor)).reset();
        return Answer<int>(result);
    }
    return close(descriptor);
}

ssize_t guardside_read(int descriptor, void* buffer, std::size_t size) {
    if (OpenFile* file = FileOf(descriptor)) {
        return Answer<ssize_t>(
            theHost->Read(*file, std::span(static_cast<std::uint8_t*>(buffer), size)));
    }
    return read(descriptor, buffer, size);
}

ssize_t guardside_write(int descriptor, const void* data, std::size_t size) {
    if (OpenFile* file = FileOf(descriptor)) {
        return Answer<ssize_t>(theHost->Write(
            CallKind::kWrite, *file, std::span(static_cast<const std::uint8_t*>(data), size)));
    }
    return write(descriptor, data, size);
}

int guardside_ioctl(int descriptor, unsigned long request, void* argument) {
    OpenFile* file = FileOf(descriptor);
    if (file == nullptr) {
        errno = EBADF;
        return -1;
    }
    return Answer<int>(theHost->Ioctl(*file, request, argument));
}

int guardside_poll(pollfd* files, nfds_t count, int timeout) {
    OpenFile* file = count == 1 ? FileOf(files[0].fd) : nullptr;
    if (file == nullptr) {
        errno = EBADF;
        return -1;
    }
    std::array<vboard::Watched, 1> watched{{{file, {true, false}, {}}}};
    const IoResult result = theHost->Select("poll", watched, std::chrono::milliseconds{timeout});
    files[0].revents = watched[0].ready.readable ? POLLIN : 0;
    return Answer<int>(result);
}

int guardside_tcgetattr(int descriptor, termios* settings) {
    OpenFile* file = FileOf(descriptor);
    return file == nullptr ? -1 : Answer<int>(theHost->GetAttributes(*file, *settings));
}

int guardside_tcsetattr(int descriptor, int action, const termios* settings) {
    OpenFile* file = FileOf(descriptor);
    return file == nullptr ? -1 : Answer<int>(theHost->SetAttributes(*file, action, *settings));
}

int guardside_tcflush(int descriptor, int queue) {
    OpenFile* file = FileOf(descriptor);
    return file == nullptr ? -1 : Answer<int>(theHost->Flush(*file, queue));
}

int guardside_usleep(useconds_t microseconds) {
    theHost->Pause(std::chrono::microseconds{microseconds});
    return 0;
}

int guardside_clock_gettime(clockid_t /*clock*/, timespec* time) {
    constexpr std::int64_t kSecond = 1'000'000'000;
    const std::int64_t now = theHost->AskTime().time_since_epoch().count();
    time->tv_sec = static_cast<time_t>(now / kSecond);
    time->tv_nsec = static_cast<long>(now % kSecond);
    return 0;
}

int guardside_access(const char* path, int mode) {
    if (!theHost->Owns(path)) {
        return access(path, mode);
    }
    if (theHost->Find(path) == vboard::PathKind::kNone) {
        errno = ENOENT;
        return -1;
    }
    return 0;
}

std::FILE* guardside_fopen(const char* path, const char* mode) {
    if (!theHost->Owns(path)) {
        return std::fopen(path, mode);
    }
    int error = 0;
    auto file = theHost->Open(CallKind::kFopen, path, FlagsOf(mode), mode, error);
    if (file == nullptr) {
        errno = error;
        return nullptr;
    }
    constexpr cookie_io_functions_t kFunctions{nullptr, FlushStream, SeekStream, CloseStream};
    return fopencookie(file.release(), mode, kFunctions);
}

// The names under which the same calls are known where offsets are wider or calls are checked.
int guardside_open64(const char*, int, ...) __attribute__((alias("guardside_open")));
int guardside_open_2(const char*, int, ...) __attribute__((alias("guardside_open")));
int guardside_open64_2(const char*, int, ...) __attribute__((alias("guardside_open")));
ssize_t guardside_read_chk(int, void*, std::size_t) __attribute__((alias("guardside_read")));
int guardside_poll_chk(pollfd*, nfds_t, int) __attribute__((alias("guardside_poll")));
std::FILE* guardside_fopen64(const char*, const char*) __attribute__((alias("guardside_fopen")));
}
