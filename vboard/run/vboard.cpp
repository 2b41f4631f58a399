// SPDX-License-Identifier: MIT

// The command line of the virtual board.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "vboard/board/Session.h"
#include "vboard/run/Commands.h"

int vboard::Refuse(const std::string& problem) {
    std::cerr << "vboard: " << problem << '\n';
    return kExitOwnError;
}

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

int Dispatch(CommandLine line) {
    CLI::App app("A virtual board: run a programmer of the MSP430 without hardware.", "vboard");
    app.require_subcommand(1);
    app.set_version_flag("--version", "vboard " VBOARD_VERSION);
    vboard::Action chosen;
    vboard::AddRunCommand(app, chosen, line.program);
    vboard::AddNewCommand(app, chosen);
    vboard::AddShowCommand(app, chosen);
    vboard::AddDumpCommand(app, chosen);
    vboard::AddListCommand(app, chosen);
    try {
        app.parse(std::move(line.own));
    } catch (const CLI::Success& success) {
        return app.exit(success);
    } catch (const CLI::ParseError& error) {
        return vboard::Refuse(std::string(error.what()) + " (see vboard --help)");
    }
    return chosen();
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return Dispatch(Split(argc, argv));
    } catch (const std::exception& failure) {
        // Memory ran out, or a stream broke: nothing that a command line explains.
        std::fprintf(stderr, "vboard: %s\n", failure.what());
        return vboard::kExitOwnError;
    }
}
