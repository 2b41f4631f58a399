// SPDX-License-Identifier: MIT
#include "vboard/process/DescriptorCalls.h"

#include <fcntl.h>
#include <linux/close_range.h>

#include <cstdint>
#include <memory>

#include "vboard/process/Locks.h"
#include "vboard/process/MemoryOwner.h"
#include "vboard/process/RealLibc.h"
#include "vboard/time/MustHold.h"

namespace vboard {
namespace {

int SetStatusFlags(int descriptor, OpenFile& file, int flags) {
    constexpr int kChangeable = O_APPEND | O_NONBLOCK;
    const int changed = (file.flags & ~kChangeable) | (flags & kChangeable);
    if (changed != file.flags) {
        file.flags = changed;
        NoteFlags(descriptor, changed);
    }
    file.nonBlocking = (flags & O_NONBLOCK) != 0;
    return 0;
}

}  // namespace

int OpenDescriptor(const Place& place, int flags, std::string_view mode) {
    const BoardTurn turn;
    const int before = errno;
    if (RunsInParentsMemory()) {
        // The program that it becomes finds the file behind the descriptor.
        const IoResult exists = Exists(place);
        errno = exists < 0 ? static_cast<int>(-exists) : before;
        return exists < 0 ? -1 : MakePlaceholder(place.Path(), flags);
    }
    int error = 0;
    const CallKind how = mode.empty() ? CallKind::kOpen : CallKind::kFopen;
    std::shared_ptr<OpenFile> file = place.TheHost().Open(how, place.Path(), flags, mode, error);
    if (file == nullptr) {
        if (place.Path().starts_with("/dev/gpiochip")) {
            static bool said = false;
            NameRefused(said, "open", place.Path(),
                        "ENOENT: the board's lines are the files of /sys/class/gpio");
        }
        errno = error;
        return -1;
    }
    const int descriptor = MakePlaceholder(place.Path(), flags);
    if (descriptor >= 0) {
        TheDescriptors().Put(descriptor, std::move(file));
        errno = before;
    }
    return descriptor;
}

IoResult Forget(int descriptor) {
    const BoardTurn turn;
    const std::shared_ptr<OpenFile> file = TheDescriptors().Take(descriptor);
    if (file == nullptr) {
        return -EBADF;  // Another thread has just closed it.
    }
    MustHold(file->descriptors >= 0, "no more descriptors of a file go than came");
    if (file->descriptors > 0) {
        return 0;
    }
    ReleaseLocks(*file);
    return TheHost().Close(*file);
}

int CloseDescriptor(int descriptor) {
    if (RunsInParentsMemory()) {
        // It closes when the child becomes a program. Until then its number must not go to another
        // file, since the parent's table, which the child looks into, calls it the board's.
        return Real().fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    }
    return Answer<int>([descriptor]() -> IoResult {
        const IoResult result = Forget(descriptor);
        static_cast<void>(Real().close(descriptor));
        return result;
    });
}

int CloseRange(unsigned first, unsigned last, int flags) {
    if (RunsInParentsMemory()) {
        flags = static_cast<int>(static_cast<unsigned>(flags) | CLOSE_RANGE_CLOEXEC);
    }
    const auto end = static_cast<unsigned>(TheDescriptors().End());
    const bool closes = (static_cast<unsigned>(flags) & CLOSE_RANGE_CLOEXEC) == 0;
    for (unsigned descriptor = first; closes && descriptor < end && descriptor <= last;
         ++descriptor) {
        if (TheDescriptors().Has(static_cast<int>(descriptor))) {
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
    const RunLink* link = RunLink::Get();
    const auto number = static_cast<unsigned>(descriptor);
    return link != nullptr && number >= link->FirstReserved() && number <= link->LastReserved();
}

int Copied(int original, int copy) {
    const BoardTurn turn;
    if (copy >= 0 && copy != original && FileFor(original) != nullptr && !RunsInParentsMemory()) {
        TheDescriptors().Share(original, copy);
    }
    return copy;
}

int Replaced(int original, int target, int copy) {
    if (copy >= 0 && copy != original && FileFor(target) != nullptr && !RunsInParentsMemory()) {
        static_cast<void>(Forget(target));
    }
    return Copied(original, copy);
}

int ControlDescriptor(int descriptor, int command, void* argument) {
    const auto held = FileFor(descriptor);
    if (held == nullptr) {
        return Refused(EBADF);  // Another thread has just closed it.
    }
    OpenFile& file = *held;
    switch (command) {
        case F_GETFL:
            return file.flags & ~(O_CREAT | O_EXCL | O_NOCTTY | O_TRUNC | O_CLOEXEC);
        case F_SETFL:
            return SetStatusFlags(descriptor, file,
                                  static_cast<int>(reinterpret_cast<std::intptr_t>(argument)));
        case F_DUPFD:
        case F_DUPFD_CLOEXEC:
            return Copied(descriptor, Real().fcntl(descriptor, command, argument));
        case F_GETLK:
        case F_SETLK:
        case F_SETLKW:
            return Answer<int>(
                [&] { return LockRange(file, command, static_cast<struct flock*>(argument)); });
#if F_GETLK64 != F_GETLK
        case F_GETLK64:
        case F_SETLK64:
        case F_SETLKW64:
#endif
        case F_OFD_GETLK:
        case F_OFD_SETLK:
        case F_OFD_SETLKW:
            return Answer<int>(
                [&] { return LockRange(file, command, static_cast<struct flock64*>(argument)); });
        case F_GETFD:
        case F_SETFD:
            return Real().fcntl(descriptor, command, argument);
        default:
            return Refused(EINVAL);
    }
}

}  // namespace vboard
