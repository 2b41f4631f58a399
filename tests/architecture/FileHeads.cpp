// SPDX-License-Identifier: MIT
#include "tests/architecture/FileHeads.h"

#include <algorithm>
#include <filesystem>
#include <regex>

namespace architecture {
namespace {

constexpr const char* kLicence = "SPDX-License-Identifier: MIT";

std::string NameOf(const SourceFile& file) {
    return std::filesystem::path(file.path).filename().string();
}

std::string ExtensionOf(const SourceFile& file) {
    return std::filesystem::path(file.path).extension().string();
}

bool IsScript(const SourceFile& file) {
    return file.text.compare(0, 2, "#!") == 0;
}

/// The whole line a file has to carry; empty where it needs none.
std::string WantedLine(const SourceFile& file) {
    const std::string extension = ExtensionOf(file);
    const std::string licence = kLicence;
    if (extension == ".ld" || extension == ".css") {
        return "/* " + licence + " */";
    }
    for (const char* slashes : {".cpp", ".h", ".hpp", ".c", ".S", ".js", ".mjs", ".ts", ".tsx"}) {
        if (extension == slashes) {
            return "// " + licence;
        }
    }
    for (const char* hash : {".cmake", ".sh", ".py", ".awk", ".service", ".rules"}) {
        if (extension == hash) {
            return "# " + licence;
        }
    }
    return IsScript(file) || NameOf(file) == "CMakeLists.txt" ? "# " + licence : "";
}

std::string FirstInclude(const SourceFile& file, int& line) {
    static const std::regex kInclude("^#include [\"<]([^\">]+)[\">].*");
    line = 0;
    for (const std::string& text : LinesOf(file.text)) {
        ++line;
        std::smatch parts;
        if (std::regex_match(text, parts, kInclude)) {
            return parts[1];
        }
    }
    return {};
}

}  // namespace

std::vector<Finding> CheckLicenceLines(const SourceTree& tree) {
    std::vector<Finding> findings;
    for (const SourceFile& file : tree) {
        const std::string wanted = WantedLine(file);
        if (wanted.empty()) {
            continue;
        }
        const std::size_t index = IsScript(file) ? 1 : 0;
        const std::vector<std::string> lines = LinesOf(file.text);
        if (lines.size() <= index || lines[index] != wanted) {
            findings.push_back({file.path, static_cast<int>(index) + 1, "no licence in this line",
                                "write: " + wanted});
        }
    }
    return findings;
}

std::vector<Finding> CheckGuards(const SourceTree& tree) {
    static const std::regex kOldGuard("\n#ifndef (\\w+_H)\n#define \\1\n");
    std::vector<Finding> findings;
    for (const SourceFile& file : tree) {
        if (ExtensionOf(file) != ".h" || !file.IsCpp() || file.IsIn("examples")) {
            continue;
        }
        if (file.text.find("\n#pragma once\n") == std::string::npos &&
            !std::regex_search(file.text, kOldGuard)) {
            findings.push_back(
                {file.path, 2, "nothing guards it against a second include", "write #pragma once"});
        }
    }
    return findings;
}

std::vector<Finding> CheckOwnHeaderFirst(const SourceTree& tree) {
    std::vector<Finding> findings;
    for (const SourceFile& file : tree) {
        if (ExtensionOf(file) != ".cpp") {
            continue;
        }
        const std::string header = file.path.substr(0, file.path.size() - 3) + "h";
        const bool hasHeader = std::any_of(tree.begin(), tree.end(), [&](const SourceFile& other) {
            return other.path == header;
        });
        int line = 0;
        const std::string first = FirstInclude(file, line);
        if (hasHeader &&
            std::filesystem::path(first).filename() != std::filesystem::path(header).filename()) {
            findings.push_back({file.path, line, "its own header is not its first include",
                                "move #include \"" + header + "\" to the top"});
        }
    }
    return findings;
}

}  // namespace architecture
