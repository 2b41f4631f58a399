// SPDX-License-Identifier: MIT
#include "tests/architecture/Layers.h"

#include <algorithm>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace architecture {
namespace {

constexpr const char* kList = "docs/layers.txt";

bool Has(const std::vector<std::string>& words, const std::string& word) {
    return std::find(words.begin(), words.end(), word) != words.end() ||
           std::find(words.begin(), words.end(), "*") != words.end();
}

/// The deepest layer around a path; nullptr where there is none.
const Layer* LayerOf(const std::vector<Layer>& layers, const std::string& path) {
    const Layer* deepest = nullptr;
    for (const Layer& layer : layers) {
        if (path.rfind(layer.folder + "/", 0) == 0 &&
            (deepest == nullptr || layer.folder.size() > deepest->folder.size())) {
            deepest = &layer;
        }
    }
    return deepest;
}

/// Empty for the C++ standard library, whose headers have neither a dot nor a slash, and for what C
/// has even without a libc.
std::string FamilyOf(const std::string& header) {
    if (header.find_first_of("./") == std::string::npos || header == "stdint.h" ||
        header == "stddef.h") {
        return {};
    }
    static const std::regex kKernelAndLibc("(sys|linux|asm|netinet|arpa)/.*|[^/]*");
    return std::regex_match(header, kKernelAndLibc) ? "libc" : header.substr(0, header.find('/'));
}

std::string ProblemWith(const Layer& from, const std::vector<Layer>& layers, bool ours,
                        const std::string& header) {
    if (!ours) {
        const std::string family = FamilyOf(header);
        return family.empty() || Has(from.families, family)
                   ? ""
                   : from.folder + " may not include <" + header + "> (family " + family + ")";
    }
    const Layer* to = LayerOf(layers, header);
    if (to == nullptr) {
        // Whoever may include anything may do so by a path of its own.
        return Has(from.folders, "*") ? "" : "\"" + header + "\" is in no folder of the list";
    }
    return to == &from || Has(from.folders, to->folder)
               ? ""
               : from.folder + " may not include " + to->folder;
}

}  // namespace

std::vector<Layer> ParseLayers(const std::string& text) {
    std::vector<Layer> layers;
    int number = 0;
    for (const std::string& line : LinesOf(text)) {
        ++number;
        if (line.empty() || line.front() == '#') {
            continue;
        }
        std::istringstream words(line);
        Layer layer{{}, {}, {}, number};
        std::string arrow;
        if (!(words >> layer.folder >> arrow) || arrow != "->") {
            throw std::runtime_error("not a layer: " + line);
        }
        for (std::string word; words >> word;) {
            if (word.front() == '<') {
                layer.families.push_back(word.substr(1, word.size() - 2));
            } else {
                layer.folders.push_back(word);
            }
        }
        layers.push_back(std::move(layer));
    }
    return layers;
}

std::vector<Finding> CheckIncludes(const SourceTree& tree, const std::vector<Layer>& layers) {
    static const std::regex kInclude("^\\s*#\\s*include\\s*([\"<])([^\">]+)[\">].*");
    std::vector<Finding> findings;
    for (const SourceFile& file : tree) {
        if (!file.IsCpp()) {
            continue;
        }
        const Layer* from = LayerOf(layers, file.path);
        if (from == nullptr) {
            findings.push_back({file.path, 1, "its folder is in no layer",
                                std::string("add the folder to ") + kList});
            continue;
        }
        int number = 0;
        for (const std::string& line : LinesOf(file.text)) {
            ++number;
            std::smatch parts;
            if (!std::regex_match(line, parts, kInclude)) {
                continue;
            }
            const std::string problem = ProblemWith(*from, layers, parts[1] == "\"", parts[2]);
            if (!problem.empty()) {
                findings.push_back({file.path, number, problem,
                                    std::string("turn the dependency round or hand the thing in "
                                                "from above; the arrows are in ") +
                                        kList});
            }
        }
    }
    return findings;
}

std::vector<Finding> CheckArrows(const std::vector<Layer>& layers) {
    std::vector<Finding> findings;
    std::vector<std::string> above;
    for (const Layer& layer : layers) {
        for (const std::string& folder : layer.folders) {
            if (folder != "*" && std::find(above.begin(), above.end(), folder) == above.end()) {
                findings.push_back(
                    {kList, layer.line,
                     layer.folder + " points to " + folder + ", which is not listed above it",
                     "list what is used before what uses it"});
            }
        }
        above.push_back(layer.folder);
    }
    return findings;
}

}  // namespace architecture
