// SPDX-License-Identifier: MIT
#include "vboard/process/RunLink.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "vboard/host/Host.h"
#include "vboard/process/RealLibc.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

/// Returns 0, or errno when not all of `text` could be written. The program's errno stays its own.
int WriteAll(int descriptor, std::string_view text) {
    const int kept = errno;
    int error = 0;
    while (!text.empty() && error == 0) {
        const ssize_t written = Real().write(descriptor, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            error = errno;
        }
    }
    errno = kept;
    return error;
}

}  // namespace

RunLink* RunLink::Get() {
    static RunLink* link = nullptr;
    static bool looked = false;
    if (!looked) {
        looked = true;
        // Never destroyed: files may be closed after every destructor has run.
        auto* made = new RunLink;
        const char* words = std::getenv(kSessionVariable);
        if (words != nullptr && made->Make(words)) {
            link = made;
        } else {
            delete made;
        }
    }
    return link;
}

bool RunLink::Make(const char* words) {
    if (!Session::Parse(words, m_session)) {
        return false;
    }
    void* mapped = mmap(nullptr, sizeof(RunMemory), PROT_READ | PROT_WRITE, MAP_SHARED,
                        m_session.reportDescriptor, 0);
    if (mapped == MAP_FAILED) {
        FailRun("the run's report can't be mapped");
    }
    m_memory = static_cast<RunMemory*>(mapped);
    m_lastReserved = kFirstSessionDescriptor;
    while (Real().fcntl(static_cast<int>(m_lastReserved) + 1, F_GETFD) >= 0) {
        ++m_lastReserved;
    }
    return true;
}

bool RunLink::Owns(std::string_view path) const {
    return Host::IsHardware(path) || path == m_memory->portPath.data() ||
           path == m_memory->commPath.data();
}

TextSink RunLink::WriterOf(Output output, int descriptor) {
    return [output, descriptor, &report = m_memory->report](std::string_view text) {
        report.NoteWrite(output, WriteAll(descriptor, text));
    };
}

Instant RunLink::AskTime() {
    const Instant now{Duration{m_memory->report.boardTimeNs}};
    m_memory->report.boardTimeNs += kTimeOfAsking.count();
    return now;
}

void FailRun(std::string_view problem) {
    static_cast<void>(WriteAll(STDERR_FILENO, Formatted("vboard: {}\n", problem)));
    Real()._exit(kExitOwnError);
    std::abort();
}

}  // namespace vboard
