// SPDX-License-Identifier: MIT

// Ways in which a program ends, or becomes another, without running its destructors.

#include "vboard/front/Preload.h"

// After it: the real headers.
#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdlib>
#include <string>
#include <vector>

#include "vboard/process/NextProgram.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/World.h"

namespace {

using vboard::NextProgram;
using vboard::Real;
using vboard::World;

/// The words of execl, the last of them nullptr.
std::vector<char*> WordsOf(const char* first, va_list arguments) {
    std::vector<char*> words{const_cast<char*>(first)};
    while (words.back() != nullptr) {
        words.push_back(va_arg(arguments, char*));
    }
    return words;
}

/// The program becomes another, unless `real`, libc's function for that, comes back.
template <class Real>
int Become(Real real) {
    World::EndIfMade();
    const int failed = real();
    World::GoOnIfMade();
    return failed;
}

}  // namespace

VBOARD_EXPORT void _exit(int status) {
    World::EndIfMade();
    Real()._exit(status);
    std::abort();
}

VBOARD_EXPORT void _Exit(int status) __THROW {
    World::EndIfMade();
    Real()._Exit(status);
    std::abort();
}

VBOARD_EXPORT int execve(const char* path, char* const words[], char* const variables[]) __THROW {
    const NextProgram next(path, false, variables);
    return Become([&] { return Real().execve(path, words, next.Variables()); });
}

VBOARD_EXPORT int fexecve(int descriptor, char* const words[], char* const variables[]) __THROW {
    const std::string file = "/proc/self/fd/" + std::to_string(descriptor);
    const NextProgram next(file.c_str(), false, variables);
    return Become([&] { return Real().fexecve(descriptor, words, next.Variables()); });
}

VBOARD_EXPORT int execveat(int folder, const char* path, char* const words[],
                           char* const variables[], int flags) __THROW {
    static const auto real = vboard::RealNamed<decltype(&execveat)>("execveat");
    const bool itself = (flags & AT_EMPTY_PATH) != 0 && *path == '\0';
    const bool fromHere = folder == AT_FDCWD || *path == '/';
    const std::string base = "/proc/self/fd/" + std::to_string(folder);
    const std::string file = fromHere ? path : itself ? base : base + "/" + path;
    const NextProgram next(file.c_str(), false, variables);
    return Become([&] { return real(folder, path, words, next.Variables(), flags); });
}

VBOARD_EXPORT int execv(const char* path, char* const words[]) __THROW {
    const NextProgram next(path, false, environ);
    return Become([&] { return Real().execve(path, words, next.Variables()); });
}

VBOARD_EXPORT int execvp(const char* file, char* const words[]) __THROW {
    const NextProgram next(file, true, environ);
    return Become([&] { return Real().execvpe(file, words, next.Variables()); });
}

VBOARD_EXPORT int execvpe(const char* file, char* const words[], char* const variables[]) __THROW {
    const NextProgram next(file, true, variables);
    return Become([&] { return Real().execvpe(file, words, next.Variables()); });
}

VBOARD_EXPORT int execl(const char* path, const char* first, ...) __THROW {
    va_list arguments;
    va_start(arguments, first);
    const std::vector<char*> words = WordsOf(first, arguments);
    va_end(arguments);
    const NextProgram next(path, false, environ);
    return Become([&] { return Real().execve(path, words.data(), next.Variables()); });
}

VBOARD_EXPORT int execlp(const char* file, const char* first, ...) __THROW {
    va_list arguments;
    va_start(arguments, first);
    const std::vector<char*> words = WordsOf(first, arguments);
    va_end(arguments);
    const NextProgram next(file, true, environ);
    return Become([&] { return Real().execvpe(file, words.data(), next.Variables()); });
}

VBOARD_EXPORT int execle(const char* path, const char* first, ...) __THROW {
    va_list arguments;
    va_start(arguments, first);
    const std::vector<char*> words = WordsOf(first, arguments);
    char* const* variables = va_arg(arguments, char* const*);
    va_end(arguments);
    const NextProgram next(path, false, variables);
    return Become([&] { return Real().execve(path, words.data(), next.Variables()); });
}
