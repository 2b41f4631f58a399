// SPDX-License-Identifier: MIT
#include "vboard/process/OtherPrograms.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#include "vboard/process/Patience.h"
#include "vboard/process/RealLibc.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

/// proc(5), the third field of /proc/PID/stat: R for a process that runs or may, S where it can't
/// be read. '\0' where there is no such process any more.
char StateOf(std::int32_t process) {
    std::array<char, 128> text{};
    const int file = Real().open(Formatted("/proc/{}/stat", process).c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0 && errno != ENOENT) {
        return 'S';
    }
    const ssize_t got = file < 0 ? -1 : Real().read(file, text.data(), text.size());
    if (file >= 0) {
        static_cast<void>(Real().close(file));
    }
    const std::string_view line(text.data(), static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    // Behind the program's name, which may have brackets of its own.
    const std::size_t name = line.rfind(')');
    return name == std::string_view::npos || name + 2 >= line.size() ? '\0' : line[name + 2];
}

}  // namespace

OtherPrograms::OtherPrograms(RunningPrograms& programs) : m_programs(programs) {
    TakePlace();
}

void OtherPrograms::TakePlace() {
    auto& places = m_programs.places;
    const std::int32_t self = getpid();
    // A program that has become another one has its place already.
    auto* own = std::find_if(places.begin(), places.end(),
                             [self](const RunningProgram& place) { return place.process == self; });
    if (own == places.end()) {
        own = std::find_if(places.begin(), places.end(), [self](RunningProgram& place) {
            std::int32_t nobody = 0;
            return std::atomic_ref(place.process).compare_exchange_strong(nobody, self);
        });
    }
    if (own == places.end()) {
        return;
    }
    m_own = own;
    m_own->restless = 0;
    m_own->beginning = 0;
    GoOn();
    const auto number = static_cast<std::uint32_t>(own - places.begin()) + 1;
    const std::atomic_ref used(m_programs.used);
    std::uint32_t seen = used.load();
    while (seen < number && !used.compare_exchange_weak(seen, number)) {
    }
}

void OtherPrograms::BeforeFork() {
    if (m_own != nullptr) {
        std::atomic_ref(m_own->beginning).fetch_add(1);
    }
}

void OtherPrograms::AfterForkInChild() {
    RunningProgram* parent = std::exchange(m_own, nullptr);
    TakePlace();
    // Unless that has ended, and the place may be another's.
    if (parent != nullptr && parent->process == getppid()) {
        std::atomic_ref(parent->beginning).fetch_sub(1);
    }
}

bool OtherPrograms::OthersRest() {
    bool allRest = true;
    for (RunningProgram& other : std::span(m_programs.places).first(m_programs.used)) {
        const std::int32_t process = other.process;
        if (&other == m_own || process == 0) {
            continue;
        }
        const std::int64_t until = std::atomic_ref(other.pausesUntilNs).load();
        const char state = StateOf(process);
        if (state == '\0' || state == 'Z' || state == 'X') {
            std::int32_t gone = process;
            std::atomic_ref(other.process).compare_exchange_strong(gone, 0);
            continue;
        }
        const bool goesFirst = std::pair(until, &other) < std::pair(m_own->pausesUntilNs, m_own);
        const bool rests =
            until != 0 ? !goesFirst : state != 'R' && state != 'D' && other.beginning == 0;
        if (rests) {
            other.restless = 0;
        } else if (other.restless == 0) {
            allRest = false;
        }
    }
    return allRest;
}

void OtherPrograms::Await(Instant end) {
    if (m_own == nullptr || m_programs.used < 2) {
        return;
    }
    std::atomic_ref(m_own->pausesUntilNs).store(end.time_since_epoch().count());
    int rests = 0;
    for (int look = 0; look < kMostLooks; ++look) {
        rests = OthersRest() ? rests + 1 : 0;
        // One that was seen at rest may have been woken by one that was seen later.
        if (rests == 2) {
            return;
        }
        if (rests == 0) {
            Nap(NapBehind(look));
        }
    }
    for (RunningProgram& other : std::span(m_programs.places).first(m_programs.used)) {
        other.restless = &other == m_own ? 0 : 1;
    }
}

void OtherPrograms::GoOn() {
    if (m_own != nullptr) {
        std::atomic_ref(m_own->pausesUntilNs).store(0);
    }
}

}  // namespace vboard
