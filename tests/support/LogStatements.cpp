// SPDX-License-Identifier: MIT
#include "LogStatements.h"

#include <fstream>
#include <map>
#include <vector>

namespace {

// None if there is no such file.
const std::vector<std::string>& SourceLines(const std::string& source) {
    static std::map<std::string, std::vector<std::string>> sources;
    auto& lines = sources[source];
    if (lines.empty()) {
        std::ifstream file(std::string(FLASHMCU_SOURCE_DIR) + "/" + source + ".cpp");
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line);
        }
    }
    return lines;
}

}  // namespace

std::optional<std::string> WordsOfLogStatement(const std::string& source, std::size_t line) {
    const auto& lines = SourceLines(source);
    if (line < 1 || line > lines.size() ||
        lines[line - 1].find("LogLine(kLogPath, __LINE__, ") == std::string::npos) {
        return std::nullopt;
    }
    std::string statement;
    for (std::size_t i = line - 1; i < lines.size() && !statement.ends_with(";"); ++i) {
        statement += lines[i];
    }
    const std::size_t open = statement.find('"');
    if (open == std::string::npos) {
        return "";
    }
    return statement.substr(open + 1, statement.find('"', open + 1) - open - 1);
}
