// SPDX-License-Identifier: MIT

// Strikes every place of a programming run with every outcome that the place can have, and holds
// each run against the rules.
//
// The runs take the short way (ToolRun.h). That it is the true one is seen by running cases of
// every kind, and all listed hazards, by the programs as well: what the run was has to be the same
// to the byte.
//
//   sweep --vboard PROGRAM --flashmcu PROGRAM --hazards docs/HAZARDS.md --images FOLDER [--jobs N]
//   [--thorough] [--compared N] [--every N] [--part K/N]
//
// Exit status 0: every run followed the rules, was the same both ways, and the hazards found are
// the ones listed.

#include <algorithm>
#include <array>
#include <atomic>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <mutex>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/sweeps/Cases.h"
#include "tests/sweeps/RunFolder.h"
#include "tests/sweeps/SweepOptions.h"
#include "tests/sweeps/Trial.h"
#include "vboard/text/Format.h"

namespace sweeps {
namespace {

constexpr std::array<const char*, static_cast<std::size_t>(Outcome::kCount)> kOutcomeWords{
    "complete",
    "INCOMPLETE WITH SUCCESS",
    "failed",
    "held by a silent chip",
    "held by the ordered call",
    "killed"};

/// A case of this sweep.
struct Chosen {
    Case one;
    bool compared = false;  ///< Run by the programs as well.
};

/// What a sweep has found so far; shared by the workers.
struct Findings {
    std::mutex mutex;
    std::array<std::size_t, static_cast<std::size_t>(Outcome::kCount)> outcomes{};
    std::size_t runs = 0;
    std::size_t compared = 0;  ///< Runs that were the same both ways.
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

void RunCase(const Image& image, const Chosen& chosen, Worker& worker, Findings& findings) {
    const Case& one = chosen.one;
    const std::string replay = ReplayText(image.Name(), one.rules);
    const Verdict first = worker.Run(image, one.rules, chosen.compared);
    Verdict second;
    if (one.again) {
        second = worker.RunAgain(image, one.rulesAgain, chosen.compared);
    }
    const std::lock_guard lock(findings.mutex);
    findings.compared += (chosen.compared ? 1U : 0U) + (chosen.compared && one.again ? 1U : 0U);
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

void RunCases(const std::vector<Image>& images, const std::vector<Chosen>& cases,
              const Tools& tools, unsigned jobs, Findings& findings) {
    std::atomic<std::size_t> next{0};
    const auto work = [&](unsigned number) {
        Worker worker(tools, number);
        for (std::size_t i = next++; i < cases.size(); i = next++) {
            RunCase(images[cases[i].one.image], cases[i], worker, findings);
        }
    };
    std::vector<std::thread> threads;
    for (unsigned number = 1; number < jobs; ++number) {
        threads.emplace_back(work, number);
    }
    work(0);
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
               std::vector<Chosen>& cases) {
    for (const ListedHazard& hazard : listed) {
        for (std::size_t i = 0; i < images.size(); ++i) {
            if (images[i].Name() == hazard.image) {
                const bool interrupts = hazard.name.starts_with("interrupted");
                cases.push_back({{i, {hazard.rule}, interrupts, {}}, true});
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
void WriteImages(const std::vector<Image>& images, const std::string& folder,
                 const std::string& keptFolder, Findings& findings) {
    for (const Image& image : images) {
        const std::string name = image.Name() + ".hex";
        std::ofstream(folder + "/" + name) << image.HexText();
        std::ifstream kept(keptFolder + "/" + name);
        const std::string text{std::istreambuf_iterator<char>(kept), {}};
        if (text != image.HexText()) {
            findings.problems.push_back(
                vboard::Formatted("{}/{} is not the image of the sweep: copy it from a run with "
                                  "--images pointing to an empty folder",
                                  keptFolder, name));
        }
    }
}

std::vector<Chosen> CollectCases(const std::vector<Image>& images, const Tools& tools,
                                 const Shares& shares, const ToolSweep& options) {
    std::vector<Chosen> cases;
    std::size_t number = 0;
    Worker worker(tools, shares.jobs);
    for (std::size_t i = 0; i < images.size(); ++i) {
        const Places places = worker.FindPlaces(images[i]);
        std::vector<Case> added = CasesFor(i, places, options.thorough);
        std::cout << vboard::Formatted(
            "image {}: {} calls, {} characters to the chip, {} to the host, {} answers: {} cases\n",
            images[i].Name(), places.calls.size(), places.charactersToChip, places.charactersToHost,
            places.answers, added.size());
        std::map<std::string, unsigned> ofKind;
        for (std::size_t k = 0; k < added.size(); k += shares.every) {
            const bool compared = ofKind[KindOf(added[k], places)]++ % options.compared == 0;
            if (shares.Has(number++)) {
                cases.push_back({std::move(added[k]), compared});
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
    std::cout << vboard::Formatted(
        "  {:>7}  interrupted runs that the next run made whole\n"
        "  {:>7}  of all runs made by the programs as well, and compared to the byte\n",
        findings.recoveries, findings.compared);
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

int Sweep(const Shares& shares, const ToolSweep& options) {
    const RunFolder folder;
    const Tools tools{options.vboard, options.flashmcu, folder.Path()};
    Findings findings;
    const std::vector<Image> images = AllImages();
    WriteImages(images, folder.Path(), options.imagesFolder, findings);
    const std::vector<ListedHazard> listed = ListedHazards(options.hazardsPath);
    std::vector<Chosen> cases = CollectCases(images, tools, shares, options);
    const bool first = shares.part == 1;
    if (first) {
        AddListed(images, listed, cases);
    }
    RunCases(images, cases, tools, shares.jobs, findings);
    CompareHazards(listed, first, findings);
    Print(findings);
    return findings.problems.empty() ? 0 : 1;
}

}  // namespace
}  // namespace sweeps

int main(int argc, char** argv) {
    sweeps::Shares shares;
    sweeps::ToolSweep options;
    const auto end = sweeps::TakeOptions(
        argc, argv, "Strikes every place of a programming run and holds it against the rules.",
        shares, &options);
    try {
        return end ? *end : sweeps::Sweep(shares, options);
    } catch (const std::exception& problem) {
        std::cerr << "sweep: " << problem.what() << '\n';
        return 2;
    }
}
