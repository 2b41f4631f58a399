// SPDX-License-Identifier: MIT
#include "vboard/front/Streams.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <span>

#include "vboard/front/World.h"

namespace vboard {
namespace {

OpenFile& FileOf(void* cookie) {
    return *static_cast<OpenFile*>(cookie);
}

ssize_t ReadStream(void* cookie, char* buffer, std::size_t size) {
    const IoResult result = World::Get()->TheHost().Read(
        FileOf(cookie), std::span(reinterpret_cast<std::uint8_t*>(buffer), size));
    if (result < 0) {
        errno = static_cast<int>(-result);
        return -1;
    }
    return static_cast<ssize_t>(result);
}

/// stdio tries the rest of a write again at once, for as long as it takes; more tries in a row that
/// take nothing than this are taken for a wait that never ends.
constexpr int kIdleTries = 100;

ssize_t WriteStream(void* cookie, const char* data, std::size_t size) {
    OpenFile& file = FileOf(cookie);
    std::span rest(reinterpret_cast<const std::uint8_t*>(data), size);
    for (int idleTries = 0; !rest.empty() && !World::Get()->Over();) {
        const IoResult result = World::Get()->TheHost().Write(CallKind::kFlush, file, rest);
        if (result < 0) {
            errno = static_cast<int>(-result);
            return 0;  // fopencookie(3): a failed write reports 0.
        }
        idleTries = result == 0 ? idleTries + 1 : 0;
        if (idleTries == kIdleTries) {
            World::Get()->WaitsForEver("flush", file.path, "a write that takes something");
        }
        rest = rest.subspan(static_cast<std::size_t>(result));
    }
    return static_cast<ssize_t>(size);
}

int SeekStream(void* /*cookie*/, off64_t* offset, int /*whence*/) {
    // The board's files have no positions that matter: each write is a whole text.
    *offset = 0;
    return 0;
}

int CloseStream(void* cookie) {
    const std::unique_ptr<OpenFile> file(&FileOf(cookie));
    const IoResult result = World::Get()->TheHost().Close(*file);
    if (result < 0) {
        errno = static_cast<int>(-result);
        return -1;
    }
    return 0;
}

}  // namespace

int FlagsOfMode(const char* mode) {
    const bool update = std::strchr(mode, '+') != nullptr;
    switch (mode[0]) {
        case 'r':
            return update ? O_RDWR : O_RDONLY;
        case 'w':
            return (update ? O_RDWR : O_WRONLY) | O_CREAT | O_TRUNC;
        case 'a':
            return (update ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND;
        default:
            return -1;
    }
}

std::FILE* MakeStream(std::unique_ptr<OpenFile> file, const char* mode) {
    constexpr cookie_io_functions_t kFunctions{ReadStream, WriteStream, SeekStream, CloseStream};
    std::FILE* stream = fopencookie(file.get(), mode, kFunctions);
    if (stream != nullptr) {
        static_cast<void>(file.release());
    }
    return stream;
}

}  // namespace vboard
