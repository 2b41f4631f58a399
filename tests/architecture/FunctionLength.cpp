// SPDX-License-Identifier: MIT
#include "tests/architecture/FunctionLength.h"

#include <algorithm>
#include <regex>

namespace architecture {
namespace {

constexpr const char* kExceptions = "tests/architecture/long-functions.txt";

/// Walks over the braces of a source. A head is the text between the end of the last statement or
/// block and an opening brace.
class FunctionFinder {
public:
    explicit FunctionFinder(const SourceFile& file) : m_code(WithoutDirectives(file.code)) {}

    std::vector<Function> Run() {
        for (m_at = 0; m_at < m_code.size(); ++m_at) {
            const char c = m_code[m_at];
            if (c == '{') {
                Open();
            } else if (c == '}') {
                Close();
            } else if (c == ';' && m_inside == 0) {
                m_headStart = m_at + 1;
            }
        }
        return m_functions;
    }

private:
    /// Macros may have braces of their own.
    static std::string WithoutDirectives(std::string code) {
        bool blanking = false;
        bool lineStart = true;
        for (std::size_t i = 0; i < code.size(); ++i) {
            if (lineStart && code[i] == '#') {
                blanking = true;
            }
            if (code[i] == '\n') {
                blanking = blanking && i > 0 && code[i - 1] == '\\';
                lineStart = true;
            } else {
                lineStart = lineStart && code[i] == ' ';
                // The backslash stays: it says that the next line belongs to this one.
                if (blanking && code[i] != '\\') {
                    code[i] = ' ';
                }
            }
        }
        return code;
    }

    void Open() {
        if (m_inside > 0) {
            ++m_inside;
            return;
        }
        const std::string head = m_code.substr(m_headStart, m_at - m_headStart);
        static const std::regex kScope("(^|[\\s>])(namespace|class|struct|union|enum|extern)\\s");
        const bool isFunction = head.find('(') != std::string::npos;
        if (!isFunction && (std::regex_search(head, kScope) || head.find('=') == head.npos)) {
            m_headStart = m_at + 1;
            return;
        }
        m_inside = 1;
        m_isFunction = isFunction;
    }

    void Close() {
        if (m_inside == 0) {
            m_headStart = m_at + 1;
            return;
        }
        if (--m_inside > 0) {
            return;
        }
        const std::size_t next = m_code.find_first_not_of(" \n", m_at + 1);
        const bool wasInitializer =
            next != std::string::npos && (m_code[next] == ',' || m_code[next] == '{');
        if (wasInitializer) {
            return;
        }
        if (m_isFunction) {
            Record();
        }
        m_headStart = m_at + 1;
    }

    void Record() {
        const std::size_t start = m_code.find_first_not_of(" \n\\", m_headStart);
        const std::size_t parenthesis = m_code.find('(', start);
        const std::string before = m_code.substr(start, parenthesis - start);
        static const std::regex kName("([\\w:~]+)\\s*$");
        std::smatch name;
        const int line = LineAt(m_code, start);
        m_functions.push_back({std::regex_search(before, name, kName) ? name[1].str() : before,
                               line, LineAt(m_code, m_at) - line + 1});
    }

    std::string m_code;
    std::size_t m_at = 0;
    std::size_t m_headStart = 0;
    int m_inside = 0;  ///< Depth of braces in a function or an initializer; 0 between them.
    bool m_isFunction = false;
    std::vector<Function> m_functions;
};

}  // namespace

std::vector<Function> FunctionsOf(const SourceFile& file) {
    return FunctionFinder(file).Run();
}

std::vector<Finding> CheckFunctionLength(const SourceTree& tree,
                                         const std::vector<Reasoned>& allowed) {
    std::vector<Finding> findings;
    std::vector<std::string> needed;
    for (const SourceFile& file : tree) {
        if (!file.IsCpp()) {
            continue;
        }
        for (const Function& function : FunctionsOf(file)) {
            if (function.lines < kTooManyLines) {
                continue;
            }
            const std::string word = file.path + ":" + function.name;
            needed.push_back(word);
            if (std::none_of(allowed.begin(), allowed.end(),
                             [&](const Reasoned& entry) { return entry.word == word; })) {
                findings.push_back({file.path, function.line,
                                    function.name + " has " + std::to_string(function.lines) +
                                        " lines, too many from " + std::to_string(kTooManyLines),
                                    std::string("keep its decisions and move straight work into "
                                                "helpers, or list it with a reason in ") +
                                        kExceptions});
            }
        }
    }
    for (const Reasoned& entry : allowed) {
        if (std::find(needed.begin(), needed.end(), entry.word) == needed.end()) {
            findings.push_back({kExceptions, 1, entry.word + " is no long function any more",
                                "take its line out"});
        }
    }
    return findings;
}

}  // namespace architecture
