// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "boardfile/Toml.h"

namespace boardfile {

/// What is wrong with a file, with line numbers.
class Findings {
public:
    /// One more, in the line where `node` begins.
    void Add(const toml::node& node, std::string text) {
        Add(node.source().begin, std::move(text));
    }
    void Add(const toml::source_position& place, std::string text);

    /// True when nothing is wrong.
    [[nodiscard]] bool Empty() const { return m_found.empty(); }
    /// "PATH:LINE: text" for each, in the order of their lines.
    [[nodiscard]] std::vector<std::string> Lines(const std::string& path) const;

private:
    std::vector<std::pair<unsigned, std::string>> m_found;
};

/// "a, b or c".
[[nodiscard]] std::string Choice(const std::vector<std::string_view>& words);

}  // namespace boardfile
