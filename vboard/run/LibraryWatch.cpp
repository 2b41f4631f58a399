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

/// False as long as the process still is a copy of the runner.
bool IsAnotherProgram(const char* itsFile) {
    struct stat own {};
    struct stat its {};
    return stat("/proc/self/exe", &own) == 0 && stat(itsFile, &its) == 0 &&
           (its.st_ino != own.st_ino || its.st_dev != own.st_dev);
}

/// True once the program has a C library and no library of the board. While the dynamic loader
/// tries a file that it will not take, that is in the memory, too: it says nothing for the program.
bool IsWithoutLibrary(pid_t program, const std::string& library) {
    std::ifstream maps(Formatted("/proc/{}/maps", program));
    bool hasLibc = false;
    for (std::string line; std::getline(maps, line);) {
        if (line.find(library) != std::string::npos) {
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
    std::error_code error;
    const std::string name = std::filesystem::canonical(library, error).string();
    const std::string file = Formatted("/proc/{}/exe", program);
    int looks = 0;
    while (loaded.load() == 0 && !HasEnded(program)) {
        // The list of what is in its memory may lack something while the loader changes it: twice.
        if (looks == 2) {
            kill(program, SIGKILL);
            return true;
        }
        // Most programs have it when the first of these is over.
        poll(nullptr, 0, kNapMs);
        looks = IsAnotherProgram(file.c_str()) && IsWithoutLibrary(program, name) ? looks + 1 : 0;
    }
    return false;
}

}  // namespace vboard
