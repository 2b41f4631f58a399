// SPDX-License-Identifier: MIT
#include "vboard/process/Wrapping.h"

#include <fcntl.h>
#include <linux/close_range.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "vboard/process/RealLibc.h"
#include "vboard/process/Streams.h"

namespace vboard {
namespace {

/// All pieces as one, since the board sees a write as one.
std::vector<std::uint8_t> Gathered(const iovec* pieces, int count) {
    std::vector<std::uint8_t> bytes;
    for (int i = 0; i < count; ++i) {
        const auto* start = static_cast<const std::uint8_t*>(pieces[i].iov_base);
        bytes.insert(bytes.end(), start, start + pieces[i].iov_len);
    }
    return bytes;
}

int SetStatusFlags(OpenFile& file, int flags) {
    constexpr int kChangeable = O_APPEND | O_NONBLOCK;
    file.flags = (file.flags & ~kChangeable) | (flags & kChangeable);
    file.nonBlocking = (flags & O_NONBLOCK) != 0;
    return 0;
}

}  // namespace

int OpenDescriptor(Host& host, const char* path, int flags) {
    const BoardTurn turn;
    const int before = errno;
    int error = 0;
    std::shared_ptr<OpenFile> file = host.Open(CallKind::kOpen, path, flags, {}, error);
    if (file == nullptr) {
        errno = error;
        return -1;
    }
    const int descriptor = MakePlaceholder(*file);
    if (descriptor >= 0) {
        TheDescriptors().Put(descriptor, std::move(file));
        errno = before;
    }
    return descriptor;
}

std::FILE* OpenStream(Host& host, const char* path, const char* mode) {
    const BoardTurn turn;
    const int before = errno;
    int error = EINVAL;
    const int flags = FlagsOfMode(mode);
    std::shared_ptr<OpenFile> file =
        flags < 0 ? nullptr : host.Open(CallKind::kFopen, path, flags, mode, error);
    if (file == nullptr) {
        errno = error;
        return nullptr;
    }
    std::FILE* stream = MakeStream(std::move(file), -1, mode);
    errno = stream == nullptr ? ENOMEM : before;
    return stream;
}

std::FILE* StreamOn(int descriptor, const char* mode) {
    const BoardTurn turn;
    if (FlagsOfMode(mode) < 0) {
        errno = EINVAL;
        return nullptr;
    }
    return MakeStream(TheDescriptors().At(descriptor), descriptor, mode);
}

int CloseDescriptor(int descriptor) {
    return Answer<int>([descriptor]() -> IoResult {
        const std::shared_ptr<OpenFile> file = TheDescriptors().Take(descriptor);
        const IoResult result = file->descriptors == 0 ? TheHost().Close(*file) : 0;
        static_cast<void>(Real().close(descriptor));
        return result;
    });
}

int CloseRange(unsigned first, unsigned last, int flags) {
    const auto end = static_cast<unsigned>(TheDescriptors().End());
    const bool closes = (static_cast<unsigned>(flags) & CLOSE_RANGE_CLOEXEC) == 0;
    for (unsigned descriptor = first; closes && descriptor < end && descriptor <= last;
         ++descriptor) {
        if (FileFor(static_cast<int>(descriptor)) != nullptr) {
            static_cast<void>(CloseDescriptor(static_cast<int>(descriptor)));
        }
    }
    const RunLink* link = RunLink::Get();
    if (link == nullptr || first > link->LastReserved() || last < link->FirstReserved()) {
        return Real().close_range(first, last, flags);
    }
    if (first < link->FirstReserved()) {
        static_cast<void>(Real().close_range(first, link->FirstReserved() - 1, flags));
    }
    return last > link->LastReserved() ? Real().close_range(link->LastReserved() + 1, last, flags)
                                       : 0;
}

bool IsReserved(int descriptor) {
    const RunLink* link = descriptor < kFirstSessionDescriptor ? nullptr : RunLink::Get();
    return link != nullptr && static_cast<unsigned>(descriptor) <= link->LastReserved();
}

int Copied(int original, int copy) {
    const BoardTurn turn;
    if (copy >= 0 && copy != original) {
        TheDescriptors().Share(original, copy);
    }
    return copy;
}

void MakeRoom(int original, int target) {
    if (target != original && FileFor(target) != nullptr) {
        static_cast<void>(CloseDescriptor(target));
    }
}

IoResult ReadPieces(OpenFile& file, const iovec* pieces, int count) {
    std::vector<std::uint8_t> bytes = Gathered(pieces, count);
    const IoResult result = TheHost().Read(file, bytes);
    std::size_t left = result > 0 ? static_cast<std::size_t>(result) : 0;
    const std::uint8_t* next = bytes.data();
    for (int i = 0; i < count && left > 0; ++i) {
        const std::size_t part = std::min(left, pieces[i].iov_len);
        std::copy_n(next, part, static_cast<std::uint8_t*>(pieces[i].iov_base));
        next += part;
        left -= part;
    }
    return result;
}

IoResult WritePieces(OpenFile& file, const iovec* pieces, int count) {
    return TheHost().Write(CallKind::kWrite, file, Gathered(pieces, count));
}

IoResult ReadAt(OpenFile& file, void* buffer, std::size_t size, std::int64_t offset) {
    const IoResult place = TheHost().Seek(file, offset, SEEK_SET);
    return place < 0 ? place
                     : TheHost().Read(file, std::span(static_cast<std::uint8_t*>(buffer), size));
}

IoResult WriteAt(OpenFile& file, const void* data, std::size_t size, std::int64_t offset) {
    const IoResult place = TheHost().Seek(file, offset, SEEK_SET);
    return place < 0 ? place
                     : TheHost().Write(CallKind::kWrite, file,
                                       std::span(static_cast<const std::uint8_t*>(data), size));
}

int ControlDescriptor(int descriptor, int command, void* argument) {
    const auto held = FileFor(descriptor);
    OpenFile& file = *held;
    switch (command) {
        case F_GETFL:
            return file.flags & ~(O_CREAT | O_EXCL | O_NOCTTY | O_TRUNC | O_CLOEXEC);
        case F_SETFL:
            return SetStatusFlags(file,
                                  static_cast<int>(reinterpret_cast<std::intptr_t>(argument)));
        case F_DUPFD:
        case F_DUPFD_CLOEXEC:
            return Copied(descriptor, Real().fcntl(descriptor, command, argument));
        default:
            return Real().fcntl(descriptor, command, argument);
    }
}

void AdoptInherited() {
    if (RunLink::Get() == nullptr) {
        return;
    }
    for (const Placeholder& placeholder : InheritedPlaceholders()) {
        std::shared_ptr<OpenFile> file =
            World::Get()->TheHost().Inherit(placeholder.path, placeholder.flags);
        if (file != nullptr) {
            TheDescriptors().Put(placeholder.descriptor, std::move(file));
        }
    }
}

IoResult Exists(const Host& host, const char* path) {
    return host.Find(path) == PathKind::kNone ? -ENOENT : 0;
}

}  // namespace vboard

namespace {
// Before main: the program may have come into being with devices open.
__attribute__((constructor)) void BeginningOfProgram() {
    vboard::AdoptInherited();
}
}  // namespace
