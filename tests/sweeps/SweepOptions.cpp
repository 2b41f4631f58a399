// SPDX-License-Identifier: MIT
#include "tests/sweeps/SweepOptions.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <thread>

namespace sweeps {
namespace {

/// "" for K/N, else what it should be.
std::string TakePart(const std::string& text, Shares& shares) {
    std::istringstream words(text);
    char slash = 0;
    words >> shares.part >> slash >> shares.parts;
    const bool whole = words && words.peek() == EOF && slash == '/';
    return whole && shares.part >= 1 && shares.part <= shares.parts
               ? std::string()
               : "takes K/N with K from 1 to N, as in 2/8, not " + text;
}

void AddToolSweep(CLI::App& app, ToolSweep& tool) {
    app.add_option("--vboard", tool.vboard)->required();
    app.add_option("--flashmcu", tool.flashmcu)->required();
    app.add_option("--hazards", tool.hazardsPath, "The list of known hazards")->required();
    app.add_option("--images", tool.imagesFolder, "Where the images are kept")->required();
    app.add_option("--compared", tool.compared,
                   "Every N-th case of a kind is run by these programs as well")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_flag("--thorough", tool.thorough, "More outcomes at each place");
}

}  // namespace

std::optional<int> TakeOptions(int argc, char** argv, const char* purpose, Shares& shares,
                               ToolSweep* tool) {
    shares.jobs = std::max(1U, std::thread::hardware_concurrency());
    std::string part;
    CLI::App app(purpose);
    if (tool != nullptr) {
        AddToolSweep(app, *tool);
    }
    app.add_option("--jobs", shares.jobs, "Runs at a time")->check(CLI::PositiveNumber);
    app.add_option("--every", shares.every, "Only every N-th case")->check(CLI::PositiveNumber);
    app.add_option("--part", part, "Only the K-th of N shares of the cases: K/N")
        ->check([&shares](const std::string& text) { return TakePart(text, shares); });
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {
        return app.exit(end);
    }
    if (tool != nullptr) {
        // Each run is started in a folder of its own.
        for (std::string* program : {&tool->vboard, &tool->flashmcu}) {
            *program = std::filesystem::absolute(*program);
        }
    }
    return std::nullopt;
}

}  // namespace sweeps
