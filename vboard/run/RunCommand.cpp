// SPDX-License-Identifier: MIT

// vboard run: runs a program on a board. What its options ask for is carried out in Run.cpp.

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "vboard/record/WaveJson.h"
#include "vboard/run/Commands.h"
#include "vboard/run/RunOptions.h"
#include "vboard/run/SetupOptions.h"

namespace vboard {
namespace {

void AddFaults(CLI::App& run, RunOptions& options) {
    run.add_option("--fault", options.faults,
                   "Order a fault, as docs/FAULTS.md says: read:port#3=eio")
        ->type_name("RULE")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    run.add_option("--fault-plan", options.faultPlanPath, "Order every fault of this file")
        ->type_name("FILE");
    CLI::Option* noise = run.add_option("--noise", options.noiseRate,
                                        "Share of all events that random faults strike")
                             ->check(CLI::Range(0.0, 1.0))
                             ->type_name("RATE");
    run.add_option("--seed", options.noiseSeed, "Seed of the random faults; 1 without it")
        ->needs(noise)
        ->type_name("N");
    run.add_option("--calls", options.callsPath, "List the calls that a fault can strike")
        ->type_name("FILE");
}

void AddLibrary(CLI::App& run, RunOptions& options) {
    CLI::Option* library =
        run.add_option("--library", options.libraryPath, "Another build of libvboard.so")
            ->type_name("FILE");
    run.add_option("--via", options.via,
                   "Start a program built for another processor through this qemu-user emulator")
        ->type_name("COMMAND")
        ->needs(library);
}

void AddWaveforms(CLI::App& run, RunOptions& options) {
    run.add_option("--vcd", options.vcdPath, "Write the waveforms as a Value Change Dump")
        ->type_name("FILE");
    CLI::Option* wave =
        run.add_option("--wavejson", options.wavePath, "Write a picture as WaveDrom source")
            ->type_name("FILE");
    std::vector<std::string> words;
    for (const WavePartInfo& info : AllWaveParts()) {
        words.emplace_back(info.word);
    }
    run.add_option_function<std::string>(
           "--wave-part",
           [&options](const std::string& word) {
               options.wavePart = static_cast<unsigned>(FindWavePart(word));
           },
           "What the picture shows; all of the run if not given")
        ->needs(wave)
        ->check(CLI::IsMember(words))
        ->type_name("run|entry|reset|block|retry");
}

void AddSummary(CLI::App& run, RunOptions& options) {
    run.add_option_function<std::string>(
           "--summary",
           [&options](const std::string& form) { options.summaryAsJson = form == "json"; },
           "The summary at the end: one line, or an object for programs")
        ->check(CLI::IsMember({"line", "json"}))
        ->type_name("line|json");
    run.add_option("--summary-file", options.summaryPath,
                   "Write the summary for programs to a file")
        ->type_name("FILE");
    run.add_option("--image", options.imagePath,
                   "Compare the flash with this Intel HEX file in the summary for programs")
        ->type_name("FILE");
}

int RunOrRefuse(const RunOptions& options) {
    return options.program.empty() ? Refuse("no program: vboard run [OPTIONS] -- PROGRAM [ARGS...]")
                                   : Run(options);
}

}  // namespace

void AddRunCommand(CLI::App& app, Action& chosen, const std::vector<std::string>& program) {
    const auto shared = std::make_shared<RunOptions>();
    RunOptions& options = *shared;
    CLI::App& run = *app.add_subcommand("run",
                                        "Run a program on a virtual board: "
                                        "vboard run [OPTIONS] -- PROGRAM [ARGS...]");
    run.add_option("--board", options.boardPath,
                   "Keep the board in this file; made if it does not exist")
        ->type_name("FILE");
    AddSetupOptions(run, options.settings);
    run.add_option("--pace", options.pace,
                   "1 = real time, 10 = ten times as fast; the default is as fast as it can")
        ->check(CLI::PositiveNumber)
        ->type_name("FACTOR");
    run.add_option("--time-limit", options.timeLimitSeconds,
                   "End the run (status 124) at this virtual time")
        ->check(CLI::PositiveNumber)
        ->type_name("SECONDS");
    run.add_option("--transcript", options.transcriptPath,
                   "Write everything that passed between program and board")
        ->type_name("FILE");
    AddFaults(run, options);
    AddWaveforms(run, options);
    AddSummary(run, options);
    AddLibrary(run, options);
    run.add_flag("--quiet", options.quiet, "No summary at the end");
    run.callback([&chosen, shared, program] {
        shared->program = program;
        chosen = [shared] { return RunOrRefuse(*shared); };
    });
}

}  // namespace vboard
