// SPDX-License-Identifier: MIT
#include "vboard/process/Locks.h"

#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <set>

#include "vboard/process/FileStatus.h"
#include "vboard/process/ProgramMemory.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/RunLink.h"
#include "vboard/process/World.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

// A path's stretch of the shared memory: the lower half for the locks of fcntl, one byte of the
// upper for that of flock, since the two kinds don't meet.
constexpr int kStretchBits = 40;
constexpr std::int64_t kHalf = std::int64_t{1} << (kStretchBits - 1);
constexpr std::uint64_t kStretches = std::uint64_t{1} << 22;

/// What an opening has its locks of its own by: a descriptor of the shared memory, which goes where
/// the opening's own go, into children and other programs.
struct Holders {
    std::map<const OpenFile*, int> descriptors;
    std::set<const OpenFile*> inherited;
};

Holders& TheHolders() {
    static auto* holders = new Holders;
    return *holders;
}

std::int64_t BeginOf(const OpenFile& file) {
    FileFacts facts{};
    static_cast<void>(LookUpFacts(TheHost(), file.path, facts));
    return static_cast<std::int64_t>(facts.inode % kStretches) << kStretchBits;
}

/// The descriptor by which the opening holds its locks: -1 and errno on failure.
int HolderOf(const OpenFile& file) {
    auto& descriptors = TheHolders().descriptors;
    if (const auto found = descriptors.find(&file); found != descriptors.end()) {
        return found->second;
    }
    const RunLink& link = *RunLink::Get();
    const std::string memory = Formatted("/proc/self/fd/{}", link.TheSession().memoryDescriptor);
    const int opened = Real().open(memory.c_str(), O_RDWR | O_CLOEXEC);
    // Out of the way of the numbers that the program expects to be given.
    constexpr int kOutOfTheWay = 100;
    const int command = (file.flags & O_CLOEXEC) != 0 ? F_DUPFD_CLOEXEC : F_DUPFD;
    const int holder = opened < 0 ? -1 : Real().fcntl(opened, command, kOutOfTheWay);
    const int error = errno;
    static_cast<void>(Real().close(opened));
    errno = error;
    if (holder >= 0) {
        descriptors.emplace(&file, holder);
    }
    return holder;
}

IoResult LockStretch(int descriptor, int command, struct flock64& range) {
    return Real().fcntl64(descriptor, command, &range) < 0 ? -errno : 0;
}

/// The range within the file's stretch: the board's files have no length, and only those that can
/// seek have a place. False where it is none.
bool MoveInto(OpenFile& file, struct flock64& range) {
    const IoResult here = TheHost().Seek(file, 0, SEEK_CUR);
    std::int64_t begin =
        range.l_start + (range.l_whence == SEEK_CUR ? std::max<IoResult>(here, 0) : 0);
    std::int64_t length = range.l_len;
    if (length < 0) {
        begin += length;
        length = -length;
    }
    if (begin < 0 || begin >= kHalf) {
        return false;
    }
    const bool toTheEnd = length == 0 || length > kHalf - begin;
    range.l_whence = SEEK_SET;
    range.l_start = BeginOf(file) + begin;
    range.l_len = toTheEnd ? kHalf - begin : length;
    return true;
}

void MoveOutOf(const OpenFile& file, struct flock64& range) {
    const std::int64_t begin = range.l_start - BeginOf(file);
    range.l_len = begin + range.l_len == kHalf ? 0 : range.l_len;
    range.l_start = begin;
}

bool IsOfOpening(int command) {
    return command == F_OFD_GETLK || command == F_OFD_SETLK || command == F_OFD_SETLKW;
}

}  // namespace

IoResult LockFile(OpenFile& file, int operation) {
    if (TheHolders().inherited.contains(&file)) {
        return -ENOLCK;
    }
    struct flock64 range {};
    switch (operation & ~LOCK_NB) {
        case LOCK_SH:
            range.l_type = F_RDLCK;
            break;
        case LOCK_EX:
            range.l_type = F_WRLCK;
            break;
        case LOCK_UN:
            range.l_type = F_UNLCK;
            break;
        default:
            return -EINVAL;
    }
    range.l_start = BeginOf(file) + kHalf;
    range.l_len = 1;
    const int holder = HolderOf(file);
    const bool waits = (operation & LOCK_NB) == 0;
    return holder < 0 ? -errno : LockStretch(holder, waits ? F_OFD_SETLKW : F_OFD_SETLK, range);
}

IoResult LockRange(OpenFile& file, int command, struct flock64* range) {
    const bool sets = command != F_GETLK64 && command != F_OFD_GETLK;
    if (!CanRead(range) || (!sets && !CanWrite(range))) {
        return -EFAULT;
    }
    const int access = file.flags & O_ACCMODE;
    if (sets && ((range->l_type == F_RDLCK && access == O_WRONLY) ||
                 (range->l_type == F_WRLCK && access == O_RDONLY))) {
        return -EBADF;
    }
    struct flock64 moved = *range;
    if (!MoveInto(file, moved)) {
        return -EINVAL;
    }
    const int holder =
        IsOfOpening(command) ? HolderOf(file) : TheRunLink().TheSession().memoryDescriptor;
    const IoResult result = holder < 0 ? -errno : LockStretch(holder, command, moved);
    if (result == 0 && !sets) {
        if (moved.l_type == F_UNLCK) {
            range->l_type = F_UNLCK;
        } else {
            MoveOutOf(file, moved);
            *range = moved;
        }
    }
    return result;
}

IoResult LockRange(OpenFile& file, int command, struct flock* range) {
    if (!CanRead(range) || (command == F_GETLK && !CanWrite(range))) {
        return -EFAULT;
    }
    struct flock64 wide {};
    wide.l_type = range->l_type;
    wide.l_whence = range->l_whence;
    wide.l_start = range->l_start;
    wide.l_len = range->l_len;
    const int wideCommand = command == F_GETLK    ? F_GETLK64
                            : command == F_SETLK  ? F_SETLK64
                            : command == F_SETLKW ? F_SETLKW64
                                                  : command;
    const IoResult result = LockRange(file, wideCommand, &wide);
    if (result == 0 && wideCommand == F_GETLK64) {
        range->l_type = wide.l_type;
        range->l_whence = wide.l_whence;
        range->l_start = static_cast<off_t>(wide.l_start);
        range->l_len = static_cast<off_t>(wide.l_len);
        range->l_pid = wide.l_pid;
    }
    return result;
}

IoResult LockFromHere(OpenFile& file, int command, std::int64_t length) {
    struct flock64 range {};
    range.l_type = command == F_ULOCK ? F_UNLCK : F_WRLCK;
    range.l_whence = SEEK_CUR;
    range.l_len = length;
    switch (command) {
        case F_TEST: {
            const IoResult result = LockRange(file, F_GETLK64, &range);
            const bool free = range.l_type == F_UNLCK || range.l_pid == getpid();
            return result < 0 ? result : free ? 0 : -EACCES;
        }
        case F_ULOCK:
        case F_TLOCK:
            return LockRange(file, F_SETLK64, &range);
        case F_LOCK:
            return LockRange(file, F_SETLKW64, &range);
        default:
            return -EINVAL;
    }
}

void NoteInherited(const OpenFile& file) {
    TheHolders().inherited.insert(&file);
}

void ReleaseLocks(const OpenFile& file) {
    Holders& holders = TheHolders();
    holders.inherited.erase(&file);
    if (const auto found = holders.descriptors.find(&file); found != holders.descriptors.end()) {
        static_cast<void>(Real().close(found->second));
        holders.descriptors.erase(found);
    }
    // The last word of POSIX: a program that closes a file loses its locks on it.
    struct flock64 all {};
    all.l_type = F_UNLCK;
    all.l_start = BeginOf(file);
    all.l_len = kHalf;
    static_cast<void>(LockStretch(TheRunLink().TheSession().memoryDescriptor, F_SETLK64, all));
}

}  // namespace vboard
