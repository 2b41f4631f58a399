// SPDX-License-Identifier: MIT
#include "tests/bench/HostCalls.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/select.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace bench {
namespace {

using vboard::CallKind;
using vboard::Host;
using vboard::IoResult;
using vboard::OpenFile;

constexpr int kFirstDescriptor = 1000;

Host* theHost = nullptr;
vboard::ProgramControl* theControl = nullptr;
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

/// stdio tries the rest of a short write again at once, for as long as it takes; so many tries in a
/// row that take nothing are a wait that never ends.
ssize_t FlushStream(void* cookie, const char* data, std::size_t size) {
    constexpr int kIdleTries = 100;
    OpenFile& file = *static_cast<OpenFile*>(cookie);
    std::span rest(reinterpret_cast<const std::uint8_t*>(data), size);
    for (int idleTries = 0; !rest.empty();) {
        const IoResult result = theHost->Write(CallKind::kFlush, file, rest);
        if (result < 0) {
            errno = static_cast<int>(-result);
            break;
        }
        idleTries = result == 0 ? idleTries + 1 : 0;
        if (idleTries == kIdleTries) {
            theControl->WaitsForEver("flush", file.path, "a write that takes something");
        }
        rest = rest.subspan(static_cast<std::size_t>(result));
    }
    return static_cast<ssize_t>(size - rest.size());
}

int SeekStream(void* cookie, off64_t* offset, int whence) {
    const IoResult place = theHost->Seek(*static_cast<OpenFile*>(cookie), *offset, whence);
    *offset = place < 0 ? *offset : place;
    return Answer<int>(std::min<IoResult>(place, 0));
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

bool IsIn(const fd_set* set, int descriptor) {
    return set != nullptr && FD_ISSET(descriptor, set);
}

/// Takes what is not ready out of a set; the count of what stays.
int KeepReady(fd_set* set, int descriptor, bool ready) {
    if (!IsIn(set, descriptor)) {
        return 0;
    }
    if (!ready) {
        FD_CLR(descriptor, set);
    }
    return ready ? 1 : 0;
}

}  // namespace

void ConnectHost(Host* host, vboard::ProgramControl* control) {
    theHost = host;
    theControl = control;
    theFiles = {};
}

}  // namespace bench

using namespace bench;

extern "C" {

int boardside_open(const char* path, int flags, ...) {
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

int boardside_close(int descriptor) {
    if (OpenFile* file = FileOf(descriptor)) {
        const IoResult result = theHost->Close(*file);
        theFiles.at(static_cast<std::size_t>(descriptor - kFirstDescriptor)).reset();
        return Answer<int>(result);
    }
    return close(descriptor);
}

ssize_t boardside_read(int descriptor, void* buffer, std::size_t size) {
    if (OpenFile* file = FileOf(descriptor)) {
        return Answer<ssize_t>(
            theHost->Read(*file, std::span(static_cast<std::uint8_t*>(buffer), size)));
    }
    return read(descriptor, buffer, size);
}

ssize_t boardside_write(int descriptor, const void* data, std::size_t size) {
    if (OpenFile* file = FileOf(descriptor)) {
        return Answer<ssize_t>(theHost->Write(
            CallKind::kWrite, *file, std::span(static_cast<const std::uint8_t*>(data), size)));
    }
    return write(descriptor, data, size);
}

int boardside_ioctl(int descriptor, unsigned long request, void* argument) {
    OpenFile* file = FileOf(descriptor);
    if (file == nullptr) {
        errno = EBADF;
        return -1;
    }
    return Answer<int>(theHost->Ioctl(*file, request, argument));
}

int boardside_poll(pollfd* files, nfds_t count, int timeout) {
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

int boardside_select(int count, fd_set* reading, fd_set* writing, fd_set* excepting,
                     timeval* timeout) {
    std::vector<int> descriptors;
    std::vector<vboard::Watched> files;
    for (int descriptor = 0; descriptor < count; ++descriptor) {
        const vboard::Readiness wanted{IsIn(reading, descriptor), IsIn(writing, descriptor),
                                       IsIn(excepting, descriptor)};
        if (!wanted.readable && !wanted.writable && !wanted.urgent) {
            continue;
        }
        OpenFile* file = FileOf(descriptor);
        if (file == nullptr) {
            errno = EBADF;
            return -1;
        }
        descriptors.push_back(descriptor);
        files.push_back({file, wanted, {}});
    }
    std::optional<vboard::Duration> length;
    if (timeout != nullptr) {
        length =
            std::chrono::seconds{timeout->tv_sec} + std::chrono::microseconds{timeout->tv_usec};
    }
    const IoResult result = theHost->Select("select", files, length);
    if (result < 0) {
        return Answer<int>(result);
    }
    int ready = 0;
    for (std::size_t i = 0; i < files.size(); ++i) {
        ready += KeepReady(reading, descriptors[i], files[i].ready.readable);
        ready += KeepReady(writing, descriptors[i], files[i].ready.writable);
        ready += KeepReady(excepting, descriptors[i], files[i].ready.urgent);
    }
    return ready;
}

int boardside_tcgetattr(int descriptor, termios* settings) {
    OpenFile* file = FileOf(descriptor);
    return file == nullptr ? -1 : Answer<int>(theHost->GetAttributes(*file, *settings));
}

int boardside_tcsetattr(int descriptor, int action, const termios* settings) {
    OpenFile* file = FileOf(descriptor);
    return file == nullptr ? -1 : Answer<int>(theHost->SetAttributes(*file, action, *settings));
}

int boardside_tcflush(int descriptor, int queue) {
    OpenFile* file = FileOf(descriptor);
    return file == nullptr ? -1 : Answer<int>(theHost->Flush(*file, queue));
}

int boardside_usleep(useconds_t microseconds) {
    const vboard::Duration left = theHost->Pause(std::chrono::microseconds{microseconds});
    return Answer<int>(left > vboard::Duration::zero() ? -EINTR : 0);
}

int boardside_clock_gettime(clockid_t /*clock*/, timespec* time) {
    constexpr std::int64_t kSecond = 1'000'000'000;
    const std::int64_t now = theHost->AskTime().time_since_epoch().count();
    time->tv_sec = static_cast<time_t>(now / kSecond);
    time->tv_nsec = static_cast<long>(now % kSecond);
    return 0;
}

int boardside_access(const char* path, int mode) {
    if (!theHost->Owns(path)) {
        return access(path, mode);
    }
    if (theHost->Find(path) == vboard::PathKind::kNone) {
        errno = ENOENT;
        return -1;
    }
    return 0;
}

std::FILE* boardside_fopen(const char* path, const char* mode) {
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
int boardside_open64(const char*, int, ...) __attribute__((alias("boardside_open")));
int boardside_open_2(const char*, int, ...) __attribute__((alias("boardside_open")));
int boardside_open64_2(const char*, int, ...) __attribute__((alias("boardside_open")));
ssize_t boardside_read_chk(int, void*, std::size_t) __attribute__((alias("boardside_read")));
int boardside_poll_chk(pollfd*, nfds_t, int) __attribute__((alias("boardside_poll")));
std::FILE* boardside_fopen64(const char*, const char*) __attribute__((alias("boardside_fopen")));
}
