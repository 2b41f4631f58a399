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

    /// The environment for it: what was given, and what ties it to the run where that was left out.
    [[nodiscard]] char* const* Variables() const { return m_variables; }

private:
    char* const* m_variables;
    std::vector<char*> m_completed;  ///< Empty where nothing was left out.
    std::string m_preload;
};

}  // namespace vboard
