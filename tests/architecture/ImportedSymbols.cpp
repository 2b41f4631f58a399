// SPDX-License-Identifier: MIT
#include "tests/architecture/ImportedSymbols.h"

#include <algorithm>
#include <sstream>

namespace architecture {
namespace {

constexpr const char* kPassedThrough = "tests/architecture/passed-through.txt";

bool IsListed(const std::vector<Reasoned>& list, const std::string& name) {
    return std::any_of(list.begin(), list.end(),
                       [&](const Reasoned& entry) { return Matches(entry.word, name); });
}

}  // namespace

std::vector<std::string> NamesInSymbolTable(const std::string& nmOutput) {
    std::vector<std::string> names;
    for (const std::string& line : LinesOf(nmOutput)) {
        std::istringstream words(line);
        std::string name;
        for (std::string word; words >> word;) {
            name = word;
        }
        if (!name.empty()) {
            names.push_back(name.substr(0, name.find('@')));
        }
    }
    return names;
}

std::vector<Finding> CheckImports(const std::vector<std::string>& imports,
                                  const std::vector<std::string>& exports,
                                  const std::vector<Reasoned>& passedThrough) {
    std::vector<Finding> findings;
    for (const std::string& name : imports) {
        if (std::find(exports.begin(), exports.end(), name) == exports.end() &&
            !IsListed(passedThrough, name)) {
            findings.push_back({kPassedThrough, 1,
                                "the tool calls " + name + ", which the board does not answer",
                                "wrap it in vboard/front, or list it with the reason why it may "
                                "reach the machine"});
        }
    }
    return findings;
}

std::vector<Finding> CheckPassedThrough(const std::vector<std::string>& exports,
                                        const std::vector<Reasoned>& passedThrough) {
    std::vector<Finding> findings;
    for (const std::string& name : exports) {
        if (IsListed(passedThrough, name)) {
            findings.push_back({kPassedThrough, 1, name + " is answered by the board",
                                "take it out of this list"});
        }
    }
    return findings;
}

}  // namespace architecture
