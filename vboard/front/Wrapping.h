// SPDX-License-Identifier: MIT
#pragma once

// What the wrappers have in common: whose file is it, and how a room's answer becomes libc's.

#include <sys/select.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include "vboard/front/Descriptors.h"
#include "vboard/front/World.h"

namespace vboard {

/// The board's host, where `path` is one of its names; else nullptr. Paths that can't be cost no
/// more than a comparison.
[[nodiscard]] inline Host* HostFor(const char* path) {
    if (path == nullptr ||
        (std::strncmp(path, "/dev/", 5) != 0 && std::strncmp(path, "/sys/class/gpio", 15) != 0)) {
        return nullptr;
    }
    World* world = World::Get();
    return world != nullptr && world->TheHost().Owns(path) ? &world->TheHost() : nullptr;
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
int CloseDescriptor(int descriptor);

/// True when one of the sets names a file of the board.
[[nodiscard]] bool AnyOurs(int count, const fd_set* reading, const fd_set* writing);
/// select(2) on files of the board; other descriptors in the sets are reported as not ready.
int SelectOurs(int count, fd_set* reading, fd_set* writing, fd_set* excepting,
               std::optional<Duration> timeout);

/// A pause of the program, in virtual time. False when there is no board: then the pause is the
/// machine's.
[[nodiscard]] bool PauseVirtually(Duration length);

/// A time of seconds and a fraction, as a duration.
template <class Seconds, class Fraction>
constexpr Duration DurationOf(Seconds seconds, Fraction fraction, Duration unit) {
    return std::chrono::seconds(static_cast<std::int64_t>(seconds)) +
           unit * static_cast<std::int64_t>(fraction);
}

}  // namespace vboard
