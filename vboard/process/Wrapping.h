// SPDX-License-Identifier: MIT
#pragma once

// What the wrappers have in common: whose file is it, and how a room's answer becomes libc's.

#include <cerrno>
#include <memory>
#include <optional>
#include <string_view>
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

/// 0 where a path of the board exists, else -ENOENT or -ENOTDIR.
[[nodiscard]] IoResult Exists(const Place& place);

/// Says unless it was `said`, in the board's turn, that `call` of `path` is refused, with which
/// errno and what there is instead.
void NameRefused(bool& said, std::string_view call, std::string_view path,
                 std::string_view errnoAndInstead);

}  // namespace vboard
