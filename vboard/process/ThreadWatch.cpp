// SPDX-License-Identifier: MIT
#include "vboard/process/ThreadWatch.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "vboard/process/RealLibc.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

constexpr const char* kThreads = "/proc/self/task";
constexpr std::string_view kRunning = "running";

#ifdef SYS_mmap2
constexpr long kMapMemory = SYS_mmap2;
#else
constexpr long kMapMemory = SYS_mmap;
#endif

std::string Start(const std::string& path) {
    std::array<char, 256> text{};
    const int file = Real().open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t got = file < 0 ? -1 : Real().read(file, text.data(), text.size());
    if (file >= 0) {
        static_cast<void>(Real().close(file));
    }
    return got > 0 ? std::string(text.data(), static_cast<std::size_t>(got)) : "";
}

/// As getdents64(2) fills it.
struct Entry {
    std::uint64_t inode;
    std::int64_t offset;
    std::uint16_t length;
    std::uint8_t type;
    char name[1];  ///< Longer than that.
};

/// libc's own function, past the wrapper of that name.
long ListFolder(int folder, void* entries, std::size_t size) {
    static const auto real = reinterpret_cast<long (*)(long, ...)>(FindReal("syscall"));
    return real(SYS_getdents64, folder, entries, size);
}

std::vector<pid_t> AllThreads() {
    std::vector<pid_t> threads;
    const int folder = Real().open(kThreads, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    alignas(Entry) std::array<char, 4096> entries{};
    long got = 0;
    while (folder >= 0 && (got = ListFolder(folder, entries.data(), entries.size())) > 0) {
        for (long at = 0; at < got;) {
            const auto* entry = reinterpret_cast<const Entry*>(entries.data() + at);
            if (entry->name[0] != '.') {
                threads.push_back(static_cast<pid_t>(std::strtol(entry->name, nullptr, 10)));
            }
            at += entry->length;
        }
    }
    if (folder >= 0) {
        static_cast<void>(Real().close(folder));
    }
    return threads;
}

bool Has(const std::vector<pid_t>& threads, pid_t thread) {
    return std::find(threads.begin(), threads.end(), thread) != threads.end();
}

}  // namespace

/// proc(5): "running", or the call's number, its arguments and two addresses; -1 stands for a sleep
/// outside of any call, in which a page is fetched.
bool ThreadWatch::Sighting::Runs() const {
    // One that changes the program's memory waits for another thread's change at most.
    constexpr std::array<long, 8> kBrief{SYS_munmap, SYS_mprotect, SYS_madvise, SYS_mremap,
                                         SYS_brk,    SYS_clone,    SYS_exit,    kMapMemory};
    const long number = std::strtol(call.c_str(), nullptr, 10);
    return call.starts_with(kRunning) || call.starts_with("-1 ") ||
           std::find(kBrief.begin(), kBrief.end(), number) != kBrief.end();
}

bool ThreadWatch::Sighting::AwaitsOutside() const {
    char* rest = nullptr;
    const long number = std::strtol(call.c_str(), &rest, 10);
    bool isFutex = number == SYS_futex;
#ifdef SYS_futex_time64
    isFutex = isFutex || number == SYS_futex_time64;
#endif
    constexpr int kTimeout = 3;  // futex(2): its fourth argument.
    unsigned long argument = 0;
    for (int index = 0; index <= kTimeout; ++index) {
        argument = std::strtoul(rest, &rest, 16);
    }
    return !isFutex || argument != 0;
}

std::vector<ThreadWatch::Sighting> ThreadWatch::Sight(const std::vector<pid_t>& known) const {
    std::vector<Sighting> sightings;
    for (const pid_t thread : AllThreads()) {
        if (thread == gettid() || Has(known, thread)) {
            continue;
        }
        const std::string folder = Formatted("{}/{}", kThreads, thread);
        std::string call = Start(folder + "/syscall");
        if (!call.empty()) {  // It has ended otherwise.
            sightings.push_back({thread, std::move(call), Start(folder + "/schedstat")});
        }
    }
    return sightings;
}

ThreadWatch::Others ThreadWatch::Look(const std::vector<pid_t>& known) {
    const auto first = Sight(known);
    std::erase_if(m_givenUp, [&first](pid_t id) {
        return std::none_of(first.begin(), first.end(), [id](const Sighting& seen) {
            return seen.thread == id && seen.Runs();
        });
    });
    const auto counts = [this](const Sighting& seen) { return !Has(m_givenUp, seen.thread); };
    const auto runs = [&counts](const Sighting& seen) { return counts(seen) && seen.Runs(); };
    if (std::any_of(first.begin(), first.end(), runs)) {
        return Others::kRun;
    }
    // One that was seen asleep may have been woken by one that was seen later. Those who slept from
    // one look to the next have all slept at the same moment.
    if (m_givenUp.empty() && !first.empty() && Sight(known) != first) {
        return Others::kRun;
    }
    const bool outside = std::any_of(first.begin(), first.end(),
                                     [](const Sighting& seen) { return seen.AwaitsOutside(); });
    return outside ? Others::kAwaitOutside : Others::kAwaitEachOther;
}

void ThreadWatch::GiveUp(const std::vector<pid_t>& known) {
    m_givenUp.clear();
    for (const Sighting& seen : Sight(known)) {
        if (seen.Runs()) {
            m_givenUp.push_back(seen.thread);
        }
    }
}

}  // namespace vboard
