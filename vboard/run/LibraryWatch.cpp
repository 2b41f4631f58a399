// SPDX-License-Identifier: MIT
#include "vboard/run/LibraryWatch.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>

#include <atomic>
#include <filesystem>
#include <fstream>

#include "vboard/text/Format.h"

namespace vboard {
namespace {

constexpr int kNapMs = 1;

bool HasEnded(pid_t program) {
    siginfo_t information{};
    return waitid(P_PID, static_cast<id_t>(program), &information, WEXITED | WNOHANG | WNOWAIT) !=
               0 ||
           information.si_pid != 0;
}

/// False as long as the process still is a copy of the runner.
bool IsAnotherProgram(pid_t program) {
    std::error_code error;
    const auto own = std::filesystem::read_symlink("/proc/self/exe", error);
    const auto its = std::filesystem::read_symlink(Formatted("/proc/{}/exe", program), error);
    return !error && its != own;
}

bool RunsWithout(pid_t program, const std::string& library) {
    if (!IsAnotherProgram(program)) {
        return false;
    }
    std::error_code error;
    const std::string name = std::filesystem::canonical(library, error).string();
    std::ifstream maps(Formatted("/proc/{}/maps", program));
    bool hasLibc = false;
    for (std::string line; std::getline(maps, line);) {
        if (line.find(name) != std::string::npos) {
            return false;
        }
        hasLibc = hasLibc || line.find("/libc.so") != std::string::npos ||
                  line.find("/libc-2.") != std::string::npos;
    }
    return hasLibc;
}

}  // namespace

bool EndIfWithoutLibrary(pid_t program, const std::string& library, const RunReport& report) {
    const auto& loaded = reinterpret_cast<const std::atomic<std::uint32_t>&>(report.loaded);
    while (loaded.load() == 0 && !HasEnded(program)) {
        // Most programs have it when the first of these is over.
        poll(nullptr, 0, kNapMs);
        if (loaded.load() == 0 && RunsWithout(program, library) && loaded.load() == 0) {
            kill(program, SIGKILL);
            return true;
        }
    }
    return false;
}

}  // namespace vboard
