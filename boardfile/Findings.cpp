// SPDX-License-Identifier: MIT
#include "boardfile/Findings.h"

#include <algorithm>

namespace boardfile {

void Findings::Add(const toml::source_position& place, std::string text) {
    // What toml++ made up by itself, as the table of the whole file, has no line.
    m_found.emplace_back(std::max(place.line, 1U), std::move(text));
}

std::vector<std::string> Findings::Lines(const std::string& path) const {
    auto sorted = m_found;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& left, const auto& right) { return left.first < right.first; });
    std::vector<std::string> lines;
    for (const auto& [line, text] : sorted) {
        lines.push_back(path + ":" + std::to_string(line) + ": " + text);
    }
    return lines;
}

std::string Choice(const std::vector<std::string_view>& words) {
    std::string text;
    for (std::size_t index = 0; index < words.size(); ++index) {
        if (index > 0) {
            text += index + 1 == words.size() ? " or " : ", ";
        }
        text += words[index];
    }
    return text;
}

}  // namespace boardfile
