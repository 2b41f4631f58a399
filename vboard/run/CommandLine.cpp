// SPDX-License-Identifier: MIT
#include "vboard/run/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "vboard/record/WaveJson.h"
#include "vboard/run/Commands.h"
#include "vboard/run/Refuse.h"
#include "vboard/run/RunOptions.h"
#include "vboard/text/Numbers.h"

namespace vboard {
namespace {

/// What carries out the command that was chosen on the command line; returns the exit status.
using Action = std::function<int()>;

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

/// Refuses an empty name, which a shell's unset variable leaves.
CLI::Validator FileName() {
    const auto problem = [](const std::string& text) {
        return text.empty() ? std::string("'' names no file") : std::string();
    };
    return {problem, ""};
}

/// Refuses what is not a whole number of 64 bits.
CLI::Validator WholeNumber() {
    const auto problem = [](const std::string& text) {
        std::uint64_t value = 0;
        return ParseWhole(text, 10, value)
                   ? std::string()
                   : "'" + text + "' is not a whole number from 0 to 18446744073709551615";
    };
    return {problem, ""};
}

/// Refuses what is no number or does not fit, in words that name `form`, what is taken.
CLI::Validator NumberThat(bool (*fits)(double), const std::string& form) {
    const auto problem = [fits, form](const std::string& text) {
        double value = 0;
        const bool taken =
            CLI::detail::lexical_cast(text, value) && std::isfinite(value) && fits(value);
        return taken ? std::string() : "'" + text + "' is not " + form;
    };
    return {problem, ""};
}

CLI::Validator Pace() {
    return NumberThat([](double value) { return value >= 1e-6 && value <= 1e6; },
                      "a number from 0.000001 to 1000000");
}

/// Virtual time is counted in nanoseconds, and its date ends in the year 2262.
CLI::Validator VirtualSeconds() {
    return NumberThat([](double value) { return value >= 1e-9 && value <= 7e9; },
                      "a number of seconds from 0.000000001 to 7000000000");
}

CLI::Option* AddWord(CLI::App& command, std::vector<std::string>& settings, const std::string& key,
                     const std::string& meaning) {
    const auto append = [&settings, key](const std::string& value) {
        settings.push_back(key + "=" + value);
    };
    return command.add_option_function<std::string>("--" + key, append, meaning)->type_name("WORD");
}

/// The options that say what a new board is. Each that is given appends its KEY=VALUE to
/// `settings`, which must outlive `command`. Returns --start.
CLI::Option* AddSetupOptions(CLI::App& command, std::vector<std::string>& settings) {
    AddWord(command, settings, "model",
            "Board model: BRDA, BRDB or BRDC; or a board's FILE.toml (GPIO 0 to 255)");
    AddWord(command, settings, "chip", "Part on the board (vboard list chips)");
    AddWord(command, settings, "port", "Path of the programming port");
    AddWord(command, settings, "comm", "Path of the communication device");
    // Bound to the vector itself, it would throw away what the others have put there.
    const auto append = [&settings](const std::vector<std::string>& values) {
        settings.insert(settings.end(), values.begin(), values.end());
    };
    command
        .add_option_function<std::vector<std::string>>(
            "--option", append, "Set an option of the board or its chip (vboard list options)")
        ->type_name("KEY=VALUE")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    return AddWord(command, settings, "start", "What the board does at first (vboard list states)");
}

void AddFaults(CLI::App& run, RunOptions& options) {
    run.add_option("--fault", options.faults,
                   "Order a fault, as docs/FAULTS.md says: read:port#3=eio")
        ->type_name("RULE")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    run.add_option("--fault-plan", options.faultPlanPath, "Order every fault of this file")
        ->check(FileName())
        ->type_name("FILE");
    CLI::Option* noise =
        run.add_option("--noise", options.noiseRate,
                       "Share of all events that random faults strike")
            ->check(NumberThat([](double value) { return value >= 0 && value <= 1; },
                               "a number from 0 to 1"))
            ->type_name("RATE");
    run.add_option("--seed", options.noiseSeed, "Seed of the random faults; 1 without it")
        ->needs(noise)
        ->check(WholeNumber())
        ->type_name("N");
    run.add_option("--calls", options.outputPaths[Output::kCalls],
                   "List the calls that a fault can strike")
        ->check(FileName())
        ->type_name("FILE");
}

void AddLibrary(CLI::App& run, RunOptions& options) {
    CLI::Option* library =
        run.add_option("--library", options.libraryPath, "Another build of libvboard.so")
            ->check(FileName())
            ->type_name("FILE");
    run.add_option("--via", options.via,
                   "Start a program built for another processor through this qemu-user emulator")
        ->type_name("COMMAND")
        ->needs(library);
}

void AddWaveforms(CLI::App& run, RunOptions& options) {
    run.add_option("--vcd", options.outputPaths[Output::kWaveform],
                   "Write the waveforms as a Value Change Dump")
        ->check(FileName())
        ->type_name("FILE");
    CLI::Option* wave = run.add_option("--wavejson", options.outputPaths[Output::kPicture],
                                       "Write a picture as WaveDrom source")
                            ->check(FileName())
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
        ->check(CLI::IsMember(words).description(""))
        ->type_name("run|entry|reset|block|retry");
}

void AddSummary(CLI::App& run, RunOptions& options) {
    run.add_option_function<std::string>(
           "--summary",
           [&options](const std::string& form) { options.summaryAsJson = form == "json"; },
           "The summary at the end: one line, or an object for programs")
        ->check(CLI::IsMember({"line", "json"}).description(""))
        ->type_name("line|json");
    run.add_option("--summary-file", options.summaryPath,
                   "Write the summary for programs to a file")
        ->check(FileName())
        ->type_name("FILE");
    run.add_option("--image", options.imagePath,
                   "Compare the flash with this Intel HEX file in the summary for programs")
        ->check(FileName())
        ->type_name("FILE");
}

/// What stands behind "--" is not among the options that the library knows.
class UsageOfRun : public CLI::Formatter {
public:
    std::string make_usage(const CLI::App* /*app*/, std::string name) const override {
        return "Usage: " + std::move(name) + " [OPTIONS] -- PROGRAM [ARGS...]\n\n";
    }
};

int RunOrRefuse(const RunOptions& options) {
    return options.program.empty() ? Refuse("no program: vboard run [OPTIONS] -- PROGRAM [ARGS...]")
                                   : Run(options);
}

// Each adds its command to `app`. Parsing a command line that chooses it sets `chosen`, which must
// outlive `app`.

void AddRunCommand(CLI::App& app, Action& chosen, const CommandLine& line) {
    const auto shared = std::make_shared<RunOptions>();
    RunOptions& options = *shared;
    CLI::App& run = *app.add_subcommand("run", "Run a program on a virtual board");
    run.formatter(std::make_shared<UsageOfRun>());
    run.add_option("--board", options.boardPath,
                   "Keep the board in this file; made if it does not exist")
        ->check(FileName())
        ->type_name("FILE");
    AddSetupOptions(run, options.settings);
    run.add_option("--pace", options.pace,
                   "1 = real time, 10 = ten times as fast; the default is as fast as it can")
        ->check(Pace())
        ->type_name("FACTOR");
    run.add_option("--time-limit", options.timeLimitSeconds,
                   "End the run (status 124) at this virtual time")
        ->check(VirtualSeconds())
        ->type_name("SECONDS");
    run.add_option("--transcript", options.outputPaths[Output::kTranscript],
                   "Write everything that passed between program and board")
        ->check(FileName())
        ->type_name("FILE");
    AddFaults(run, options);
    AddWaveforms(run, options);
    AddSummary(run, options);
    AddLibrary(run, options);
    run.add_flag("--quiet", options.quiet, "No summary at the end");
    run.callback([&chosen, shared, program = line.program] {
        shared->program = program;
        chosen = [shared] { return RunOrRefuse(*shared); };
    });
}

void AddNewCommand(CLI::App& app, Action& chosen, const CommandLine& /*line*/) {
    const auto options = std::make_shared<NewOptions>();
    CLI::App& command = *app.add_subcommand("new", "Make a board and keep it in a file");
    command.add_option("file", options->path, "The board's file; it must not exist yet")
        ->required()
        ->check(FileName())
        ->type_name("FILE");
    CLI::Option* start = AddSetupOptions(command, options->settings);
    CLI::Option* image =
        command
            .add_option("--image", options->imagePath,
                        "What the flash holds, as Intel HEX; an older firmware of version 256 "
                        "without it")
            ->check(FileName())
            ->type_name("FILE");
    command
        .add_flag_callback(
            "--erased", [options] { options->settings.emplace_back("start=erased"); },
            "The same as --start erased: the whole memory is erased")
        ->excludes(start)
        ->excludes(image);
    command.callback([&chosen, options] { chosen = [options] { return New(*options); }; });
}

void AddShowCommand(CLI::App& app, Action& chosen, const CommandLine& /*line*/) {
    const auto options = std::make_shared<ShowOptions>();
    CLI::App& command = *app.add_subcommand(
        "show", "Show a board's wiring, lines, loader, memory and running version");
    command.add_option("file", options->path, "The board's file; a run may be using it")
        ->required()
        ->check(FileName())
        ->type_name("FILE");
    command.add_flag("--json", options->json, "As a JSON object, for programs");
    command.callback([&chosen, options] { chosen = [options] { return Show(*options); }; });
}

void AddDumpCommand(CLI::App& app, Action& chosen, const CommandLine& /*line*/) {
    const auto options = std::make_shared<DumpOptions>();
    CLI::App& command =
        *app.add_subcommand("dump", "Write what the flash of a board holds as Intel HEX");
    command.add_option("file", options->boardPath, "The board's file")
        ->required()
        ->check(FileName())
        ->type_name("FILE");
    command
        .add_option("-o,--output", options->imagePath,
                    "Where to write it; - is standard output, and what happens without it")
        ->check(FileName())
        ->type_name("FILE");
    command.callback([&chosen, options] { chosen = [options] { return Dump(*options); }; });
}

void AddListCommand(CLI::App& app, Action& chosen, const CommandLine& /*line*/) {
    CLI::App& command = *app.add_subcommand("list", "List what there is to choose from");
    command.require_subcommand(1);
    for (const ListTable& table : AllListTables()) {
        command.add_subcommand(table.name, table.meaning)->callback([&chosen, &table] {
            chosen = [&table] {
                table.list();
                return 0;
            };
        });
    }
}

struct Command {
    std::string_view name;
    void (*add)(CLI::App& app, Action& chosen, const CommandLine& line);
};

constexpr std::array<Command, 5> kCommands{{
    {"run", AddRunCommand},
    {"new", AddNewCommand},
    {"show", AddShowCommand},
    {"dump", AddDumpCommand},
    {"list", AddListCommand},
}};

/// The command that the first word names, all of them where it names none: adding those that are
/// not meant would take a twentieth of a short run.
std::span<const Command> CommandsFor(const CommandLine& line) {
    const std::string_view first = line.own.empty() ? std::string_view{} : line.own.back();
    const auto* found = std::find_if(kCommands.begin(), kCommands.end(),
                                     [first](const Command& row) { return row.name == first; });
    return found == kCommands.end() ? std::span<const Command>(kCommands) : std::span(found, 1);
}

/// A word is missing, or none of those that can stand there: says what there is to choose from.
int RefuseChoice(const CLI::App& command, const std::string& question, const std::string& noun) {
    const std::vector<std::string> strangers = command.remaining();
    std::string text =
        strangers.empty() ? question : "'" + strangers.front() + "' is no " + noun + ": take";
    const std::vector<const CLI::App*> choices = command.get_subcommands({});
    for (const CLI::App* choice : choices) {
        const char* before = choice == choices.front() ? " " : ", ";
        text += (choice == choices.back() ? " or " : before) + choice->get_name();
    }
    return Refuse(text);
}

int RefuseWords(const CLI::App& app, const CLI::ParseError& error) {
    const std::vector<CLI::App*> command = app.get_subcommands();
    if (command.empty()) {
        return RefuseChoice(app, "do what?", "command");
    }
    const CLI::App& chosen = *command.front();
    if (chosen.get_subcommands().empty() && !chosen.get_subcommands({}).empty()) {
        return RefuseChoice(chosen, chosen.get_name() + " what?", chosen.get_name());
    }
    const std::vector<std::string> strangers = app.remaining(true);
    std::string problem = error.what();
    if (!strangers.empty()) {
        const bool isProgram = chosen.get_name() == "run" && !strangers.front().starts_with("-");
        problem = "'" + strangers.front() + "' is not known here" +
                  (isProgram ? ": the program stands behind --" : "");
    }
    return Refuse(problem + " (see vboard " + chosen.get_name() + " --help)");
}

}  // namespace

int CarryOut(int argc, char** argv) {
    CommandLine line = Split(argc, argv);
    // Never destroyed: that would take as long as running the command.
    static CLI::App& app = *new CLI::App(
        "A virtual board: run a programmer of the MSP430 without hardware.", "vboard");
    app.require_subcommand(1);
    app.set_version_flag("--version", "vboard " VBOARD_VERSION);
    Action chosen;
    for (const Command& command : CommandsFor(line)) {
        command.add(app, chosen, line);
    }
    try {
        app.parse(std::move(line.own));
    } catch (const CLI::Success& success) {
        return app.exit(success);
    } catch (const CLI::ParseError& error) {
        return RefuseWords(app, error);
    }
    return chosen();
}

}  // namespace vboard
