// SPDX-License-Identifier: MIT
#pragma once

// What the wrappers have in common: whose file is it, and how a room's answer becomes libc's.

#include <sys/uio.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>

#include "vboard/process/BoardTurn.h"
#include "vboard/process/Descriptors.h"
#include "vboard/process/World.h"

namespace vboard {

/// Something of the board and the turn to use it; nothing, and no turn, where it is not the
/// board's. The turn lasts as long as the answer is kept.
class HostTurn {
public:
    HostTurn() = default;
    explicit HostTurn(World& world) : m_turn(std::in_place), m_host(&world.TheHost()) {}
    explicit operator bool() const { return m_host != nullptr; }
    [[nodiscard]] Host& operator*() const { return *m_host; }
    [[nodiscard]] Host* operator->() const { return m_host; }
    friend bool operator==(const HostTurn& turn, std::nullptr_t) { return turn.m_host == nullptr; }

private:
    std::optional<BoardTurn> m_turn;
    Host* m_host = nullptr;
};

class FileTurn {
public:
    FileTurn() = default;
    explicit FileTurn(int descriptor)
        : m_turn(std::in_place), m_file(TheDescriptors().At(descriptor)) {
        if (m_file == nullptr) {
            m_turn.reset();  // Another thread has just closed it.
        }
    }
    explicit operator bool() const { return m_file != nullptr; }
    [[nodiscard]] OpenFile& operator*() const { return *m_file; }
    [[nodiscard]] OpenFile* operator->() const { return m_file.get(); }
    friend bool operator==(const FileTurn& turn, std::nullptr_t) { return turn.m_file == nullptr; }

private:
    std::optional<BoardTurn> m_turn;
    std::shared_ptr<OpenFile> m_file;  ///< Outlives a close by another thread.
};

/// The board's host, where `path` is one of its names. Paths that can't be cost no more than a
/// comparison.
[[nodiscard]] inline HostTurn HostFor(const char* path) {
    if (path == nullptr ||
        (std::strncmp(path, "/dev/", 5) != 0 && std::strncmp(path, "/sys/class/gpio", 15) != 0)) {
        return {};
    }
    const RunLink* link = RunLink::Get();
    return link != nullptr && link->Owns(path) ? HostTurn(*World::Get()) : HostTurn();
}

/// The board's file behind a descriptor. Other descriptors cost no more than a look.
[[nodiscard]] inline FileTurn FileFor(int descriptor) {
    return TheDescriptors().Has(descriptor) ? FileTurn(descriptor) : FileTurn();
}

/// The host of a world that is known to exist, because one of its files is open. Needs the turn.
[[nodiscard]] inline Host& TheHost() {
    return World::IfMade()->TheHost();
}

/// Turns a room's answer into libc's: a count, or -1 and errno. errno is left alone on success.
/// Asks in the board's turn.
template <class Result, class Ask>
Result Answer(Ask&& ask) {
    const BoardTurn turn;
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
