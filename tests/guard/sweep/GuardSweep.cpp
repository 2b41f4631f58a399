// SPDX-License-Identifier: MIT

// Strikes every place of an install with every outcome that the place can have, and holds each run
// against what flashguard promises:
//
//   - no success with a chip that differs from the image, or has weak cells;
//   - every run ends by itself, but for a call that was ordered never to return;
//   - nothing is left exported, driven or switched after a run that ended by itself;
//   - what a status says of the chip is so;
//   - a chip that falls silent is given up within 15 s;
//   - a second install on a sound board brings every chip to the image.
//
//   guard_sweep [--jobs N] [--every N] [--part K/N]

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "guard/plan/Plan.h"
#include "guard/session/Operations.h"
#include "image/IntelHex.h"
#include "tests/guard/sweep/BoardRun.h"
#include "tests/sweeps/Cases.h"
#include "tests/sweeps/Image.h"
#include "tests/sweeps/RunFolder.h"
#include "tests/sweeps/SweepOptions.h"
#include "vboard/text/Format.h"

namespace guard_sweep {
namespace {

constexpr std::int64_t kSilenceLimitNs = 15'000'000'000;

/// A board, an image for it, and how flashguard sees the two.
struct Scene {
    std::string name;
    std::vector<std::string> settings;
    std::string imageName;
    guard::Request request;
    std::vector<std::uint8_t> memory;  ///< All of it, as the image has it.
};

struct SweepCase {
    std::size_t scene;
    Faults faults;
    bool silence = false;  ///< The chip says nothing any more from the strike on.
};

guard::Request RequestFor(const sweeps::Image& image, const guard::Board& board,
                          const std::string& lockFolder) {
    guard::Request request;
    request.command = "install";
    request.board = board;
    request.lockFolder = lockFolder;
    request.image.emplace();
    request.image->path = image.Name() + ".hex";
    std::string problem;
    if (!image::ReadIntelHex(image.HexText(), request.image->memory, problem)) {
        throw std::logic_error(problem);
    }
    request.image->version = image.VersionWord();
    return request;
}

/// Small memory at its end, so that a loader without erase check is read in a moment.
sweeps::Image SmallImage() {
    sweeps::Image image("small");
    image.Data(0xFC00, {0x34, 0x12}).Pattern(0xFC02, 47).Pattern(0xFD00, 250).Pattern(0xFDFA, 50);
    image.Data(0xFFE0, {0x02, 0xFC}).Data(0xFFFE, {0x02, 0xFC});
    return image;
}

Scene SceneOf(const std::string& name, const std::vector<std::string>& settings,
              const guard::Request& request) {
    std::vector<std::uint8_t> memory;
    for (std::uint32_t at = 0; at < vboard::kMemorySizeBytes; ++at) {
        memory.push_back(request.image->memory.At(static_cast<std::uint16_t>(at)));
    }
    return {request.board.chip.name + " " + name, settings, name, request, std::move(memory)};
}

std::vector<Scene> Scenes(const std::string& lockFolder) {
    const guard::Board& board = guard::BuiltInBoards().front();
    std::vector<Scene> scenes;
    for (const sweeps::Image& image : sweeps::AllImages()) {
        if (image.Name() == "mixed") {
            continue;  // It wraps around the end of memory, which a strict reader refuses.
        }
        scenes.push_back(SceneOf(image.Name(), {}, RequestFor(image, board, lockFolder)));
    }
    guard::Board old = board;
    old.chip = *guard::FindPart("msp430-56k-v110");
    old.chip.main.first = 0xFC00;
    old.versionAddress = 0xFC00;
    guard::Request request = RequestFor(SmallImage(), old, lockFolder);
    request.image->version = 0x1234;
    scenes.push_back(
        SceneOf("small", {"chip=msp430-56k-v110", "version-address=0xFC00", "receive-trigger=14"},
                request));
    return scenes;
}

Operation InstallOf(const Scene& scene) {
    return [&scene](guard::Progress& progress) { return guard::Install(scene.request, progress); };
}

sweeps::Places PlacesOf(const Counts& counts) {
    sweeps::Places places;
    std::string calls;
    for (const std::string& line : counts.calls) {
        calls += line + "\n";
    }
    places.calls = sweeps::CallsOf(calls);
    places.charactersToChip = counts.charactersToChip;
    places.charactersToHost = counts.charactersToHost;
    places.answers = counts.answers;
    std::copy(counts.edges.begin(), counts.edges.end(), std::begin(places.edges));
    return places;
}

void AddSilences(std::size_t scene, const sweeps::Places& places, std::vector<SweepCase>& cases) {
    for (std::size_t i = 1; i <= places.calls.size(); ++i) {
        cases.push_back({scene, {{vboard::Formatted("call#{}=power off", i)}, 0, 0}, true});
    }
    for (unsigned i = 1; i <= places.answers; ++i) {
        cases.push_back({scene, {{vboard::Formatted("answer:*#{}..=silence", i)}, 0, 0}, true});
        cases.push_back({scene, {{vboard::Formatted("answer:*#{}=power off", i)}, 0, 0}, true});
    }
}

void AddNoise(std::size_t scene, std::vector<SweepCase>& cases) {
    constexpr std::uint64_t kSeeds = 200;
    for (std::uint64_t seed = 1; seed <= kSeeds; ++seed) {
        for (const double rate : {0.0005, 0.002, 0.01}) {
            cases.push_back({scene, {{}, rate, seed}, false});
        }
    }
}

std::vector<SweepCase> CasesOf(const std::vector<Scene>& scenes) {
    std::vector<SweepCase> cases;
    for (std::size_t i = 0; i < scenes.size(); ++i) {
        BoardRun run(scenes[i].settings);
        const sweeps::Places places = PlacesOf(run.Count(InstallOf(scenes[i])));
        const std::size_t before = cases.size();
        for (sweeps::Case& one : sweeps::CasesFor(i, places, false)) {
            cases.push_back({i, {std::move(one.rules), 0, 0}, false});
        }
        AddSilences(i, places, cases);
        AddNoise(i, cases);
        std::cout << vboard::Formatted(
            "{}: {} calls, {} characters to the chip, {} to the host, {} answers: {} cases\n",
            scenes[i].name, places.calls.size(), places.charactersToChip, places.charactersToHost,
            places.answers, cases.size() - before);
    }
    return cases;
}

std::string ReplayText(const Scene& scene, const Faults& faults) {
    std::string text = "vboard run";
    for (const std::string& setting : scene.settings) {
        text += " --option " + setting;
    }
    for (const std::string& rule : faults.rules) {
        text += vboard::Formatted(" --fault '{}'", rule);
    }
    if (faults.noiseRate > 0) {
        text += vboard::Formatted(" --noise {} --seed {}", faults.noiseRate, faults.noiseSeed);
    }
    return text + " -- flashguard install tests/sweeps/images/" + scene.imageName + ".hex";
}

/// "" when main memory holds the image and nothing else.
std::string DifferenceFrom(const Scene& scene, const Shared& shared) {
    const std::ptrdiff_t first = scene.request.board.chip.main.first;
    const auto wanted = scene.memory.begin() + first;
    // Looked at as a whole first, which is quick in every build.
    if (std::equal(wanted, scene.memory.end(), shared.memory.begin() + first)) {
        return {};
    }
    const auto [byte, got] =
        std::mismatch(wanted, scene.memory.end(), shared.memory.begin() + first);
    return vboard::Formatted("0x{:04X} holds {:02X}, not {:02X}",
                             std::distance(scene.memory.begin(), byte), *got, *byte);
}

bool SameFlash(const Scene& scene, const Shared& one, const Shared& other) {
    const guard::Part& chip = scene.request.board.chip;
    const auto same = [&](const guard::MemoryArea& area) {
        return std::equal(one.memory.begin() + area.first, one.memory.begin() + area.last + 1,
                          other.memory.begin() + area.first);
    };
    return same(chip.main) && same(chip.information);
}

bool HasResetVector(const Shared& shared) {
    return shared.memory.at(guard::kResetVectorAddress) != 0xFF ||
           shared.memory.at(guard::kResetVectorAddress + 1U) != 0xFF;
}

/// What the status promises of the chip, against what it holds.
std::string WrongStatus(const Scene& scene, const BoardRun& run, const Shared& before) {
    const Shared& after = run.Result();
    const std::string difference = DifferenceFrom(scene, after);
    switch (after.status) {
        case guard::Status::kDone:
        case guard::Status::kWrongVersion:
            if (!difference.empty()) {
                return "proved, but " + difference;
            }
            return run.WeakBytes() == 0 ? "" : "proved, with weak bytes";
        case guard::Status::kDeviceMissing:
        case guard::Status::kNoAnswer:
            return SameFlash(scene, after, before) ? "" : "as it was, but the flash has changed";
        case guard::Status::kFailed:
            return after.chip == guard::ChipState::kNoFirmware && HasResetVector(after)
                       ? "no firmware, but there is a reset vector"
                       : "";
        default:
            return "an install does not end so";
    }
}

std::string EndProblem(const Shared& shared, const BoardRun& run) {
    switch (shared.end) {
        case End::kForEver:
            return "would wait for ever";
        case End::kTimeLimit:
            return "goes on for more than a day";
        case End::kCrashed:
            return "crashed";
        case End::kItself:
            return run.LeftBehind();
        default:
            return {};
    }
}

struct Tally {
    std::size_t runs = 0;
    std::map<std::string, std::size_t> ends;
    std::vector<std::string> problems;
    double longestSilence = 0;
};

std::string WordFor(const Shared& shared) {
    switch (shared.end) {
        case End::kItself:
            return vboard::Formatted("status {}", static_cast<int>(shared.status));
        case End::kKilled:
            return "killed";
        case End::kHeldByOrder:
            return "held by the ordered call";
        default:
            return "ENDED BY THE BOARD";
    }
}

void RunCase(const Scene& scene, const SweepCase& one, BoardRun& run, Tally& tally) {
    static const std::unique_ptr<Shared> before = std::make_unique<Shared>();
    const auto blame = [&](const std::string& problem) {
        if (!problem.empty()) {
            tally.problems.push_back(ReplayText(scene, one.faults) + "\n    " + problem + " (" +
                                     WordFor(run.Result()) + ", " + run.Result().problem.data() +
                                     ")");
        }
    };
    run.Renew();
    *before = run.Result();
    const Shared& shared = run.Run(InstallOf(scene), one.faults);
    ++tally.runs;
    ++tally.ends[WordFor(shared)];
    blame(EndProblem(shared, run));
    if (shared.end == End::kItself) {
        blame(WrongStatus(scene, run, *before));
    }
    if (one.silence && shared.end == End::kItself && shared.struckNs >= 0) {
        const std::int64_t longNs = shared.endNs - shared.struckNs;
        tally.longestSilence = std::max(tally.longestSilence, static_cast<double>(longNs) / 1e9);
        blame(longNs > kSilenceLimitNs ? vboard::Formatted("ended {:.1f} s after the silence began",
                                                           static_cast<double>(longNs) / 1e9)
                                       : "");
    }
    if (shared.end == End::kItself && shared.status == guard::Status::kDone) {
        return;
    }
    run.Run(InstallOf(scene), {});
    ++tally.runs;
    const std::string difference = DifferenceFrom(scene, shared);
    const bool good = shared.end == End::kItself && shared.status == guard::Status::kDone &&
                      difference.empty() && run.WeakBytes() == 0;
    blame(good ? "" : "and a second install on a sound board does not succeed: " + difference);
    ++tally.ends[good ? "made whole by a second install" : "NOT MADE WHOLE"];
}

void Print(const Tally& tally, std::ostream& out) {
    out << tally.runs << " runs\n";
    for (const auto& [word, count] : tally.ends) {
        out << vboard::Formatted("{:>7}  {}\n", count, word);
    }
    out << vboard::Formatted("longest silence {:.2f} s\n", tally.longestSilence);
    constexpr std::size_t kShown = 30;
    for (std::size_t i = 0; i < std::min(kShown, tally.problems.size()); ++i) {
        out << tally.problems[i] << '\n';
    }
    out << tally.problems.size() << " problems\n";
}

/// Each job in a process of its own, which says what it found as text.
int Job(const std::vector<Scene>& scenes, const std::vector<SweepCase>& cases, unsigned job,
        const sweeps::Shares& shares, const std::string& path) {
    std::map<std::size_t, std::unique_ptr<BoardRun>> boards;
    Tally tally;
    const std::size_t step = std::size_t{shares.every} * shares.parts * shares.jobs;
    for (std::size_t i = (job * shares.parts + shares.part - 1) * shares.every; i < cases.size();
         i += step) {
        auto& board = boards[cases[i].scene];
        if (board == nullptr) {
            board = std::make_unique<BoardRun>(scenes[cases[i].scene].settings);
        }
        RunCase(scenes[cases[i].scene], cases[i], *board, tally);
    }
    std::ofstream out(path);
    Print(tally, out);
    return tally.problems.empty() && tally.runs > 0 ? 0 : 1;
}

int Sweep(const sweeps::Shares& shares) {
    const sweeps::RunFolder place;
    const std::string& folder = place.Path();
    std::vector<Scene> scenes = Scenes(folder);
    const std::vector<SweepCase> cases = CasesOf(scenes);
    std::cout << std::flush;
    std::vector<pid_t> children;
    for (unsigned job = 0; job < shares.jobs; ++job) {
        const pid_t child = fork();
        if (child == 0) {
            for (Scene& scene : scenes) {
                scene.request.lockFolder = vboard::Formatted("{}/{}", folder, job);
            }
            std::filesystem::create_directory(vboard::Formatted("{}/{}", folder, job));
            _exit(Job(scenes, cases, job, shares, vboard::Formatted("{}/found-{}", folder, job)));
        }
        children.push_back(child);
    }
    bool good = true;
    for (unsigned job = 0; job < shares.jobs; ++job) {
        int status = 0;
        waitpid(children[job], &status, 0);
        good = good && status == 0;
        std::ifstream found(vboard::Formatted("{}/found-{}", folder, job));
        std::cout << vboard::Formatted("job {}:\n", job) << found.rdbuf();
    }
    return good ? 0 : 1;
}

}  // namespace
}  // namespace guard_sweep

int main(int argc, char** argv) {
    sweeps::Shares shares;
    const auto end = sweeps::TakeOptions(
        argc, argv, "Strikes every place of an install and holds it against what is promised.",
        shares, nullptr);
    try {
        return end ? *end : guard_sweep::Sweep(shares);
    } catch (const std::exception& problem) {
        std::cerr << "guard_sweep: " << problem.what() << '\n';
        return 2;
    }
}
