// SPDX-License-Identifier: MIT
#include "vboard/run/ProgramStart.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <string_view>
#include <vector>

#include "vboard/session/ProgramFile.h"
#include "vboard/session/Session.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

constexpr const char* kLibraryName = "libvboard.so";

/// Beside the runner in a build folder, below the library folder when installed.
std::string OwnLibrary() {
    std::error_code error;
    const auto folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    const auto beside = folder / kLibraryName;
    return (std::filesystem::exists(beside, error)
                ? beside
                : (folder / VBOARD_LIBRARY_FOLDER / kLibraryName).lexically_normal())
        .string();
}

/// The program and its arguments, behind the words of the emulator if there is one.
std::vector<std::string> CommandOf(const RunOptions& options) {
    std::istringstream via(options.via);
    std::vector<std::string> words{std::istream_iterator<std::string>(via), {}};
    words.insert(words.end(), options.program.begin(), options.program.end());
    return words;
}

/// Lets the loader of the program, and no other, put the library in front of libc. An emulator is
/// a program of this machine that could not load it: qemu-user hands the setting on.
void Preload(const RunOptions& options, const std::string& library) {
    const char* name = options.via.empty() ? "LD_PRELOAD" : "QEMU_SET_ENV";
    const std::string setting = options.via.empty() ? library : "LD_PRELOAD=" + library;
    const char separator = options.via.empty() ? ':' : ',';
    const char* others = std::getenv(name);
    const std::string all =
        others == nullptr ? setting : Formatted("{}{}{}", setting, separator, others);
    setenv(name, all.c_str(), 1);
}

}  // namespace

bool FindLibrary(const RunOptions& options, std::string& library, std::string& problem) {
    std::error_code error;
    if (!std::filesystem::is_symlink("/proc/self/exe", error)) {
        problem = "there is no /proc here, which the virtual board needs: mount -t proc proc /proc";
        return false;
    }
    library = options.libraryPath.empty()
                  ? OwnLibrary()
                  : std::filesystem::absolute(options.libraryPath, error).string();
    if (access(library.c_str(), R_OK) != 0) {
        problem = Formatted("the library '{}' is missing: it belongs beside the runner", library);
        return false;
    }
    // ld.so(8): the first two end a path in LD_PRELOAD, the third begins a word that is replaced. A
    // comma ends a setting of qemu-user.
    const std::size_t odd = library.find_first_of(options.via.empty() ? " :$" : " :$,");
    if (odd != std::string::npos) {
        problem = Formatted(
            "the library '{}' has a '{}' in its path, which the dynamic loader "
            "can't take: move it, or give a copy with --library",
            library, library[odd]);
        return false;
    }
    ElfKind kind;
    std::string why;
    if (!ReadElfKind(library, kind, why)) {
        problem =
            Formatted("the library '{}' {}: give a libvboard.so with --library", library, why);
        return false;
    }
    return true;
}

bool CheckProgram(const RunOptions& options, const std::string& library, std::string& problem) {
    ElfKind kind;
    // What an emulator can start, it alone knows.
    return !options.via.empty() || !ReadElfKind(library, kind, problem) ||
           CanBeOnBoard(FindProgram(options.program.front()), kind, problem);
}

std::string NameOfProgram(const RunOptions& options) {
    return CommandOf(options).front();
}

void BecomeProgram(const RunOptions& options, int memory, const std::string& library) {
    setenv(kSessionVariable, std::to_string(memory).c_str(), 1);
    Preload(options, library);
    const std::vector<std::string> words = CommandOf(options);
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    execvp(arguments.front(), arguments.data());
}

}  // namespace vboard
