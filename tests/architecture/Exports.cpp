// SPDX-License-Identifier: MIT
#include "tests/architecture/Exports.h"

#include <algorithm>
#include <map>
#include <regex>

namespace architecture {
namespace {

constexpr const char* kMap = "vboard/front/exports.map";
constexpr const char* kRealHeader = "vboard/process/RealLibc.h";
constexpr const char* kRealSource = "vboard/process/RealLibc.cpp";

const std::string& TextOf(const SourceTree& tree, const std::string& path) {
    static const std::string kNothing;
    const auto found = std::find_if(tree.begin(), tree.end(),
                                    [&](const SourceFile& file) { return file.path == path; });
    return found == tree.end() ? kNothing : found->text;
}

bool Has(const std::vector<std::string>& words, const std::string& word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

struct Place {
    std::string file;
    int line;
};

/// Each match's first group and where it stands.
std::map<std::string, Place> Collect(const std::string& path, const std::string& text,
                                     const std::regex& pattern) {
    std::map<std::string, Place> found;
    for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end;
         ++match) {
        found.emplace((*match)[1].str(),
                      Place{path, LineAt(text, static_cast<std::size_t>(match->position(1)))});
    }
    return found;
}

std::map<std::string, Place> Wrappers(const SourceTree& tree) {
    static const std::regex kWrapper("VBOARD_EXPORT[^(){};#]*?\\b(\\w+)\\s*\\(");
    std::map<std::string, Place> wrappers;
    for (const SourceFile& file : tree) {
        if (file.IsIn("vboard/front") && file.IsCpp()) {
            wrappers.merge(Collect(file.path, file.code, kWrapper));
        }
    }
    // The macro's own definition.
    wrappers.erase("__attribute__");
    return wrappers;
}

}  // namespace

std::vector<std::string> ParseExports(const std::string& map) {
    const std::regex comment("#[^\n]*");
    const std::string text = std::regex_replace(map, comment, "");
    const std::size_t begin = text.find("global:");
    const std::size_t end = text.find("local:");
    std::vector<std::string> names;
    if (begin == std::string::npos || end == std::string::npos) {
        return names;
    }
    const std::string part = text.substr(begin + 7, end - begin - 7);
    const std::regex word("\\w+");
    for (std::sregex_iterator match(part.begin(), part.end(), word), last; match != last; ++match) {
        names.push_back(match->str());
    }
    return names;
}

std::vector<Finding> CheckWrappers(const SourceTree& tree) {
    std::vector<Finding> findings;
    const std::vector<std::string> exports = ParseExports(TextOf(tree, kMap));
    const std::map<std::string, Place> wrappers = Wrappers(tree);
    for (const std::string& name : exports) {
        if (wrappers.count(name) == 0) {
            findings.push_back({kMap, 1, name + " has no wrapper",
                                "define it with VBOARD_EXPORT or take the name out"});
        }
    }
    for (const auto& [name, place] : wrappers) {
        if (!Has(exports, name)) {
            findings.push_back({place.file, place.line, name + " is not exported",
                                std::string("add the name to ") + kMap});
        }
    }
    return findings;
}

std::vector<Finding> CheckRealLibc(const SourceTree& tree) {
    static const std::regex kMember("\\(\\*(\\w+)\\)\\(");
    static const std::regex kLookUp("LookUp\\(real\\.(\\w+), \"\\w+\"\\)");
    const auto members = Collect(kRealHeader, TextOf(tree, kRealHeader), kMember);
    const auto lookedUp = Collect(kRealSource, TextOf(tree, kRealSource), kLookUp);
    std::vector<Finding> findings;
    for (const auto& [name, place] : members) {
        if (lookedUp.count(name) == 0) {
            findings.push_back({place.file, place.line, name + " is never looked up",
                                std::string("add its LookUp to ") + kRealSource});
        }
    }
    return findings;
}

std::vector<Finding> CheckWayToLibc(const SourceTree& tree) {
    std::string names;
    for (const std::string& name : ParseExports(TextOf(tree, kMap))) {
        names += (names.empty() ? "" : "|") + name;
    }
    // Not a member, not the end of a longer name; with or without std:: or :: in front.
    const std::regex call("(^|[^\\w.>:]|[^\\w]::|std::|[^-]>)(" + names + ")\\s*\\(");
    const std::regex definition("^VBOARD_EXPORT");
    std::vector<Finding> findings;
    for (const SourceFile& file : tree) {
        if (names.empty() || !file.IsCpp() || !file.IsIn("vboard") || file.IsIn("vboard/run")) {
            continue;
        }
        int number = 0;
        for (const std::string& line : LinesOf(file.code)) {
            ++number;
            std::smatch match;
            if (std::regex_search(line, match, call) && !std::regex_search(line, definition)) {
                findings.push_back({file.path, number, match[2].str() + " is a wrapped function",
                                    "call it as Real()." + match[2].str()});
            }
        }
    }
    return findings;
}

}  // namespace architecture
