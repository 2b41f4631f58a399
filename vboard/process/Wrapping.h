// SPDX-License-Identifier: MIT
#pragma once

// What the wrappers have in common: whose file is it, and how a room's answer becomes libc's.

#include <sys/uio.h>

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>

#include "vboard/process/BoardTurn.h"
#include "vboard/process/Descriptors.h"
#include "vboard/process/Paths.h"
#include "vboard/process/World.h"

namespace vboard {

/// The answer to a call that is refused: -1 and errno.
inline int Refused(int error) {
    errno = error;
    return -1;
}

/// Something of the board and the turn to use it; nothing, and no turn, where it is not the
/// board's. The turn lasts as long as the answer is kept.
class Place {
public:
    Place() = default;
    /// `path` is the board's name for the file.
    Place(World& world, std::string path)
        : m_turn(std::in_place), m_host(&world.TheHost()), m_path(std::move(path)) {
        if (m_path.ends_with('/') && m_host->Find(m_path) == PathKind::kFolder) {
            m_path.pop_back();
        }
    }
    explicit operator bool() const { return m_host != nullptr; }
    [[nodiscard]] Host& TheHost() const { return *m_host; }
    [[nodiscard]] const std::string& Path() const { return m_path; }

private:
    std::optional<BoardTurn> m_turn;
    Host* m_host = nullptr;
    std::string m_path;
};

/// A file of the board behind a descriptor and the turn to use it; nothing, and no turn, where it
/// is not the board's. The turn lasts as long as this is kept.
class FileTurn {
public:
    FileTurn() = default;
    /// May wait for the turn. Empty when another thread has closed the file meanwhile.
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

/// The file of the board that a path of the program leads to.
[[nodiscard]] inline Place HostFor(const char* path, LastLink last = LastLink::kFollowed,
                                   int folder = AT_FDCWD) {
    std::string found = BoardPath(folder, path, last);
    return found.empty() ? Place() : Place(*World::Get(), std::move(found));
}

/// The board's file behind a descriptor. Other descriptors cost no more than a look.
[[nodiscard]] inline FileTurn FileFor(int descriptor) {
    return TheDescriptors().Has(descriptor) ? FileTurn(descriptor) : FileTurn();
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

/// Opens a path of the board as a descriptor, or for a stream of this `mode`: -1 and errno on
/// failure.
[[nodiscard]] int OpenDescriptor(const Place& place, int flags, std::string_view mode = {});
int CloseDescriptor(int descriptor);
/// Says once in a program, in the board's turn, why an epoll set doesn't take the file.
void NameRefusedSet(const std::string& path);
/// What the board knows of a descriptor goes; the machine's own stays. 0, or -errno of the closing.
IoResult Forget(int descriptor);
/// True for a descriptor that the run itself needs.
[[nodiscard]] bool IsReserved(int descriptor);
/// close_range(2) that spares what the run itself needs.
int CloseRange(unsigned first, unsigned last, int flags);

/// A copy of `original`, as libc made it: registers it where that is the board's. Returns `copy`.
int Copied(int original, int copy);
/// The same for dup2 and dup3, which close `target` if it was the board's.
int Replaced(int original, int target, int copy);

/// read(2) and write(2) with the program's memory: as much of it as there is; -EFAULT for none.
IoResult ReadInto(OpenFile& file, void* buffer, std::size_t size);
IoResult WriteFrom(OpenFile& file, const void* data, std::size_t size);

/// Reading and writing in pieces, and at a place of its own.
IoResult ReadPieces(OpenFile& file, const iovec* pieces, int count);
IoResult WritePieces(OpenFile& file, const iovec* pieces, int count);
IoResult ReadAt(OpenFile& file, void* buffer, std::size_t size, std::int64_t offset);
IoResult WriteAt(OpenFile& file, const void* data, std::size_t size, std::int64_t offset);
IoResult ReadPiecesAt(OpenFile& file, const iovec* pieces, int count, std::int64_t offset);
IoResult WritePiecesAt(OpenFile& file, const iovec* pieces, int count, std::int64_t offset);

/// The offset of preadv2 and pwritev2 that stands for the file's own place.
inline constexpr std::int64_t kNoPlace = -1;
/// preadv2(2) and pwritev2(2), which know no flags here.
IoResult CopyFlagged(OpenFile& file, const iovec* pieces, int count, std::int64_t offset, int flags,
                     bool writes);

/// sendfile(2) where one of the two is the board's. `offset` may be nullptr.
IoResult Send(int target, int source, std::int64_t* offset, std::size_t count);
/// dprintf(3).
IoResult Say(OpenFile& file, const char* format, va_list arguments);

/// Finds the devices behind descriptors that were open when the program came into being.
void AdoptInherited();

/// fcntl on a descriptor of the board. `argument` is the third word, whatever it is.
int ControlDescriptor(int descriptor, int command, void* argument);

/// 0 where a path of the board exists, else -ENOENT or -ENOTDIR.
[[nodiscard]] IoResult Exists(const Place& place);

}  // namespace vboard
