// SPDX-License-Identifier: MIT
#include "vboard/session/ProgramFile.h"

#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string_view>

#include "vboard/text/Format.h"

namespace vboard {
namespace {

/// execve(2): the kernel reads so many bytes of a script's first line, and follows so many scripts
/// that are started by scripts.
constexpr std::size_t kLineBytes = 256;
constexpr int kMostScripts = 5;

constexpr std::string_view kOtherLoader = "ld-musl";
constexpr const char* kShell = "/bin/sh";

// Straight to the kernel: in a program of the run, libc's names for these are the board's.

constexpr auto* kKernel = &syscall;

bool LookAt(const std::string& path, struct statx& status) {
    return kKernel(SYS_statx, AT_FDCWD, path.c_str(), 0, STATX_BASIC_STATS, &status) == 0;
}

bool MayBe(const std::string& path, int mode) {
    return kKernel(SYS_faccessat, AT_FDCWD, path.c_str(), mode) == 0;
}

bool IsFile(const std::string& path) {
    struct statx status {};
    return LookAt(path, status) && S_ISREG(status.stx_mode);
}

template <class Structure>
bool ReadAt(std::ifstream& file, std::uint64_t offset, Structure& structure) {
    std::array<char, sizeof(Structure)> bytes{};
    file.seekg(static_cast<std::streamoff>(offset));
    file.read(bytes.data(), bytes.size());
    std::memcpy(&structure, bytes.data(), sizeof structure);
    return file.good();
}

/// What the segments of a program say about how it starts.
struct Start {
    std::string loader;  ///< Empty when it asks for none: it is linked statically.
    bool isGo = false;   ///< It has the note of Go's linker.
};

/// elf(5): a note begins with the lengths of its name and of what it says, and with its type; both
/// are filled up to whole words.
bool HasGoNote(std::string_view notes) {
    Elf32_Nhdr note{};  // Both sizes are alike.
    while (notes.size() >= sizeof note) {
        std::memcpy(&note, notes.data(), sizeof note);
        const auto name = notes.substr(sizeof note, std::min<std::size_t>(note.n_namesz, 4));
        if (name.starts_with("Go")) {
            return true;
        }
        const auto filled = [](std::uint64_t size) { return (size + 3) & ~std::uint64_t{3}; };
        const std::uint64_t length = sizeof note + filled(note.n_namesz) + filled(note.n_descsz);
        notes.remove_prefix(
            static_cast<std::size_t>(std::min<std::uint64_t>(length, notes.size())));
    }
    return false;
}

/// The beginning of what a segment has in the file.
template <class Segment>
std::string Contents(std::ifstream& file, const Segment& segment) {
    std::string bytes(static_cast<std::size_t>(std::min<std::uint64_t>(segment.p_filesz, 4096)),
                      '\0');
    file.seekg(static_cast<std::streamoff>(segment.p_offset));
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

template <class Header, class Segment>
bool ReadStart(std::ifstream& file, Start& start) {
    Header header{};
    if (!ReadAt(file, 0, header)) {
        return false;
    }
    for (unsigned index = 0; index < header.e_phnum; ++index) {
        Segment segment{};
        if (!ReadAt(file, header.e_phoff + index * sizeof(Segment), segment)) {
            return false;
        }
        if (segment.p_type == PT_INTERP) {
            start.loader = Contents(file, segment);
            start.loader.resize(std::strlen(start.loader.c_str()));
        } else if (segment.p_type == PT_NOTE) {
            start.isGo = start.isGo || HasGoNote(Contents(file, segment));
        }
    }
    return file.good();
}

/// ld.so(8): a program that runs with rights of its own takes no library from its caller.
bool HasRightsOfItsOwn(const std::string& path) {
    struct statx status {};
    if (!LookAt(path, status)) {
        return false;
    }
    const bool otherUser = (status.stx_mode & S_ISUID) != 0 && status.stx_uid != geteuid();
    const bool otherGroup = (status.stx_mode & (S_ISGID | S_IXGRP)) == (S_ISGID | S_IXGRP) &&
                            status.stx_gid != getegid();
    const bool capable = geteuid() != 0 &&
                         kKernel(SYS_getxattr, path.c_str(), "security.capability", nullptr, 0) > 0;
    return otherUser || otherGroup || capable;
}

bool CanLoad(const std::string& path, std::ifstream& file, const ElfKind& library,
             std::string& problem) {
    ElfKind kind;
    Start start;
    if (!ReadElfKind(path, kind, problem)) {
        return true;  // Whatever it is, it can't be started.
    }
    if (kind != library) {
        problem = Formatted(
            "'{}' is built for another processor or word size than the library of the board: give "
            "the library built for it with --library, and an emulator with --via if it needs one",
            path);
        return false;
    }
    const bool read = kind.wordClass == ELFCLASS64 ? ReadStart<Elf64_Ehdr, Elf64_Phdr>(file, start)
                                                   : ReadStart<Elf32_Ehdr, Elf32_Phdr>(file, start);
    const std::string& loader = start.loader;
    const std::string_view name = std::string_view(loader).substr(loader.rfind('/') + 1);
    if (!read) {
        problem = Formatted("'{}' is cut short: build it again", path);
    } else if (loader.empty()) {
        problem = Formatted(
            "'{}' is linked statically, so no board can stand in front of its C "
            "library: link it dynamically",
            path);
    } else if (start.isGo) {
        problem = Formatted(
            "'{}' is written in Go, whose programs turn to the kernel past the C library, where no "
            "board can stand: take one that calls the C library",
            path);
    } else if (name.starts_with(kOtherLoader)) {
        problem = Formatted(
            "'{}' is started by '{}', which can't load the library of the board: "
            "build it for glibc",
            path, loader);
    } else if (!MayBe(loader, F_OK)) {
        problem =
            Formatted("'{}' is started by '{}', which is not there: install it", path, loader);
    } else if (HasRightsOfItsOwn(path)) {
        problem = Formatted(
            "'{}' runs with rights of its own (set-user-ID, set-group-ID or "
            "capabilities) and takes no library from its caller: run a copy "
            "without them",
            path);
    }
    return problem.empty();
}

/// The interpreter in the first line of a script; the shell where there is no such line, as
/// execvp(3) has it.
std::string InterpreterIn(std::string_view line) {
    line = line.substr(0, line.find('\n'));
    if (!line.starts_with("#!")) {
        return kShell;
    }
    const std::size_t begin = line.find_first_not_of(" \t", 2);
    const std::size_t end = line.find_first_of(" \t", begin);
    return begin == std::string_view::npos ? "" : std::string(line.substr(begin, end - begin));
}

}  // namespace

std::string FindProgram(const std::string& word) {
    if (word.find('/') != std::string::npos) {
        return word;
    }
    const char* variable = std::getenv("PATH");
    const std::string folders = variable == nullptr ? "/bin:/usr/bin" : variable;
    for (std::size_t begin = 0; begin <= folders.size() && !word.empty();) {
        const std::size_t end = std::min(folders.find(':', begin), folders.size());
        const std::string folder = folders.substr(begin, end - begin);
        std::string path = folder;
        path.append(folder.empty() ? "" : "/").append(word);
        if (IsFile(path) && MayBe(path, X_OK)) {
            return path;
        }
        begin = end + 1;
    }
    return "";
}

bool ReadElfKind(const std::string& path, ElfKind& kind, std::string& problem) {
    std::ifstream file(path, std::ios::binary);
    Elf32_Ehdr header{};  // Both sizes begin alike.
    if (!file) {
        problem = "can't be read";
        return false;
    }
    if (!ReadAt(file, 0, header) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0) {
        problem = "is neither a program nor a library";
        return false;
    }
    kind = {header.e_ident[EI_CLASS], header.e_machine};
    return true;
}

bool CanBeOnBoard(const std::string& path, const ElfKind& library, std::string& problem) {
    std::string name = path;
    for (int scripts = 0; scripts <= kMostScripts && !name.empty(); ++scripts) {
        if (!IsFile(name)) {
            return true;
        }
        std::ifstream file(name, std::ios::binary);
        std::string line(kLineBytes, '\0');
        file.read(line.data(), static_cast<std::streamsize>(line.size()));
        file.clear();
        if (line.starts_with(ELFMAG)) {
            problem.clear();
            return CanLoad(name, file, library, problem);
        }
        name = InterpreterIn(line);
    }
    return true;
}

}  // namespace vboard
