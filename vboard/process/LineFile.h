// SPDX-License-Identifier: MIT
#pragma once

// Text of a run on its way into a file, gathered so that a run does not make a system call a line.

#include <string>
#include <string_view>
#include <utility>

#include "vboard/text/TextSink.h"

namespace vboard {

class LineFile {
public:
    /// `sink` gets the text in pieces of many lines.
    explicit LineFile(TextSink sink) : m_sink(std::move(sink)) {}

    /// `line` has no line end.
    void Add(std::string_view line);
    /// To be called when the run ends, however it ends.
    void HandOn();

private:
    TextSink m_sink;
    std::string m_text;
};

}  // namespace vboard
