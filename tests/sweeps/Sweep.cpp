// SPDX-License-Identifier: MIT

// Strikes every place of a programming run with every outcome that the place can have, and holds
// each run against the rules.
//
//   sweep --vboard PROGRAM --flashmcu PROGRAM --hazards docs/HAZARDS.md --images FOLDER [--jobs N]
//   [--thorough] [--every N] [--part K/N]
//
// Exit status 0: every run followed the rules, and the hazards found are the ones listed.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <mutex>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/sweeps/Cases.h"
#include "tests/sweeps/Trial.h"
#include "vboard/text/Format.h"
#include "vboard/text/HexText.h"

namespace sweeps {
namespace {

constexpr std::array<const char*, static_cast<std::size_t>(Outcome::kCount)> kOutcomeWords{
    "complete",
    "INCOMPLETE WITH SUCCESS",
    "failed",
    "held by a silent chip",
    "held by the ordered call",
    "killed"};

struct Options {
    Tools tools;
    std::string hazardsPath;
    std::string imagesFolder;
    unsigned jobs = std::max(1U, std::thread::hardware_concurrency());
    unsigned every = 1;
    unsigned part = 1;  ///< Of `parts`, which share the cases in turn.
    unsigned parts = 1;
    bool thorough = false;
};

/// What a sweep has found so far; shared by the workers.
struct Findings {
    std::mutex mutex;
    std::array<std::size_t, static_cast<std::size_t>(Outcome::kCount)> outcomes{};
    std::size_t runs = 0;
    std::size_t recoveries = 0;
    std::vector<std::string> problems;
    std::map<std::string, std::set<std::string>> hazards;  ///< Name, and what showed it.
};

/// A hazard's name by what was done and what the run shows; empty when it is none of the known
/// ones.
std::string HazardOf(const Case& one, const Verdict& verdict, bool again) {
    const auto logged = [&verdict](const char* text) {
        return std::any_of(verdict.log.begin(), verdict.log.end(), [text](const std::string& line) {
            return line.find(text) != std::string::npos;
        });
    };
    if (again) {
        return logged("already current") ? "interrupted-but-current" : "";
    }
    if (logged("error send sync for address")) {
        return "sync-lost-before-a-block";
    }
    // One acknowledge too many: by a doubled character, or by the loader itself.
    const bool doubled = !one.rules.empty() && (one.rules[0].ends_with("=double") ||
                                                one.rules[0].ends_with("=bytes 90 90"));
    return doubled ? "doubled-acknowledge" : "";
}

void Count(const Verdict& verdict, Findings& findings) {
    ++findings.runs;
    ++findings.outcomes.at(static_cast<std::size_t>(verdict.outcome));
}

void NoteHazard(const Case& one, const Verdict& verdict, const std::string& replay, bool again,
                Findings& findings) {
    const std::string name = HazardOf(one, verdict, again);
    if (name.empty()) {
        findings.problems.push_back(vboard::Formatted(
            "{}\n    ended with success although the flash differs from the image", replay));
    } else {
        findings.hazards[name].insert(replay);
    }
}

void RunCase(const Image& image, const Case& one, Worker& worker, Findings& findings) {
    const std::string replay = ReplayText(image.Name(), one.rules);
    const Verdict first = worker.Run(image, one.rules);
    Verdict second;
    if (one.again) {
        second = worker.RunAgain(image, one.rulesAgain);
    }
    const std::lock_guard lock(findings.mutex);
    Count(first, findings);
    if (!first.problem.empty()) {
        findings.problems.push_back(vboard::Formatted("{}\n    {}", replay, first.problem));
    }
    if (first.outcome == Outcome::kIncomplete) {
        NoteHazard(one, first, replay, false, findings);
    }
    if (!one.again) {
        return;
    }
    Count(second, findings);
    const std::string both =
        vboard::Formatted("{}\n    and then: {}", replay, ReplayText(image.Name(), one.rulesAgain));
    if (!second.problem.empty()) {
        findings.problems.push_back(vboard::Formatted("{}\n    {}", both, second.problem));
    }
    if (second.outcome == Outcome::kComplete) {
        ++findings.recoveries;
    } else if (second.outcome == Outcome::kIncomplete) {
        NoteHazard(one, second, replay, true, findings);
    } else {
        findings.problems.push_back(
            vboard::Formatted("{}\n    the second run did not succeed", both));
    }
}

void RunCases(const std::vector<Image>& images, const std::vector<Case>& cases,
              const Options& options, Findings& findings) {
    std::atomic<std::size_t> next{0};
    std::vector<std::thread> threads;
    for (unsigned number = 0; number < options.jobs; ++number) {
        threads.emplace_back([&, number] {
            Worker worker(options.tools, number);
            for (std::size_t i = next++; i < cases.size(); i = next++) {
                RunCase(images[cases[i].image], cases[i], worker, findings);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

/// A row of the list: "| `name` | `image` | `rule` | ...".
struct ListedHazard {
    std::string name;
    std::string image;
    std::string rule;
};

std::vector<ListedHazard> ListedHazards(const std::string& path) {
    std::vector<ListedHazard> listed;
    std::ifstream file(path);
    const std::regex row("^\\| `([^`]+)` \\| `([^`]+)` \\| `([^`]+)` \\|.*");
    for (std::string line; std::getline(file, line);) {
        std::smatch match;
        if (std::regex_match(line, match, row)) {
            listed.push_back({match[1], match[2], match[3]});
        }
    }
    return listed;
}

/// Each row's rule as a case of its own, so that a listed rule that no longer shows its hazard is
/// found.
void AddListed(const std::vector<Image>& images, const std::vector<ListedHazard>& listed,
               std::vector<Case>& cases) {
    for (const ListedHazard& hazard : listed) {
        for (std::size_t i = 0; i < images.size(); ++i) {
            if (images[i].Name() == hazard.image) {
                const bool interrupts = hazard.name.starts_with("interrupted");
                cases.push_back({i, {hazard.rule}, interrupts, {}});
            }
        }
    }
}

/// `tried` says that the listed rules were among the cases.
void CompareHazards(const std::vector<ListedHazard>& listed, bool tried, Findings& findings) {
    std::set<std::string> names;
    for (const ListedHazard& hazard : listed) {
        names.insert(hazard.name);
        const bool met = !tried || std::any_of(findings.hazards.begin(), findings.hazards.end(),
                                               [&hazard](const auto& found) {
                                                   return found.first == hazard.name &&
                                                          found.second.contains(ReplayText(
                                                              hazard.image, {hazard.rule}));
                                               });
        if (!met) {
            findings.problems.push_back(vboard::Formatted(
                "hazard '{}' is listed with '{}' on image {}, which does not show it", hazard.name,
                hazard.rule, hazard.image));
        }
    }
    for (const auto& [name, shown] : findings.hazards) {
        if (!names.contains(name)) {
            findings.problems.push_back(
                vboard::Formatted("{}\n    hazard '{}' is not listed", *shown.begin(), name));
        }
    }
}

/// The images as files for the program; equal ones are kept in the repository for replays.
void WriteImages(const std::vector<Image>& images, const Options& options, Findings& findings) {
    for (const Image& image : images) {
        const std::string name = image.Name() + ".hex";
        std::ofstream(options.tools.folder + "/" + name) << image.HexText();
        std::ifstream kept(options.imagesFolder + "/" + name);
        const std::string text{std::istreambuf_iterator<char>(kept), {}};
        if (text != image.HexText()) {
            findings.problems.push_back(
                vboard::Formatted("{}/{} is not the image of the sweep: copy it from a run with "
                                  "--images pointing to an empty folder",
                                  options.imagesFolder, name));
        }
    }
}

std::vector<Case> CollectCases(const std::vector<Image>& images, const Options& options) {
    std::vector<Case> cases;
    std::size_t number = 0;
    Worker worker(options.tools, options.jobs);
    for (std::size_t i = 0; i < images.size(); ++i) {
        const Places places = worker.FindPlaces(images[i]);
        const std::vector<Case> added = CasesFor(i, places, options.thorough);
        std::cout << vboard::Formatted(
            "image {}: {} calls, {} characters to the chip, {} to the host, {} answers: {} cases\n",
            images[i].Name(), places.calls.size(), places.charactersToChip, places.charactersToHost,
            places.answers, added.size());
        for (std::size_t k = 0; k < added.size(); k += options.every) {
            if (number++ % options.parts == options.part - 1) {
                cases.push_back(added[k]);
            }
        }
    }
    return cases;
}

void Print(const Findings& findings) {
    std::cout << vboard::Formatted("{} runs:\n", findings.runs);
    for (std::size_t i = 0; i < kOutcomeWords.size(); ++i) {
        std::cout << vboard::Formatted("  {:>7}  {}\n", findings.outcomes.at(i),
                                       kOutcomeWords.at(i));
    }
    std::cout << vboard::Formatted("  {:>7}  interrupted runs that the next run made whole\n",
                                   findings.recoveries);
    for (const auto& [name, shown] : findings.hazards) {
        std::cout << vboard::Formatted("hazard {}: {} cases, one of them:\n    {}\n", name,
                                       shown.size(), *shown.begin());
    }
    constexpr std::size_t kShown = 20;
    std::cout << vboard::Formatted("{} problems\n", findings.problems.size());
    for (std::size_t i = 0; i < std::min(kShown, findings.problems.size()); ++i) {
        std::cout << findings.problems[i] << '\n';
    }
}

int Sweep(Options options) {
    options.tools.folder = std::filesystem::temp_directory_path() / "flashmcu-sweep-XXXXXX";
    if (mkdtemp(options.tools.folder.data()) == nullptr) {
        std::cerr << vboard::Formatted("sweep: no temporary folder {}\n", options.tools.folder);
        return 2;
    }
    Findings findings;
    const std::vector<Image> images = AllImages();
    WriteImages(images, options, findings);
    const std::vector<ListedHazard> listed = ListedHazards(options.hazardsPath);
    std::vector<Case> cases = CollectCases(images, options);
    const bool first = options.part == 1;
    if (first) {
        AddListed(images, listed, cases);
    }
    RunCases(images, cases, options, findings);
    CompareHazards(listed, first, findings);
    Print(findings);
    std::filesystem::remove_all(options.tools.folder);
    return findings.problems.empty() ? 0 : 1;
}

}  // namespace
}  // namespace sweeps

int main(int argc, char** argv) {
    sweeps::Options options;
    const auto takesPart = [&options](const std::string& text) {
        std::istringstream words(text);
        char slash = 0;
        words >> options.part >> slash >> options.parts;
        const bool whole = words && words.peek() == EOF && slash == '/';
        return whole && options.part >= 1 && options.part <= options.parts
                   ? std::string()
                   : "takes K/N with K from 1 to N, as in 2/8, not " + text;
    };
    std::string part;
    CLI::App app("Strikes every place of a programming run and holds it against the rules.");
    app.add_option("--vboard", options.tools.vboard)->required();
    app.add_option("--flashmcu", options.tools.flashmcu)->required();
    app.add_option("--hazards", options.hazardsPath, "The list of known hazards")->required();
    app.add_option("--images", options.imagesFolder, "Where the images are kept")->required();
    app.add_option("--jobs", options.jobs, "Runs at a time")->check(CLI::PositiveNumber);
    app.add_option("--every", options.every, "Only every N-th case")->check(CLI::PositiveNumber);
    app.add_option("--part", part, "Only the K-th of N shares of the cases: K/N")->check(takesPart);
    app.add_flag("--thorough", options.thorough, "More outcomes at each place");
    CLI11_PARSE(app, argc, argv);
    // Each run is started in a folder of its own.
    for (std::string* program : {&options.tools.vboard, &options.tools.flashmcu}) {
        *program = std::filesystem::absolute(*program);
    }
    return sweeps::Sweep(options);
}
