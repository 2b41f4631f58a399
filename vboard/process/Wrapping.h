// SPDX-License-Identifier: MIT
#pragma once

// What the wrappers have in common: whose file is it, and how a room's answer becomes libc's.

#include <sys/uio.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <utility>

#include "vboard/process/Descriptors.h"
#include "vboard/process/World.h"

namespace vboard {

/// The board's host, where `path` is one of its names; else nullptr. Paths that can't be cost no
/// more than a comparison.
[[nodiscard]] inline Host* HostFor(const char* path) {
    if (path == nullptr ||
        (std::strncmp(path, "/dev/", 5) != 0 && std::strncmp(path, "/sys/class/gpio", 15) != 0)) {
        return nullptr;
    }
    const RunLink* link = RunLink::Get();
    return link != nullptr && link->Owns(path) ? &World::Get()->TheHost() : nullptr;
}

/// The board's file behind a descriptor; else nullptr.
[[nodiscard]] inline OpenFile* FileFor(int descriptor) {
    return TheDescriptors().Find(descriptor);
}

/// The host of a world that is known to exist, because one of its files is open.
[[nodiscard]] inline Host& TheHost() {
    return World::IfMade()->TheHost();
}

/// Turns a room's answer into libc's: a count, or -1 and errno. errno is left alone on success.
template <class Result, class Ask>
Result Answer(Ask&& ask) {
    const int before = errno;
    const IoResult result = std::forward<Ask>(ask)();
    errno = result < 0 ? static_cast<int>(-result) : before;
    return static_cast<Result>(result < 0 ? -1 : result);
}

/// Opens a path of the board as a descriptor: -1 and errno on failure.
[[nodiscard]] int OpenDescriptor(Host& host, const char* path, int flags);
/// Opens a path of the board as a stream: nullptr and errno on failure.
[[nodiscard]] std::FILE* OpenStream(Host& host, const char* path, const char* mode);
/// A stream on a descriptor of the board: nullptr and errno on failure.
[[nodiscard]] std::FILE* StreamOn(int descriptor, const char* mode);
int CloseDescriptor(int descriptor);
/// True for a descriptor that the run itself needs.
[[nodiscard]] bool IsReserved(int descriptor);
/// close_range(2) that spares what the run itself needs.
int CloseRange(unsigned first, unsigned last, int flags);

/// A copy of the board's `original`, as libc made it: registers it. Returns `copy`.
int Copied(int original, int copy);
/// The target of dup2 or dup3, which is closed when it is the board's.
void MakeRoom(int original, int target);

/// Reading and writing in pieces, and at a place of its own.
IoResult ReadPieces(OpenFile& file, const iovec* pieces, int count);
IoResult WritePieces(OpenFile& file, const iovec* pieces, int count);
IoResult ReadAt(OpenFile& file, void* buffer, std::size_t size, std::int64_t offset);
IoResult WriteAt(OpenFile& file, const void* data, std::size_t size, std::int64_t offset);

/// Finds the devices behind descriptors that were open when the program came into being.
void AdoptInherited();

/// fcntl on a descriptor of the board. `argument` is the third word, whatever it is.
int ControlDescriptor(int descriptor, int command, void* argument);

/// 0 where a path of the board exists, else -ENOENT.
[[nodiscard]] IoResult Exists(const Host& host, const char* path);

}  // namespace vboard
