// SPDX-License-Identifier: MIT
#pragma once

// What `flashguard` may be told. Parsing looks at words alone; files and boards come later.

#include <cstdint>
#include <optional>
#include <string>

#include "guard/link/Clock.h"

namespace guard {

/// The commands, one for each word that the command line may begin with.
enum class Command : std::uint8_t {
    kInstall,
    kCheck,
    kVerify,
    kRead,
    kInfo,
    kErase,
    kReset,
    kRelease,
    kBoards
};

/// What was asked for: all options of all commands, at their neutral values where they were not
/// given.
struct CommandLine {
    Command command = Command::kInstall;

    // For every command, before it or behind it.
    std::string board = "BRDA";
    std::string boardsFolder = "/etc/flashguard/boards.d";
    std::string lockFolder = "/run/lock";
    Duration wait{0};
    bool json = false;
    bool quiet = false;
    bool verbose = false;
    std::string prometheus;  ///< Path; empty for none.

    std::string image;       ///< install, check, verify
    std::string output;      ///< check, read; empty for none
    std::string passwordOf;  ///< Path of the image that the chip holds; empty for none.
    std::string sha256;      ///< 64 digits in lower case; empty for none
    unsigned speed = 0;      ///< 0: the first speed.
    bool force = false;
    bool prove = false;
    bool keepInformation = false;
    bool loseInformation = false;
    bool mayErase = false;
    int statusWhenCurrent = 0;
};

/// Nothing when the program has to go on; else the status to end with: help and version were
/// printed, or a wrong word was answered on standard error.
[[nodiscard]] std::optional<int> ParseCommandLine(int argc, char** argv, CommandLine& line);

}  // namespace guard
