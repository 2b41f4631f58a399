// SPDX-License-Identifier: MIT
#pragma once

// What must hold, or vboard itself is wrong. A mistake of ours is never a wrong answer and never an
// exception in somebody else's program: it ends the run with one line.

#include <string_view>

namespace vboard {

/// A line of our source. What std::source_location is, for compilers that have only its parts.
struct SourceLine {
    const char* file;
    int line;
    /// The line of the caller, when called without arguments.
    [[nodiscard]] static constexpr SourceLine Here(const char* file = __builtin_FILE(),
                                                   int line = __builtin_LINE()) {
        return {file, line};
    }
};

/// Gets the words of what did not hold and the place that asked for it. Must not return.
using MistakeHandler = void (*)(std::string_view what, SourceLine where);

/// Who ends the run, for the whole process; the program's side adds the virtual time. Without one
/// the words go to standard error and the process aborts, as in a test.
void SetMistakeHandler(MistakeHandler handler);

/// Something did not hold.
[[noreturn]] void Mistake(std::string_view what, SourceLine where = SourceLine::Here());

/// `what` says in words what must hold here: "a segment number below the count of segments".
inline void MustHold(bool holds, std::string_view what, SourceLine where = SourceLine::Here()) {
    if (!holds) [[unlikely]] {
        Mistake(what, where);
    }
}

}  // namespace vboard
