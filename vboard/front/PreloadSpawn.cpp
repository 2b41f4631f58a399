// SPDX-License-Identifier: MIT

// Programs that libc starts beside this one, in a process of its own making.

#include "vboard/front/Preload.h"

// After it: the real headers.
#include <spawn.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "vboard/process/NextProgram.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/Reaped.h"
#include "vboard/process/Wrapping.h"

using vboard::NextProgram;
using vboard::Reaped;

// What these two answer is an error number.

VBOARD_EXPORT int posix_spawn(pid_t* child, const char* path,
                              const posix_spawn_file_actions_t* actions,
                              const posix_spawnattr_t* attributes, char* const words[],
                              char* const variables[]) {
    static const auto real = vboard::RealNamed<decltype(&posix_spawn)>("posix_spawn");
    if (!NextProgram::CanStart(path, false)) {
        return EACCES;
    }
    const NextProgram next = NextProgram::Beside(variables);
    return real(child, path, actions, attributes, words, next.Variables());
}

VBOARD_EXPORT int posix_spawnp(pid_t* child, const char* file,
                               const posix_spawn_file_actions_t* actions,
                               const posix_spawnattr_t* attributes, char* const words[],
                               char* const variables[]) {
    static const auto real = vboard::RealNamed<decltype(&posix_spawnp)>("posix_spawnp");
    if (!NextProgram::CanStart(file, true)) {
        return EACCES;
    }
    const NextProgram next = NextProgram::Beside(variables);
    return real(child, file, actions, attributes, words, next.Variables());
}

VBOARD_EXPORT int system(const char* command) {
    static const auto real = vboard::RealNamed<decltype(&system)>("system");
    const vboard::WithTies ties;
    const int status = real(command);
    static_cast<void>(Reaped(command != nullptr && status != -1 ? 1 : 0));
    return status;
}

VBOARD_EXPORT std::FILE* popen(const char* command, const char* mode) {
    static const auto real = vboard::RealNamed<decltype(&popen)>("popen");
    const vboard::WithTies ties;
    return real(command, mode);
}

VBOARD_EXPORT int pclose(std::FILE* stream) {
    static const auto real = vboard::RealNamed<decltype(&pclose)>("pclose");
    const int status = real(stream);
    static_cast<void>(Reaped(status != -1 ? 1 : 0));
    return status;
}

// What goes into the background leaves the run, and has no board there.
VBOARD_EXPORT int daemon(int keepFolder, int keepStreams) __THROW {
    if (vboard::RunLink::Get() != nullptr) {
        vboard::Remark(
            "daemon is refused with ENOSYS: a program that leaves the run has no board: let it "
            "stay in the foreground");
        return vboard::Refused(ENOSYS);
    }
    static const auto real = vboard::RealNamed<decltype(&daemon)>("daemon");
    return real(keepFolder, keepStreams);
}
