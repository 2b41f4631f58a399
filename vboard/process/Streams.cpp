// SPDX-License-Identifier: MIT
#include "vboard/process/Streams.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <span>
#include <utility>
#include <vector>

#include "vboard/process/Wrapping.h"

namespace vboard {
namespace {

/// stdio tries the rest of a write again at once, for as long as it takes; more tries in a row that
/// take nothing than this are taken for a wait that never ends.
constexpr int kIdleTries = 100;

struct Stream {
    std::FILE* stream = nullptr;
    std::shared_ptr<OpenFile> file;
    int descriptor = -1;
};

/// Streams of the board that are open. Never destroyed: stdio flushes after every destructor has
/// run.
std::vector<Stream*>& OpenStreams() {
    static auto* streams = new std::vector<Stream*>;
    return *streams;
}

Stream* FindStream(std::FILE* stream) {
    const auto& streams = OpenStreams();
    const auto found = std::find_if(streams.begin(), streams.end(),
                                    [stream](const Stream* s) { return s->stream == stream; });
    return found == streams.end() ? nullptr : *found;
}

OpenFile& FileOf(void* cookie) {
    return *static_cast<Stream*>(cookie)->file;
}

ssize_t ReadStream(void* cookie, char* buffer, std::size_t size) {
    return Answer<ssize_t>([=] {
        return TheHost().Read(FileOf(cookie),
                              std::span(reinterpret_cast<std::uint8_t*>(buffer), size));
    });
}

ssize_t WriteStream(void* cookie, const char* data, std::size_t size) {
    OpenFile& file = FileOf(cookie);
    std::span rest(reinterpret_cast<const std::uint8_t*>(data), size);
    const BoardTurn turn;
    for (int idleTries = 0; !rest.empty() && !World::Get()->Over();) {
        const IoResult result = TheHost().Write(CallKind::kFlush, file, rest);
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
    const BoardTurn turn;
    const std::unique_ptr<Stream> stream(static_cast<Stream*>(cookie));
    std::erase(OpenStreams(), stream.get());
    if (stream->descriptor >= 0) {
        stream->file.reset();
        return CloseDescriptor(stream->descriptor);
    }
    return Answer<int>([&] { return TheHost().Close(*stream->file); });
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

std::FILE* MakeStream(std::shared_ptr<OpenFile> file, int descriptor, const char* mode) {
    constexpr cookie_io_functions_t kFunctions{ReadStream, WriteStream, SeekStream, CloseStream};
    auto stream = std::make_unique<Stream>(Stream{nullptr, std::move(file), descriptor});
    stream->stream = fopencookie(stream.get(), mode, kFunctions);
    if (stream->stream == nullptr) {
        return nullptr;
    }
    OpenStreams().push_back(stream.get());
    return stream.release()->stream;
}

bool IsOurs(std::FILE* stream) {
    const BoardTurn turn;
    return FindStream(stream) != nullptr;
}

int DescriptorOf(std::FILE* stream) {
    const BoardTurn turn;
    Stream& found = *FindStream(stream);
    if (found.descriptor < 0) {
        found.descriptor = MakePlaceholder(*found.file);
        if (found.descriptor >= 0) {
            TheDescriptors().Put(found.descriptor, found.file);
        }
    }
    return found.descriptor;
}

}  // namespace vboard
