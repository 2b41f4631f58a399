// SPDX-License-Identifier: MIT
#include "tests/runs/Lines.h"

#include <sstream>

namespace runs {

std::vector<std::string> LinesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

bool Has(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

}  // namespace runs
