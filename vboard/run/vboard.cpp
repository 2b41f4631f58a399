// SPDX-License-Identifier: MIT

// The command line of the virtual board.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "vboard/board/Session.h"
#include "vboard/record/WaveJson.h"
#include "vboard/run/RunOptions.h"

namespace {

/// Words up to "--" are vboard's own; what follows is the program and its arguments.
struct CommandLine {
    std::vector<std::string> own;
    std::vector<std::string> program;
};

CommandLine Split(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    const auto dashes = std::find(words.begin(), words.end(), "--");
    CommandLine line;
    // CLI11 takes its words in reverse order.
    line.own.assign(std::make_reverse_iterator(dashes), words.rend());
    if (dashes != words.end()) {
        line.program.assign(dashes + 1, words.end());
    }
    return line;
}

void AddSetting(CLI::App& command, vboard::RunOptions& options, const std::string& flag,
                const std::string& key, const std::string& meaning) {
    command
        .add_option_function<std::string>(
            flag,
            [&options, key](const std::string& value) {
                options.settings.push_back(key + "=" + value);
            },
            meaning)
        ->type_name("WORD");
}

void AddFaults(CLI::App& run, vboard::RunOptions& options) {
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

void AddLibrary(CLI::App& run, vboard::RunOptions& options) {
    CLI::Option* library =
        run.add_option("--library", options.libraryPath, "Another build of libvboard.so")
            ->type_name("FILE");
    run.add_option("--via", options.via,
                   "Start a program built for another processor through this qemu-user emulator")
        ->type_name("COMMAND")
        ->needs(library);
}

void AddWaveforms(CLI::App& run, vboard::RunOptions& options) {
    run.add_option("--vcd", options.vcdPath, "Write the waveforms as a Value Change Dump")
        ->type_name("FILE");
    CLI::Option* wave =
        run.add_option("--wavejson", options.wavePath, "Write a picture as WaveDrom source")
            ->type_name("FILE");
    std::vector<std::string> words;
    for (const vboard::WavePartInfo& info : vboard::AllWaveParts()) {
        words.emplace_back(info.word);
    }
    run.add_option_function<std::string>(
           "--wave-part",
           [&options](const std::string& word) {
               options.wavePart = static_cast<unsigned>(vboard::FindWavePart(word));
           },
           "What the picture shows; all of the run if not given")
        ->needs(wave)
        ->check(CLI::IsMember(words))
        ->type_name("run|entry|reset|block|retry");
}

void AddSummary(CLI::App& run, vboard::RunOptions& options) {
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

void AddRun(CLI::App& app, vboard::RunOptions& options) {
    CLI::App& run = *app.add_subcommand("run",
                                        "Run a program on a virtual board: "
                                        "vboard run [OPTIONS] -- PROGRAM [ARGS...]");
    run.add_option("--board", options.boardPath,
                   "Keep the board in this file; made if it does not exist")
        ->type_name("FILE");
    AddSetting(run, options, "--model", "model", "Board model: BRDA, BRDB or BRDC");
    AddSetting(run, options, "--chip", "chip", "Part on the board");
    AddSetting(run, options, "--port", "port", "Path of the programming port");
    AddSetting(run, options, "--comm", "comm", "Path of the communication device");
    run.add_option("--option", options.settings, "Set an option of the board or its chip")
        ->type_name("KEY=VALUE")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
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
}

int Dispatch(CommandLine line) {
    CLI::App app("A virtual board: run a programmer of the MSP430 without hardware.", "vboard");
    app.require_subcommand(1);
    vboard::RunOptions options;
    AddRun(app, options);
    try {
        app.parse(std::move(line.own));
    } catch (const CLI::Success& success) {
        return app.exit(success);
    } catch (const CLI::ParseError& error) {
        std::cerr << "vboard: " << error.what() << " (see vboard --help)\n";
        return vboard::kExitOwnError;
    }
    options.program = line.program;
    if (options.program.empty()) {
        std::cerr << "vboard: no program: vboard run [OPTIONS] -- PROGRAM [ARGS...]\n";
        return vboard::kExitOwnError;
    }
    return vboard::Run(options);
}

}  // namespace

int main(int argc, char** argv) {
    return Dispatch(Split(argc, argv));
}
