// SPDX-License-Identifier: MIT

// vboard dump: what the flash of a board holds, as Intel HEX.

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "vboard/run/BoardAccess.h"
#include "vboard/run/BoardView.h"
#include "vboard/run/Commands.h"
#include "vboard/run/ImageFile.h"

namespace vboard {
namespace {

struct DumpOptions {
    std::string boardPath;
    std::string imagePath = "-";
};

int Dump(const DumpOptions& options) {
    BoardFile file;
    std::string problem;
    const bool done = ReadBoard(options.boardPath, file, problem) &&
                      WriteImageFile(options.imagePath, ProgrammedImage(file), problem);
    return done ? 0 : Refuse(problem);
}

}  // namespace

void AddDumpCommand(CLI::App& app, Action& chosen) {
    const auto options = std::make_shared<DumpOptions>();
    CLI::App& command =
        *app.add_subcommand("dump", "Write what the flash of a board holds as Intel HEX");
    command.add_option("file", options->boardPath, "The board's file")
        ->required()
        ->type_name("FILE");
    command
        .add_option("-o,--output", options->imagePath,
                    "Where to write it; - is standard output, and what happens without it")
        ->type_name("FILE");
    command.callback([&chosen, options] { chosen = [options] { return Dump(*options); }; });
}

}  // namespace vboard
