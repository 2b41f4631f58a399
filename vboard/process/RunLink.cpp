// SPDX-License-Identifier: MIT
#include "vboard/process/RunLink.h"

#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>

#include "vboard/host/Host.h"
#include "vboard/process/RealLibc.h"
#include "vboard/text/Format.h"
#include "vboard/text/Numbers.h"

namespace vboard {
namespace {

/// A pipe whose reader has gone is an error of the run's, and no signal to the program.
class WithoutPipeSignal {
public:
    WithoutPipeSignal() {
        sigset_t pending;
        sigemptyset(&m_pipe);
        sigaddset(&m_pipe, SIGPIPE);
        static_cast<void>(sigpending(&pending));
        m_wasPending = sigismember(&pending, SIGPIPE) == 1;
        static_cast<void>(pthread_sigmask(SIG_BLOCK, &m_pipe, &m_before));
    }
    ~WithoutPipeSignal() {
        const timespec now{};
        // libc's own function, past the wrapper of that name.
        static const auto take =
            reinterpret_cast<int (*)(const sigset_t*, siginfo_t*, const timespec*)>(
                FindReal("sigtimedwait"));
        if (!m_wasPending) {
            static_cast<void>(take(&m_pipe, nullptr, &now));
        }
        static_cast<void>(pthread_sigmask(SIG_SETMASK, &m_before, nullptr));
    }
    WithoutPipeSignal(const WithoutPipeSignal&) = delete;
    WithoutPipeSignal& operator=(const WithoutPipeSignal&) = delete;

private:
    sigset_t m_pipe{};
    sigset_t m_before{};
    bool m_wasPending = false;
};

/// Returns 0, or errno when not all of `text` could be written. The program's errno stays its own.
int WriteAll(int descriptor, std::string_view text) {
    const int kept = errno;
    const WithoutPipeSignal blocked;
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
    int descriptor = -1;
    if (!ParseWhole(words, 10, descriptor)) {
        return false;
    }
    void* mapped =
        mmap(nullptr, sizeof(RunMemory), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    if (mapped == MAP_FAILED) {
        FailRun("the run's memory can't be mapped");
    }
    m_memory = static_cast<RunMemory*>(mapped);
    m_others.emplace(m_memory->programs);
    static_cast<void>(pthread_atfork(BeforeFork, nullptr, AfterForkInChild));
    if (const char* own = std::getenv(kOwnTimeVariable)) {
        m_ownNs = std::strtoll(own, nullptr, 10);
    }
    std::atomic_ref(m_memory->report.loaded).fetch_add(1);
    return true;
}

void RunLink::BeforeFork() {
    Get()->BeginOwnTime();
    Get()->m_others->BeforeFork();
}

void RunLink::AfterForkInChild() {
    Get()->m_others->AfterForkInChild();
}

bool RunLink::Owns(std::string_view path) const {
    return Host::IsHardware(path) || path == m_memory->portPath.data() ||
           path == m_memory->commPath.data();
}

TextSink RunLink::WriterOf(Output output) {
    const int descriptor = TheSession().outputDescriptors[output];
    return [output, descriptor, &report = m_memory->report](std::string_view text) {
        report.NoteWrite(output, WriteAll(descriptor, text));
    };
}

Instant RunLink::OwnTime() const {
    return Instant{Duration{m_ownNs.value_or(m_memory->report.boardTimeNs)}};
}

Instant RunLink::AskTime() {
    const Instant now = OwnTime();
    PassTo(now + kTimeOfAsking);
    return now;
}

void RunLink::PassTo(Instant when) {
    if (m_ownNs) {
        m_ownNs = std::max<std::int64_t>(*m_ownNs, when.time_since_epoch().count());
    }
    m_memory->report.ReachTime(when.time_since_epoch().count());
}

void Remark(std::string_view text) {
    static_cast<void>(WriteAll(STDERR_FILENO, Formatted("vboard: {}\n", text)));
}

void FailRun(std::string_view problem) {
    if (RunLink* link = RunLink::Get()) {
        link->Memory().report.ownError = 1;
    }
    Remark(problem);
    Real()._exit(kExitOwnError);
    std::abort();
}

}  // namespace vboard
