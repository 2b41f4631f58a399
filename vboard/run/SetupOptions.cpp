// SPDX-License-Identifier: MIT
#include "vboard/run/SetupOptions.h"

#include <CLI/CLI.hpp>

namespace vboard {
namespace {

CLI::Option* AddWord(CLI::App& command, std::vector<std::string>& settings, const std::string& key,
                     const std::string& meaning) {
    const auto append = [&settings, key](const std::string& value) {
        settings.push_back(key + "=" + value);
    };
    return command.add_option_function<std::string>("--" + key, append, meaning)->type_name("WORD");
}

}  // namespace

CLI::Option* AddSetupOptions(CLI::App& command, std::vector<std::string>& settings) {
    AddWord(command, settings, "model", "Board model: BRDA, BRDB or BRDC");
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

}  // namespace vboard
