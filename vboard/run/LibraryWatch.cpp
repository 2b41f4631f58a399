// SPDX-License-Identifier: MIT
#include "vboard/run/LibraryWatch.h"

#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <atomic>
#include <cstdint>
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

/// What can be seen of a program from outside.
enum class Seen : std::uint8_t { kTooEarly, kWithLibrary, kWithoutLibrary };

/// False as long as the process still is a copy of the runner.
bool IsAnotherProgram(const char* itsFile) {
    struct stat own {};
    struct stat its {};
    return stat("/proc/self/exe", &own) == 0 && stat(itsFile, &its) == 0 &&
           (its.st_ino != own.st_ino || its.st_dev != own.st_dev);
}

Seen LookAt(pid_t program, const std::string& library) {
    std::ifstream maps(Formatted("/proc/{}/maps", program));
    Seen seen = Seen::kTooEarly;
    for (std::string line; std::getline(maps, line);) {
        if (line.find(library) != std::string::npos) {
            return Seen::kWithLibrary;
        }
        if (line.find("/libc.so") != std::string::npos ||
            line.find("/libc-2.") != std::string::npos) {
            seen = Seen::kWithoutLibrary;
        }
    }
    return seen;
}

}  // namespace

bool EndIfWithoutLibrary(pid_t program, const std::string& library, const RunReport& report) {
    const auto& loaded = reinterpret_cast<const std::atomic<std::uint32_t>&>(report.loaded);
    std::error_code error;
    const std::string name = std::filesystem::canonical(library, error).string();
    const std::string file = Formatted("/proc/{}/exe", program);
    while (loaded.load() == 0 && !HasEnded(program)) {
        // Most programs have it when the first of these is over.
        poll(nullptr, 0, kNapMs);
        if (!IsAnotherProgram(file.c_str())) {
            continue;
        }
        const Seen seen = LookAt(program, name);
        if (seen == Seen::kWithLibrary) {
            return false;
        }
        if (seen == Seen::kWithoutLibrary && loaded.load() == 0) {
            kill(program, SIGKILL);
            return true;
        }
    }
    return false;
}

}  // namespace vboard
