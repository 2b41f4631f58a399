// SPDX-License-Identifier: MIT
#pragma once

// The repository's own files as the house rules read them, and how a broken rule is told.
//
// A rule is a function from a tree to findings, so that its test can hand it the real tree as well
// as a small bad one.

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

namespace architecture {

struct SourceFile {
    std::string path;  ///< Relative to the repository, with slashes.
    std::string text;
    std::string code;  ///< `text` with comments and literals blanked: same length, same lines.

    [[nodiscard]] bool IsCpp() const;
    /// True for a path equal to `folder` or below it.
    [[nodiscard]] bool IsIn(const std::string& folder) const;
};

using SourceTree = std::vector<SourceFile>;

/// A file with its code blanked.
[[nodiscard]] SourceFile MakeFile(std::string path, std::string text);

/// The repository this test was built from, sorted by path: build folders and what git ignores are
/// left out, and so are files that are not text. Firmware images are there without their text.
[[nodiscard]] const SourceTree& Repository();

/// One text file of the repository; throws where it is missing.
[[nodiscard]] std::string ReadRepositoryFile(const std::string& path);

[[nodiscard]] std::vector<std::string> LinesOf(const std::string& text);
/// The number, from 1, of the line that holds `offset`.
[[nodiscard]] int LineAt(const std::string& text, std::size_t offset);

struct Finding {
    std::string file;
    int line;
    std::string what;
    std::string remedy;
};

/// Success, or every finding as "file:line: what; remedy".
[[nodiscard]] ::testing::AssertionResult Nothing(const std::vector<Finding>& findings);

/// One word and the reason behind it: a line "WORD  reason ..." of a list of exceptions. Empty
/// lines and lines that begin with # are left out. Throws for a line without a reason.
struct Reasoned {
    std::string word;
    std::string reason;
};
[[nodiscard]] std::vector<Reasoned> ParseReasoned(const std::string& text);

/// True when `word` matches `pattern`, in which * stands for any characters.
[[nodiscard]] bool Matches(const std::string& pattern, const std::string& word);

}  // namespace architecture
