// SPDX-License-Identifier: MIT
#include "tests/architecture/PageReferences.h"

#include <algorithm>
#include <regex>

namespace architecture {
namespace {

bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string WithoutSlash(std::string path) {
    if (EndsWith(path, "/")) {
        path.pop_back();
    }
    return path;
}

bool Exists(const SourceTree& tree, const std::string& named) {
    const std::string path = WithoutSlash(named);
    return std::any_of(tree.begin(), tree.end(), [&](const SourceFile& file) {
        return file.IsIn(path) || file.path == path + ".cpp" || file.path == path + ".h";
    });
}

bool IsPreset(const SourceTree& tree, const std::string& name) {
    const std::regex entry("\"name\": *\"" + name + "\"");
    return std::any_of(tree.begin(), tree.end(), [&](const SourceFile& file) {
        return file.path == "CMakePresets.json" && std::regex_search(file.text, entry);
    });
}

void CheckLine(const SourceTree& tree, const SourceFile& page, int number, const std::string& line,
               std::vector<Finding>& findings) {
    static const std::regex kPath(
        "`((flashmcu|vboard|tests|docs|scripts|cmake|examples|debian|packaging|bench)/[\\w./"
        "+-]*)`");
    static const std::regex kPreset("--preset[ =]([\\w-]+)");
    for (std::sregex_iterator match(line.begin(), line.end(), kPath), end; match != end; ++match) {
        if (!Exists(tree, (*match)[1])) {
            findings.push_back(
                {page.path, number, "there is no " + (*match)[1].str(), "name what is there now"});
        }
    }
    for (std::sregex_iterator match(line.begin(), line.end(), kPreset), end; match != end;
         ++match) {
        if (!IsPreset(tree, (*match)[1])) {
            findings.push_back({page.path, number, "there is no preset " + (*match)[1].str(),
                                "name one of CMakePresets.json"});
        }
    }
}

}  // namespace

std::vector<Finding> CheckPageReferences(const SourceTree& tree) {
    std::vector<Finding> findings;
    for (const SourceFile& page : tree) {
        if (!EndsWith(page.path, ".md")) {
            continue;
        }
        int number = 0;
        for (const std::string& line : LinesOf(page.text)) {
            CheckLine(tree, page, ++number, line, findings);
        }
    }
    return findings;
}

}  // namespace architecture
