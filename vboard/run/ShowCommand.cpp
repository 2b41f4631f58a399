// SPDX-License-Identifier: MIT

// vboard show: what a kept board is, does and holds.

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "vboard/run/BoardAccess.h"
#include "vboard/run/BoardView.h"
#include "vboard/run/Commands.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

struct ShowOptions {
    std::string path;
    bool json = false;
};

int Show(const ShowOptions& options) {
    BoardFile file;
    std::string problem;
    if (!ReadBoard(options.path, file, problem)) {
        return Refuse(problem);
    }
    const BoardView view = LookAt(file);
    PrintFormatted(stdout, "{}", options.json ? JsonOf(view) : TextOf(view));
    return 0;
}

}  // namespace

void AddShowCommand(CLI::App& app, Action& chosen) {
    const auto options = std::make_shared<ShowOptions>();
    CLI::App& command = *app.add_subcommand(
        "show", "Show a board's wiring, lines, loader, memory and running version");
    command.add_option("file", options->path, "The board's file; a run may be using it")
        ->required()
        ->type_name("FILE");
    command.add_flag("--json", options->json, "As a JSON object, for programs");
    command.callback([&chosen, options] { chosen = [options] { return Show(*options); }; });
}

}  // namespace vboard
