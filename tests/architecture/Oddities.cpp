// SPDX-License-Identifier: MIT
#include "tests/architecture/Oddities.h"

#include <map>
#include <regex>
#include <set>
#include <string>

namespace architecture {
namespace {

struct Place {
    std::string file;
    int line;
};

struct Row {
    std::string name;
    std::string file;
    std::string test;
    int line;
};

/// Comments in the programs; tests may speak of oddities as they like.
std::map<std::string, Place> CommentsOf(const SourceTree& tree, std::vector<Finding>& findings) {
    static const std::regex kComment("// Oddity( \\(([a-z0-9-]+)\\):)?");
    std::map<std::string, Place> comments;
    for (const SourceFile& file : tree) {
        if (!file.IsCpp() || file.IsIn("tests")) {
            continue;
        }
        int number = 0;
        for (const std::string& line : LinesOf(file.text)) {
            ++number;
            std::smatch match;
            if (!std::regex_search(line, match, kComment)) {
                continue;
            }
            if (!match[1].matched) {
                findings.push_back({file.path, number, "an oddity without a name",
                                    "write '// Oddity (some-name): ...'"});
            } else if (!comments.try_emplace(match[2], Place{file.path, number}).second) {
                findings.push_back({file.path, number, "a second oddity '" + match[2].str() + "'",
                                    "give each place a name of its own"});
            }
        }
    }
    return comments;
}

std::set<std::string> TestsOf(const SourceTree& tree) {
    static const std::regex kTest("(?:TEST|TEST_F|TEST_P|RC_GTEST_PROP)\\(\\s*(\\w+),\\s*(\\w+)");
    std::set<std::string> tests;
    for (const SourceFile& file : tree) {
        if (!file.IsIn("tests")) {
            continue;
        }
        const std::sregex_iterator begin(file.code.begin(), file.code.end(), kTest);
        for (auto match = begin; match != std::sregex_iterator(); ++match) {
            tests.insert((*match)[1].str() + "." + (*match)[2].str());
        }
    }
    return tests;
}

std::vector<Row> RowsOf(const SourceTree& tree, std::vector<Finding>& findings) {
    // | `name` | what happens | `file` | `Suite.Test` | what a user can do |
    static const std::regex kRow(
        "\\| `([a-z0-9-]+)` \\| [^|]+ \\| `([^`|]+)` \\| `([^`|]+)` \\| [^|]+ \\|");
    std::vector<Row> rows;
    for (const SourceFile& file : tree) {
        if (file.path != kOddityPage) {
            continue;
        }
        int number = 0;
        for (const std::string& line : LinesOf(file.text)) {
            ++number;
            std::smatch match;
            if (std::regex_match(line, match, kRow)) {
                rows.push_back({match[1], match[2], match[3], number});
            } else if (line.starts_with("| `")) {
                findings.push_back({file.path, number, "a row that is not whole",
                                    "write | `name` | what happens | `file` | `Suite.Test` | "
                                    "what a user can do |"});
            }
        }
    }
    return rows;
}

}  // namespace

std::vector<Finding> CheckOddities(const SourceTree& tree) {
    std::vector<Finding> findings;
    std::map<std::string, Place> comments = CommentsOf(tree, findings);
    const std::set<std::string> tests = TestsOf(tree);
    std::set<std::string> listed;
    for (const Row& row : RowsOf(tree, findings)) {
        const auto comment = comments.find(row.name);
        if (comment == comments.end() || comment->second.file != row.file) {
            findings.push_back({kOddityPage, row.line,
                                "no comment 'Oddity (" + row.name + ")' in " + row.file,
                                "correct the row, or take it out with the behaviour"});
        }
        if (!tests.contains(row.test)) {
            findings.push_back({kOddityPage, row.line, "there is no test " + row.test,
                                "name the test that shows the oddity"});
        }
        if (!listed.insert(row.name).second) {
            findings.push_back(
                {kOddityPage, row.line, "a second row '" + row.name + "'", "keep one of them"});
        }
    }
    for (const auto& [name, place] : comments) {
        if (!listed.contains(name)) {
            findings.push_back({place.file, place.line, "the oddity '" + name + "' has no row",
                                std::string("add one to ") + kOddityPage});
        }
    }
    return findings;
}

}  // namespace architecture
