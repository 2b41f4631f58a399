// SPDX-License-Identifier: MIT
#include "tests/architecture/SourceTree.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace architecture {
namespace {

namespace fs = std::filesystem;

/// Blanks comments and literals while walking through a source once.
class Blanker {
public:
    explicit Blanker(const std::string& text) : m_text(text), m_code(text) {}

    std::string Run() {
        while (m_at < m_text.size()) {
            if (Starts("//")) {
                BlankTo(m_text.find('\n', m_at));
            } else if (Starts("/*")) {
                BlankTo(After(m_text.find("*/", m_at + 2), 2));
            } else if (Starts("R\"")) {
                BlankRawString();
            } else if (m_text[m_at] == '"' || IsCharacterQuote()) {
                BlankQuoted(m_text[m_at]);
            } else {
                ++m_at;
            }
        }
        return m_code;
    }

private:
    [[nodiscard]] bool Starts(const char* mark) const { return m_text.compare(m_at, 2, mark) == 0; }
    /// Not the separator in 1'000.
    [[nodiscard]] bool IsCharacterQuote() const {
        return m_text[m_at] == '\'' &&
               (m_at == 0 || std::isxdigit(static_cast<unsigned char>(m_text[m_at - 1])) == 0);
    }
    static std::size_t After(std::size_t found, std::size_t length) {
        return found == std::string::npos ? found : found + length;
    }
    void BlankTo(std::size_t end) {
        for (end = std::min(end, m_text.size()); m_at < end; ++m_at) {
            if (m_text[m_at] != '\n') {
                m_code[m_at] = ' ';
            }
        }
    }
    void BlankRawString() {
        const std::size_t open = m_text.find('(', m_at);
        if (open == std::string::npos) {
            BlankTo(open);
            return;
        }
        const std::string end = ")" + m_text.substr(m_at + 2, open - m_at - 2) + "\"";
        BlankTo(After(m_text.find(end, open), end.size()));
    }
    /// Keeps the quotes, so that a literal still stands where it stood.
    void BlankQuoted(char quote) {
        ++m_at;
        std::size_t end = m_at;
        while (end < m_text.size() && m_text[end] != quote && m_text[end] != '\n') {
            end += m_text[end] == '\\' ? 2 : 1;
        }
        BlankTo(end);
        ++m_at;
    }

    const std::string& m_text;
    std::string m_code;
    std::size_t m_at = 0;
};

std::string ReadFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("can't read " + path.string());
    }
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

bool IsLeftOut(const fs::path& relative) {
    const std::string name = relative.filename().string();
    // What packaging leaves behind in debian/ are folders, except for these two.
    const bool inDebian = relative.parent_path() == "debian";
    return name.rfind('.', 0) == 0 || name.rfind("build", 0) == 0 || name.rfind("obj-", 0) == 0 ||
           name == "node_modules" || (inDebian && name != "tests" && name != "source");
}

SourceTree ReadTree(const fs::path& root) {
    SourceTree tree;
    for (fs::recursive_directory_iterator entry(root), end; entry != end; ++entry) {
        const fs::path relative = entry->path().lexically_relative(root);
        if (entry->is_directory() && IsLeftOut(relative)) {
            entry.disable_recursion_pending();
        } else if (entry->is_regular_file() && relative != ".git") {
            std::string text = relative.extension() == ".hex" ? "" : ReadFile(entry->path());
            if (text.find('\0') == std::string::npos) {
                tree.push_back(MakeFile(relative.generic_string(), std::move(text)));
            }
        }
    }
    std::sort(tree.begin(), tree.end(),
              [](const SourceFile& a, const SourceFile& b) { return a.path < b.path; });
    return tree;
}

}  // namespace

bool SourceFile::IsCpp() const {
    const fs::path extension = fs::path(path).extension();
    return extension == ".cpp" || extension == ".h";
}

bool SourceFile::IsIn(const std::string& folder) const {
    return path == folder || path.rfind(folder + "/", 0) == 0;
}

SourceFile MakeFile(std::string path, std::string text) {
    SourceFile file{std::move(path), std::move(text), {}};
    file.code = file.IsCpp() ? Blanker(file.text).Run() : file.text;
    return file;
}

const SourceTree& Repository() {
    static const SourceTree tree = ReadTree(REPOSITORY_FOLDER);
    return tree;
}

std::string ReadRepositoryFile(const std::string& path) {
    return ReadFile(fs::path(REPOSITORY_FOLDER) / path);
}

std::vector<std::string> LinesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

int LineAt(const std::string& text, std::size_t offset) {
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(offset, text.size()));
    return 1 + static_cast<int>(std::count(text.begin(), end, '\n'));
}

::testing::AssertionResult Nothing(const std::vector<Finding>& findings) {
    if (findings.empty()) {
        return ::testing::AssertionSuccess();
    }
    auto result = ::testing::AssertionFailure();
    for (const Finding& finding : findings) {
        result << "\n"
               << finding.file << ":" << finding.line << ": " << finding.what << "; "
               << finding.remedy;
    }
    return result;
}

std::vector<Reasoned> ParseReasoned(const std::string& text) {
    std::vector<Reasoned> list;
    for (const std::string& line : LinesOf(text)) {
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const std::size_t wordEnd = line.find(' ');
        const std::size_t reason = line.find_first_not_of(' ', wordEnd);
        if (reason == std::string::npos) {
            throw std::runtime_error("no reason given: " + line);
        }
        list.push_back({line.substr(0, wordEnd), line.substr(reason)});
    }
    return list;
}

bool Matches(const std::string& pattern, const std::string& word) {
    const std::size_t star = pattern.find('*');
    if (star == std::string::npos) {
        return pattern == word;
    }
    const std::string tail = pattern.substr(star + 1);
    return word.size() >= pattern.size() - 1 && word.compare(0, star, pattern, 0, star) == 0 &&
           word.compare(word.size() - tail.size(), tail.size(), tail) == 0;
}

}  // namespace architecture
