// SPDX-License-Identifier: MIT
#include "guard/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>

#include "guard/session/Verdict.h"

namespace guard {
namespace {

struct CommandRow {
    Command command;
    const char* name;
    const char* does;
};

constexpr std::array<CommandRow, 9> kCommands{{
    {Command::kInstall, "install", "Program an image and prove that the chip holds and runs it"},
    {Command::kCheck, "check", "Read an image strictly; no device is touched"},
    {Command::kVerify, "verify", "Look whether the chip holds an image, whole"},
    {Command::kRead, "read", "Read the chip's memory into a file"},
    {Command::kInfo, "info", "Tell loader, chip and the version of the running firmware"},
    {Command::kErase, "erase", "Erase the chip and prove it"},
    {Command::kReset, "reset", "Restart the firmware and prove that it runs"},
    {Command::kRelease, "release", "Let go of all lines, after a run that was killed"},
    {Command::kBoards, "boards", "List the boards that are known"},
}};

std::string CheckSha256(std::string& text) {
    constexpr std::size_t kDigits = 64;
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'F' ? static_cast<char>(c + 32) : c; });
    const bool good =
        text.size() == kDigits && text.find_first_not_of("0123456789abcdef") == std::string::npos;
    return good ? "" : "'" + text + "' are not the 64 digits of a SHA-256";
}

std::string CheckSpeed(std::string& text) {
    return text == "9600" || text == "19200" || text == "38400"
               ? ""
               : "'" + text + "' is no speed of the loader: take 9600, 19200 or 38400";
}

/// "30", "30s", "500ms" or "2min" into `time`.
std::string ParseTime(const std::string& text, Duration& time) {
    struct Unit {
        const char* name;
        Duration length;
    };
    constexpr std::array<Unit, 4> kUnits{{{"", std::chrono::seconds{1}},
                                          {"s", std::chrono::seconds{1}},
                                          {"ms", std::chrono::milliseconds{1}},
                                          {"min", std::chrono::minutes{1}}}};
    constexpr unsigned kMost = 1'000'000;
    unsigned count = 0;
    const auto number = std::from_chars(text.data(), text.data() + text.size(), count);
    const std::string rest(number.ptr, text.data() + text.size());
    const auto unit = std::find_if(kUnits.begin(), kUnits.end(),
                                   [&rest](const Unit& u) { return rest == u.name; });
    if (number.ec != std::errc{} || unit == kUnits.end() || count > kMost) {
        return "'" + text + "' is no time: take 500ms, 30s or 2min";
    }
    time = unit->length * count;
    return {};
}

void AddGlobals(CLI::App& app, CommandLine& line) {
    app.add_option("-b,--board", line.board, "The board's name")->capture_default_str();
    app.add_option("--boards-folder", line.boardsFolder, "Where files with boards are")
        ->capture_default_str();
    app.add_option("--lock-folder", line.lockFolder, "Where ports are locked")
        ->capture_default_str();
    app.add_option_function<std::string>(
           "--wait",
           [&line](const std::string& text) {
               const std::string problem = ParseTime(text, line.wait);
               if (!problem.empty()) {
                   throw CLI::ValidationError("--wait", problem);
               }
           },
           "How long to wait for a port that is busy")
        ->type_name("TIME");
    app.add_flag("--json", line.json, "JSON Lines on standard output");
    app.add_flag("-q,--quiet", line.quiet, "Say nothing but what is wrong");
    app.add_flag("-v,--verbose", line.verbose, "Show every frame");
    app.add_option("--prometheus", line.prometheus, "Write figures for a collector")
        ->type_name("FILE");
}

void AddInstall(CLI::App& app, CommandLine& line) {
    app.add_flag("--force", line.force, "Program also what is current");
    app.add_flag("--prove", line.prove, "Take an image for current only when the chip holds it");
    app.add_option("--sha256", line.sha256, "The image file's sum, which has to fit")
        ->transform(CLI::Validator(CheckSha256, "HEX"));
    app.add_flag("--keep-information", line.keepInformation,
                 "Keep what information memory holds; needs --password-of");
    app.add_flag("--lose-information", line.loseInformation,
                 "Erase information memory also where it has calibration values");
    app.add_option("--status-when-current", line.statusWhenCurrent,
                   "The status when nothing was to be done")
        ->check(CLI::Range(0, 255));
}

void AddOptions(Command command, CLI::App& app, CommandLine& line) {
    const auto isOneOf = [command](std::initializer_list<Command> commands) {
        return std::find(commands.begin(), commands.end(), command) != commands.end();
    };
    if (isOneOf({Command::kInstall, Command::kCheck, Command::kVerify})) {
        app.add_option("image", line.image, "The Intel HEX file")->required();
    }
    if (command == Command::kInstall) {
        AddInstall(app, line);
    }
    if (isOneOf({Command::kCheck, Command::kRead})) {
        CLI::Option* output = app.add_option("-o,--output", line.output, "The file to write");
        output->required(command == Command::kRead);
    }
    if (isOneOf({Command::kInstall, Command::kRead, Command::kInfo})) {
        app.add_option("--password-of", line.passwordOf, "The image that the chip holds now")
            ->type_name("FILE");
    }
    if (isOneOf({Command::kInstall, Command::kVerify, Command::kRead, Command::kInfo})) {
        app.add_flag("--may-erase", line.mayErase,
                     "Try a password also where a wrong one erases the chip");
    }
    if (isOneOf({Command::kInstall, Command::kVerify, Command::kRead})) {
        app.add_option("--speed", line.speed, "9600, 19200 or 38400")
            ->transform(CLI::Validator(CheckSpeed, "BAUD"));
    }
}

std::string ProblemBetween(const CommandLine& line) {
    if (line.keepInformation && line.passwordOf.empty()) {
        return "--keep-information needs --password-of, the image that the chip holds now";
    }
    if (line.keepInformation && line.loseInformation) {
        return "--keep-information and --lose-information exclude each other";
    }
    if (line.command == Command::kInstall && !line.passwordOf.empty() && !line.keepInformation) {
        return "--password-of is for --keep-information";
    }
    if (line.quiet && line.verbose) {
        return "-q and -v exclude each other";
    }
    return {};
}

int Refuse(const std::string& problem) {
    (void)std::fprintf(stderr, "flashguard: %s; 'flashguard --help' tells what can be said\n",
                       problem.c_str());
    return static_cast<int>(Status::kUsage);
}

}  // namespace

std::optional<int> ParseCommandLine(int argc, char** argv, CommandLine& line) {
    CLI::App app("Program an MSP430 and prove it.", "flashguard");
    app.set_version_flag("--version", "flashguard " FLASHGUARD_VERSION);
    app.require_subcommand(1);
    app.fallthrough();
    AddGlobals(app, line);
    for (const CommandRow& row : kCommands) {
        CLI::App* command = app.add_subcommand(row.name, row.does);
        AddOptions(row.command, *command, line);
        command->callback([&line, chosen = row.command] { line.command = chosen; });
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& success) {
        return app.exit(success);
    } catch (const CLI::ParseError& error) {
        return Refuse(error.what());
    }
    const std::string problem = ProblemBetween(line);
    return problem.empty() ? std::nullopt : std::optional(Refuse(problem));
}

}  // namespace guard
