// SPDX-License-Identifier: MIT
#pragma once

// The program that one of the run becomes or starts: it stays on the board, whatever environment it
// is given, and one that can't be on a board is not started.

#include <string>
#include <vector>

namespace vboard {

class NextProgram {
public:
    /// `file` as execve(2) takes it, or, with `inPath`, as execvp(3) does. Ends the run with one
    /// line for a program that the library can't be loaded into. Outside of a run everything stays
    /// as it is. `variables` must outlive this.
    NextProgram(const char* file, bool inPath, char* const* variables);
    /// The same for a program that is known by an open descriptor alone.
    explicit NextProgram(char* const* variables);

    /// For a program that is started beside this one: false where it can't be on a board, after a
    /// line that says why; the run is then a failed one.
    [[nodiscard]] static bool CanStart(const char* file, bool inPath);

    /// Its environment. This process has a time of its own from here on, as after a fork.
    [[nodiscard]] static NextProgram Beside(char* const* variables);

    /// The environment for it: what was given, and what ties it to the run where that was left out.
    [[nodiscard]] char* const* Variables() const { return m_variables; }

    NextProgram(const NextProgram&) = delete;
    NextProgram& operator=(const NextProgram&) = delete;

private:
    char* const* m_variables;
    std::vector<char*> m_completed;  ///< Empty where nothing was left out.
    std::string m_preload;
    std::string m_time;  ///< The time that it begins with, where that is not the board's.
};

/// While it lives, the program's own environment has what ties a program to the run: for functions
/// of libc that start one with it.
class WithTies {
public:
    /// Puts another environment in the place of the program's, which it gets back at the end.
    WithTies();
    ~WithTies();
    WithTies(const WithTies&) = delete;
    WithTies& operator=(const WithTies&) = delete;

private:
    char** m_before;
    NextProgram m_next;
};

}  // namespace vboard
