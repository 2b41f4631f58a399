// SPDX-License-Identifier: MIT
#pragma once

// A program looked at before it is started: can the library of the board be loaded into it? One
// that can't would run past the board, on the machine's own devices. elf(5), execve(2), ld.so(8).

#include <cstdint>
#include <string>

namespace vboard {

/// Which processor and word size an ELF file was built for.
struct ElfKind {
    std::uint8_t wordClass = 0;  ///< ELFCLASS32 or ELFCLASS64.
    std::uint16_t machine = 0;   ///< EM_...
    bool operator==(const ElfKind&) const = default;
};

/// Where execvp(3) finds `word`: itself when it has a slash in it, else in a folder of PATH. Empty
/// when it is nowhere; starting it then fails.
[[nodiscard]] std::string FindProgram(const std::string& word);

/// What the file at `path` was built for. On failure `problem` says what it is instead, to be read
/// behind its name.
[[nodiscard]] bool ReadElfKind(const std::string& path, ElfKind& kind, std::string& problem);

/// False for a program into which a library of `library`'s kind can't be loaded: one of another
/// processor or word size, linked statically, started by another dynamic loader than glibc's or by
/// one that is missing, or run with rights that its caller does not have. For a script its
/// interpreter is looked at. `problem` is then one sentence that names the file and says what to
/// do. True for what is known well, and for what can't be started at all: that is told by starting
/// it.
[[nodiscard]] bool CanBeOnBoard(const std::string& path, const ElfKind& library,
                                std::string& problem);

}  // namespace vboard
