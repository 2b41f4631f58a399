// SPDX-License-Identifier: MIT
#include "vboard/process/Waiting.h"

#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <iterator>
#include <span>

#include "vboard/process/Deadlines.h"
#include "vboard/process/OutsideWait.h"
#include "vboard/process/RealLibc.h"

namespace vboard {
namespace {

/// More files than a program may have open. The usual counts cost no call.
bool IsMoreThanThereCanBe(rlim_t count) {
    rlimit limit{};
    return count > FD_SETSIZE && getrlimit(RLIMIT_NOFILE, &limit) == 0 && count >= limit.rlim_cur;
}

/// select(2): what poll says of a file that is ready for reading, and for writing.
constexpr int kReadable = POLLIN | POLLHUP | POLLERR;
constexpr int kWritable = POLLOUT | POLLERR;

bool IsIn(const fd_set* set, int descriptor) {
    return set != nullptr && FD_ISSET(descriptor, set);
}

bool IsInAny(const FileSets& sets, int descriptor) {
    return IsIn(sets.reading, descriptor) || IsIn(sets.writing, descriptor) ||
           IsIn(sets.excepting, descriptor);
}

std::vector<pollfd> FilesOf(const FileSets& sets) {
    std::vector<pollfd> files;
    for (int descriptor = 0; descriptor < sets.count; ++descriptor) {
        int events = IsIn(sets.reading, descriptor) ? POLLIN : 0;
        events |= IsIn(sets.writing, descriptor) ? POLLOUT : 0;
        events |= IsIn(sets.excepting, descriptor) ? POLLPRI : 0;
        if (events != 0) {
            files.push_back({descriptor, static_cast<short>(events), 0});
        }
    }
    return files;
}

/// Keeps a descriptor in the set if it was there and is ready; the count of those kept.
int Keep(fd_set* set, const pollfd& file, int ready) {
    if (!IsIn(set, file.fd)) {
        return 0;
    }
    if ((file.revents & ready) != 0) {
        return 1;
    }
    FD_CLR(file.fd, set);
    return 0;
}

int KeepReady(const FileSets& sets, const std::vector<pollfd>& files) {
    int count = 0;
    for (const pollfd& file : files) {
        count += Keep(sets.reading, file, kReadable);
        count += Keep(sets.writing, file, kWritable);
        count += Keep(sets.excepting, file, POLLPRI);
    }
    return count;
}

/// The two worlds of a wait, in the order of the program's files.
struct Split {
    std::vector<std::shared_ptr<OpenFile>> held;  ///< Though another thread closes them.
    std::vector<Watched> watched;
    std::vector<pollfd*> ours;
    std::vector<pollfd> others;
    std::vector<pollfd*> theirs;
};

Split SplitFiles(pollfd* files, nfds_t count) {
    Split split;
    const BoardTurn turn;
    for (pollfd* file = files; file != files + count; ++file) {
        file->revents = 0;
        if (auto open = TheDescriptors().At(file->fd)) {
            const bool reading = (file->events & (POLLIN | POLLRDNORM)) != 0;
            const bool writing = (file->events & (POLLOUT | POLLWRNORM)) != 0;
            const bool urgent = (file->events & POLLPRI) != 0;
            split.watched.push_back({&*open, {reading, writing, urgent}, {}});
            split.ours.push_back(file);
            split.held.push_back(std::move(open));
        } else {
            split.others.push_back(*file);
            split.theirs.push_back(file);
        }
    }
    return split;
}

/// What the program counts of those files: select what each is ready for, poll the files.
IoResult CountReady(const std::vector<pollfd>& files, bool eachEvent) {
    IoResult count = 0;
    for (const pollfd& file : files) {
        if (!eachEvent) {
            count += file.revents != 0 ? 1 : 0;
            continue;
        }
        count += (file.events & POLLIN) != 0 && (file.revents & kReadable) != 0 ? 1 : 0;
        count += (file.events & POLLOUT) != 0 && (file.revents & kWritable) != 0 ? 1 : 0;
        count += (file.events & file.revents & POLLPRI) != 0 ? 1 : 0;
    }
    return count;
}

/// The words of a set that select looks at.
std::span<fd_mask> WordsOf(fd_set* set, int count) {
    const int words = set == nullptr ? 0 : (count + NFDBITS - 1) / NFDBITS;
    return {reinterpret_cast<fd_mask*>(set), static_cast<std::size_t>(words)};
}

/// For so long, or without end.
int SelectFor(const FileSets& sets, std::optional<Duration> timeout, const sigset_t* mask) {
    const timespec length = TimespecOf(timeout.value_or(Duration::zero()));
    return Real().pselect(sets.count, sets.reading, sets.writing, sets.excepting,
                          timeout ? &length : nullptr, mask);
}

/// What is ready in these sets now. They stay as they are where nothing is.
int SelectNow(const FileSets& sets, const sigset_t* mask) {
    std::array<std::vector<fd_mask>, 3> copies;
    const std::array<fd_set*, 3> all{sets.reading, sets.writing, sets.excepting};
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::span<fd_mask> words = WordsOf(all.at(i), sets.count);
        copies.at(i).assign(words.begin(), words.end());
    }
    const int ready = SelectFor(sets, Duration::zero(), mask);
    for (std::size_t i = 0; ready == 0 && i < all.size(); ++i) {
        std::copy(copies.at(i).begin(), copies.at(i).end(), WordsOf(all.at(i), sets.count).begin());
    }
    return ready;
}

void StoreReady(const Split& split) {
    for (std::size_t i = 0; i < split.ours.size(); ++i) {
        const Readiness ready = split.watched[i].ready;
        const int events = split.ours[i]->events;
        int found = ready.readable ? events & (POLLIN | POLLRDNORM) : 0;
        found |= ready.writable ? events & (POLLOUT | POLLWRNORM) : 0;
        found |= ready.urgent ? POLLPRI | POLLERR : 0;
        split.ours[i]->revents = static_cast<short>(found);
    }
    for (std::size_t i = 0; i < split.theirs.size(); ++i) {
        split.theirs[i]->revents = split.others[i].revents;
    }
}

}  // namespace

FileSets SetsOf(int count, fd_set* reading, fd_set* writing, fd_set* excepting) {
    // Such a count stands for all files, and the sets behind it are of the usual size.
    const bool all = count > 0 && IsMoreThanThereCanBe(static_cast<rlim_t>(count));
    return {all ? FD_SETSIZE : count, reading, writing, excepting};
}

int Refusal(const FileSets& sets) {
    if (sets.count < 0) {
        return EINVAL;
    }
    const auto there = [count = sets.count](fd_set* set) {
        const std::span<fd_mask> words = WordsOf(set, count);
        return CanWrite(words.data(), words.size_bytes());
    };
    return there(sets.reading) && there(sets.writing) && there(sets.excepting) ? 0 : EFAULT;
}

int Refusal(const pollfd* files, nfds_t count) {
    if (IsMoreThanThereCanBe(count)) {
        return EINVAL;
    }
    return CanWrite(const_cast<pollfd*>(files), count * sizeof(pollfd)) ? 0 : EFAULT;
}

bool AnyOurs(const FileSets& sets) {
    for (int descriptor = 0; descriptor < sets.count; ++descriptor) {
        if (IsInAny(sets, descriptor) && TheDescriptors().Has(descriptor)) {
            return true;
        }
    }
    return false;
}

bool AnyOurs(const pollfd* files, nfds_t count) {
    return std::any_of(files, files + count,
                       [](const pollfd& file) { return TheDescriptors().Has(file.fd); });
}

bool Empty(const FileSets& sets) {
    for (int descriptor = 0; descriptor < sets.count; ++descriptor) {
        if (IsInAny(sets, descriptor)) {
            return false;
        }
    }
    return true;
}

int PollFiles(std::string_view name, pollfd* files, nfds_t count, std::optional<Duration> timeout) {
    Split split = SplitFiles(files, count);
    std::function<IoResult()> othersReady;
    if (!split.others.empty()) {
        othersReady = [&others = split.others, eachEvent = name == "select"] {
            static_cast<void>(Real().poll(others.data(), others.size(), 0));
            return CountReady(others, eachEvent);
        };
    }
    IoResult result = 0;
    {
        const BoardTurn turn;
        result = TheHost().Select(name, split.watched, timeout, othersReady);
    }
    if (result == kWouldWaitForEver) {
        OutsideWait away(std::nullopt);
        static_cast<void>(Real().poll(split.others.data(), split.others.size(), -1));
        away.Ended(false);
        const BoardTurn turn;
        TheHost().TellSelect(name, split.watched, timeout,
                             CountReady(split.others, name == "select"));
    } else if (result < 0) {
        errno = static_cast<int>(-result);
        return -1;
    } else if (othersReady) {
        static_cast<void>(othersReady());
    }
    StoreReady(split);
    return static_cast<int>(
        std::count_if(files, files + count, [](const pollfd& file) { return file.revents != 0; }));
}

int SelectFiles(const FileSets& sets, std::optional<Duration> timeout) {
    std::vector<pollfd> files = FilesOf(sets);
    const int result = PollFiles("select", files.data(), files.size(), timeout);
    if (result < 0) {
        return result;
    }
    const bool closedOne = std::any_of(files.begin(), files.end(), [](const pollfd& file) {
        return (file.revents & POLLNVAL) != 0;
    });
    if (closedOne) {
        errno = EBADF;
        return -1;
    }
    return KeepReady(sets, files);
}

int PollOthers(pollfd* files, nfds_t count, std::optional<Duration> timeout, const sigset_t* mask) {
    const auto ask = [=](std::optional<Duration> then) {
        const timespec length = TimespecOf(then.value_or(Duration::zero()));
        return Real().ppoll(files, count, then ? &length : nullptr, mask);
    };
    return AwaitFiles(
        timeout, [&ask] { return ask(Duration::zero()); }, ask);
}

int SelectOthers(const FileSets& sets, std::optional<Duration> timeout, const sigset_t* mask) {
    return AwaitFiles(
        timeout, [&] { return SelectNow(sets, mask); },
        [&](std::optional<Duration> then) { return SelectFor(sets, then, mask); });
}

std::optional<Duration> PauseVirtually(Duration length) {
    RunLink* link = RunLink::Get();
    if (link == nullptr) {
        return std::nullopt;
    }
    const BoardTurn turn;
    const int before = errno;
    const Duration wanted = std::max(length, Duration::zero());
    // In real time, and where threads have their line, the others go on meanwhile.
    if (link->TheSession().pace <= 0 && BoardTurn::IsAlone()) {
        const World* world = World::IfMade();
        const Instant begin = world != nullptr ? world->Now() : link->OwnTime();
        link->Others().Await(EndOf(begin, wanted));
    }
    const Duration left = World::Get()->Pause(wanted);
    link->Others().GoOn();
    errno = before;
    return left;
}

std::optional<Duration> AskClock(clockid_t clock) {
    const auto offset = OffsetOf(clock);
    RunLink* link = offset ? RunLink::Get() : nullptr;
    if (link == nullptr) {
        return std::nullopt;
    }
    World* world = World::IfMade();
    if (BoardTurn::IsMine()) {
        // From the middle of another call: time does not move.
        const Instant then = world != nullptr ? world->Now() : link->OwnTime();
        return *offset + then.time_since_epoch();
    }
    const BoardTurn turn;
    const Instant now = world != nullptr ? world->AskTime() : link->AskTime();
    return *offset + now.time_since_epoch();
}

std::optional<Duration> PauseUntil(clockid_t clock, Duration time) {
    const auto offset = OffsetOf(clock);
    World* world = offset ? World::Get() : nullptr;
    if (world == nullptr) {
        return std::nullopt;
    }
    const BoardTurn turn;
    return PauseVirtually(time - *offset - world->Now().time_since_epoch());
}

std::optional<Duration> PauseBy(clockid_t clock, bool until, Duration time) {
    if (until) {
        return PauseUntil(clock, time);
    }
    return OffsetOf(clock) ? PauseVirtually(time) : std::nullopt;
}

}  // namespace vboard
