// SPDX-License-Identifier: MIT

// vboard new: makes a board in a file.

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "vboard/run/BoardAccess.h"
#include "vboard/run/Commands.h"
#include "vboard/run/ImageFile.h"
#include "vboard/run/SetupOptions.h"

namespace vboard {
namespace {

struct NewOptions {
    std::string path;
    std::vector<std::string> settings;
    std::string imagePath;
};

int MakeNew(const NewOptions& options) {
    std::string problem;
    BoardSetup setup;
    if (!SetupFrom(options.settings, setup, problem)) {
        return Refuse(problem);
    }
    MemoryImage image;
    const bool hasImage = !options.imagePath.empty();
    if (hasImage && !ReadImageFile(options.imagePath, image, problem)) {
        return Refuse(problem);
    }
    Descriptor descriptor;
    BoardFile file;
    const ImageSource source{options.imagePath, hasImage ? &image : nullptr};
    return MakeBoard(options.path, setup, source, descriptor, file, problem) ? 0 : Refuse(problem);
}

}  // namespace

void AddNewCommand(CLI::App& app, Action& chosen) {
    const auto options = std::make_shared<NewOptions>();
    CLI::App& command = *app.add_subcommand("new", "Make a board and keep it in a file");
    command.add_option("file", options->path, "The board's file; it must not exist yet")
        ->required()
        ->type_name("FILE");
    CLI::Option* start = AddSetupOptions(command, options->settings);
    CLI::Option* image =
        command
            .add_option("--image", options->imagePath,
                        "What the flash holds, as Intel HEX; an older firmware of version 256 "
                        "without it")
            ->type_name("FILE");
    command
        .add_flag_callback(
            "--erased", [options] { options->settings.emplace_back("start=erased"); },
            "The same as --start erased: the whole memory is erased")
        ->excludes(start)
        ->excludes(image);
    command.callback([&chosen, options] { chosen = [options] { return MakeNew(*options); }; });
}

}  // namespace vboard
