// SPDX-License-Identifier: MIT
#pragma once

// Text of a run on its way into an inherited descriptor, gathered so that a run does not make a
// system call a line.

#include <string>
#include <string_view>

namespace vboard {

/// Writes all of `text`, past every wrapper; what can't be written is lost.
void WriteAll(int descriptor, std::string_view text);

class LineFile {
public:
    /// The descriptor stays the caller's.
    explicit LineFile(int descriptor) : m_descriptor(descriptor) {}

    /// `line` has no line end.
    void Add(std::string_view line);
    /// To be called when the run ends, however it ends.
    void HandOn();

private:
    int m_descriptor;
    std::string m_text;
};

}  // namespace vboard
