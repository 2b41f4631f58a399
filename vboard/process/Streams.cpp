// SPDX-License-Identifier: MIT
#include "vboard/process/Streams.h"

#include <fcntl.h>
#include <sys/mman.h>

#include <cerrno>
#include <cstring>
#include <span>
#include <utility>

#include "vboard/process/DescriptorCalls.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/Wrapping.h"

namespace vboard {
namespace {

/// stdio tries the rest of a write again at once, for as long as it takes; more tries in a row that
/// take nothing than this are taken for a wait that never ends.
constexpr int kIdleTries = 100;

/// The flags of open(2) for a mode of fopen(3); -1 when the mode is not one.
int FlagsOfMode(const char* mode) {
    int flags = std::strchr(mode, '+') != nullptr ? O_RDWR : O_WRONLY;
    switch (mode[0]) {
        case 'r':
            flags = flags == O_RDWR ? O_RDWR : O_RDONLY;
            break;
        case 'w':
            flags |= O_CREAT | O_TRUNC;
            break;
        case 'a':
            flags |= O_CREAT | O_APPEND;
            break;
        default:
            return -1;
    }
    flags |= std::strchr(mode, 'x') != nullptr ? O_EXCL : 0;
    return flags | (std::strchr(mode, 'e') != nullptr ? O_CLOEXEC : 0);
}

/// True where a descriptor opened with `flags` may carry a stream that wants `wanted`.
bool Allows(int flags, int wanted) {
    return (flags & O_ACCMODE) == O_RDWR || (flags & O_ACCMODE) == (wanted & O_ACCMODE);
}

/// Opens the board's file for a stream of this mode: -1 and errno on failure.
int OpenForStream(const Place& place, const char* mode) {
    const int flags = FlagsOfMode(mode);
    if (flags < 0) {
        errno = EINVAL;
        return -1;
    }
    return OpenDescriptor(place, flags, mode);
}

}  // namespace

std::FILE* OpenStream(const Place& place, const char* mode) {
    const int descriptor = OpenForStream(place, mode);
    return descriptor < 0 ? nullptr : StreamOn(descriptor, mode);
}

std::FILE* StreamOn(int descriptor, const char* mode) {
    const int flags = FlagsOfMode(mode);
    const auto file = FileFor(descriptor);
    if (file == nullptr || flags < 0 || !Allows(file->flags, flags)) {
        errno = file == nullptr ? EBADF : EINVAL;
        return nullptr;
    }
    // libc looks at the kernel's descriptor before it makes a stream: it gets one that it likes.
    const int before = errno;
    const int liked = memfd_create("vboard-stream", MFD_CLOEXEC);
    std::FILE* stream = liked < 0 ? nullptr : Real().fdopen(liked, mode);
    if (stream == nullptr) {
        static_cast<void>(Real().close(liked));
        return nullptr;
    }
    stream->_fileno = descriptor;
    static_cast<void>(Real().close(liked));
    errno = before;
    return stream;
}

std::FILE* ReopenStream(const Place& place, const char* mode, std::FILE* stream) {
    const BoardTurn turn;
    LeaveStream(stream);
    const int opened = OpenForStream(place, mode);
    std::FILE* reopened = Real().freopen("/dev/null", "r+", stream);
    if (opened < 0 || reopened == nullptr) {
        if (reopened != nullptr) {
            const int error = errno;
            static_cast<void>(std::fclose(reopened));
            errno = error;
        }
        return nullptr;
    }
    const int number = reopened->_fileno;
    const int flags = TheDescriptors().At(opened)->flags;
    static_cast<void>(Copied(opened, Real().dup3(opened, number, flags & O_CLOEXEC)));
    static_cast<void>(CloseDescriptor(opened));
    return reopened;
}

void LeaveStream(std::FILE* stream) {
    static_cast<void>(std::fflush(stream));
    Forget(stream->_fileno);
}

std::int64_t FlushStream(std::FILE* stream, const void* data, std::size_t size) {
    const auto held = FileFor(stream->_fileno);
    if (held == nullptr) {
        errno = EBADF;  // Another thread has just closed it.
        return 0;
    }
    OpenFile& file = *held;
    const int before = errno;
    int error = 0;
    std::span rest(static_cast<const std::uint8_t*>(data), size);
    for (int idleTries = 0; !rest.empty() && error == 0 && !World::Get()->Over();) {
        const IoResult result = TheHost().Write(CallKind::kFlush, file, rest);
        if (result < 0) {
            error = static_cast<int>(-result);
            continue;
        }
        idleTries = result == 0 ? idleTries + 1 : 0;
        if (idleTries == kIdleTries) {
            World::Get()->WaitsForEver("flush", file.path, "a write that takes something");
        }
        rest = rest.subspan(static_cast<std::size_t>(result));
    }
    if (error != 0) {
        stream->_flags |= _IO_ERR_SEEN;
    }
    const auto written = static_cast<std::int64_t>(size - (error == 0 ? 0 : rest.size()));
    if (stream->_offset >= 0) {
        stream->_offset += written;
    }
    errno = error == 0 ? before : error;
    return written;
}

}  // namespace vboard
