// SPDX-License-Identifier: MIT
#include "guard/CommandLine.h"

#include <getopt.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <vector>

#include "guard/session/Verdict.h"

namespace guard {
namespace {

// ------ commands ---------------------------------------------------------------------------------

struct CommandRow {
    const char* name;
    const char* words;  ///< What stands behind it; a word in capitals is one to fill in.
    const char* does;
};

// In the order of the enumeration.
constexpr std::array<CommandRow, 9> kCommands{{
    {"install", "IMAGE", "program an image and prove that the chip holds and runs it"},
    {"check", "IMAGE", "read an image strictly; no device is touched"},
    {"verify", "IMAGE", "look whether the chip holds an image, whole"},
    {"read", "", "read the chip's memory into a file (-o)"},
    {"info", "", "tell loader, chip and the version of the running firmware"},
    {"erase", "", "erase the chip and prove it"},
    {"reset", "", "restart the firmware and prove that it runs"},
    {"release", "", "let go of all lines, after a run that was killed"},
    {"boards", "", "list the boards that are known"},
}};

constexpr unsigned Bit(Command command) {
    return 1U << static_cast<unsigned>(command);
}

constexpr unsigned kAll = (1U << kCommands.size()) - 1;
constexpr unsigned kInstall = Bit(Command::kInstall);
constexpr unsigned kLooking = Bit(Command::kVerify) | Bit(Command::kRead) | Bit(Command::kInfo);

bool TakesImage(Command command) {
    return *kCommands.at(static_cast<std::size_t>(command)).words != '\0';
}

// ------ options ----------------------------------------------------------------------------------

/// Takes an option's value into the line; what is wrong with it, or "".
using Take = std::string (*)(const std::string& value, CommandLine& line);

struct OptionRow {
    const char* name;
    char letter;        ///< '\0': none
    const char* value;  ///< nullptr: takes none
    unsigned commands;  ///< Bits of those that take it.
    const char* help;
    Take take;
};

template <bool CommandLine::*member>
std::string Flag(const std::string& /*value*/, CommandLine& line) {
    line.*member = true;
    return {};
}

template <std::string CommandLine::*member>
std::string Text(const std::string& value, CommandLine& line) {
    line.*member = value;
    return {};
}

std::string Sha256Digits(const std::string& value, CommandLine& line) {
    constexpr std::size_t kDigits = 64;
    line.sha256 = value;
    for (char& digit : line.sha256) {
        digit = digit >= 'A' && digit <= 'F' ? static_cast<char>(digit - 'A' + 'a') : digit;
    }
    const bool good = line.sha256.size() == kDigits &&
                      line.sha256.find_first_not_of("0123456789abcdef") == std::string::npos;
    return good ? "" : "'" + value + "' are not the 64 digits of a SHA-256";
}

std::string TakeSpeed(const std::string& value, CommandLine& line) {
    if (value != "9600" && value != "19200" && value != "38400") {
        return "'" + value + "' is no speed of the loader: take 9600, 19200 or 38400";
    }
    line.speed = static_cast<unsigned>(std::stoul(value));
    return {};
}

std::string StatusWhenCurrent(const std::string& value, CommandLine& line) {
    constexpr int kMost = 255;
    const char* end = value.data() + value.size();
    const auto number = std::from_chars(value.data(), end, line.statusWhenCurrent);
    const bool good = number.ec == std::errc{} && number.ptr == end &&
                      line.statusWhenCurrent >= 0 && line.statusWhenCurrent <= kMost;
    return good ? "" : "'" + value + "' is no status: take 0 to 255";
}

/// "30", "30s", "500ms" or "2min".
std::string Wait(const std::string& value, CommandLine& line) {
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
    const char* end = value.data() + value.size();
    const auto number = std::from_chars(value.data(), end, count);
    const std::string rest(number.ptr, end);
    const auto unit = std::find_if(kUnits.begin(), kUnits.end(),
                                   [&rest](const Unit& u) { return rest == u.name; });
    if (number.ec != std::errc{} || unit == kUnits.end() || count > kMost) {
        return "'" + value + "' is no time: take 500ms, 30s or 2min";
    }
    line.wait = unit->length * count;
    return {};
}

constexpr std::array<OptionRow, 18> kOptions{{
    {"board", 'b', "NAME", kAll, "the board's name (BRDA)", Text<&CommandLine::board>},
    {"boards-folder", 0, "FOLDER", kAll, "where files with boards are (/etc/flashguard/boards.d)",
     Text<&CommandLine::boardsFolder>},
    {"lock-folder", 0, "FOLDER", kAll, "where ports are locked (/run/lock)",
     Text<&CommandLine::lockFolder>},
    {"wait", 0, "TIME", kAll, "how long to wait for a port that is busy: 500ms, 30s, 2min", Wait},
    {"json", 0, nullptr, kAll, "JSON Lines on standard output", Flag<&CommandLine::json>},
    {"quiet", 'q', nullptr, kAll, "say nothing but what is wrong", Flag<&CommandLine::quiet>},
    {"verbose", 'v', nullptr, kAll, "show every frame", Flag<&CommandLine::verbose>},
    {"prometheus", 0, "FILE", kAll, "write figures for a collector",
     Text<&CommandLine::prometheus>},
    {"force", 0, nullptr, kInstall, "program also what is current", Flag<&CommandLine::force>},
    {"prove", 0, nullptr, kInstall, "take an image for current only when the chip holds it",
     Flag<&CommandLine::prove>},
    {"sha256", 0, "HEX", kInstall, "the sum that the image file has to have", Sha256Digits},
    {"speed", 0, "BAUD", kInstall | Bit(Command::kVerify) | Bit(Command::kRead),
     "9600, 19200 or 38400", TakeSpeed},
    {"keep-information", 0, nullptr, kInstall,
     "keep what information memory holds; needs --password-of",
     Flag<&CommandLine::keepInformation>},
    {"lose-information", 0, nullptr, kInstall,
     "erase information memory also where it has calibration values",
     Flag<&CommandLine::loseInformation>},
    {"password-of", 0, "FILE", kInstall | Bit(Command::kRead) | Bit(Command::kInfo),
     "the image that the chip holds now", Text<&CommandLine::passwordOf>},
    {"may-erase", 0, nullptr, kInstall | kLooking,
     "try a password also where a wrong one erases the chip", Flag<&CommandLine::mayErase>},
    {"status-when-current", 0, "N", kInstall, "the status when nothing was to be done",
     StatusWhenCurrent},
    {"output", 'o', "FILE", Bit(Command::kCheck) | Bit(Command::kRead), "the file to write",
     Text<&CommandLine::output>},
}};

// Numbers of those that end the program at once, and of the first row of the table.
constexpr int kHelp = 1000;
constexpr int kVersion = 1001;
constexpr int kFirstOption = 2000;

std::vector<option> LongOptions() {
    std::vector<option> options{{"help", no_argument, nullptr, kHelp},
                                {"version", no_argument, nullptr, kVersion}};
    int number = kFirstOption;
    for (const OptionRow& row : kOptions) {
        options.push_back(
            {row.name, row.value == nullptr ? no_argument : required_argument, nullptr, number++});
    }
    options.push_back({nullptr, 0, nullptr, 0});
    return options;
}

/// The row that getopt_long's answer stands for; nullptr for none.
const OptionRow* RowOf(int answer) {
    const auto* row = std::find_if(kOptions.begin(), kOptions.end(), [answer](const auto& r) {
        return r.letter != 0 && r.letter == answer;
    });
    if (row == kOptions.end() && answer >= kFirstOption) {
        row = kOptions.begin() + (answer - kFirstOption);
    }
    return row == kOptions.end() ? nullptr : row;
}

// ------ help -------------------------------------------------------------------------------------

void PrintHelp() {
    (void)std::puts("Usage: flashguard [OPTIONS] COMMAND [OPTIONS]\n\nCommands:");
    for (const CommandRow& row : kCommands) {
        (void)std::printf("  %-8s%-7s %s\n", row.name, row.words, row.does);
    }
    (void)std::puts("\nOptions, for the commands in brackets or for all:");
    for (const OptionRow& row : kOptions) {
        std::string words = row.letter != 0 ? std::string("-") + row.letter + ", --" : "    --";
        words += row.name;
        words += row.value != nullptr ? std::string(" ") + row.value : "";
        std::string takers;
        for (std::size_t i = 0; row.commands != kAll && i < kCommands.size(); ++i) {
            if ((row.commands >> i & 1U) != 0) {
                takers += takers.empty() ? " [" : ", ";
                takers += kCommands.at(i).name;
            }
        }
        (void)std::printf("  %-28s %s%s%s\n", words.c_str(), row.help, takers.c_str(),
                          takers.empty() ? "" : "]");
    }
    (void)std::puts(
        "  -h, --help                   this text\n"
        "      --version                the program's version");
}

// ------ all together -----------------------------------------------------------------------------

struct Given {
    std::vector<const OptionRow*> options;
    std::vector<std::string> words;
};

std::string FindCommand(const Given& given, CommandLine& line) {
    std::string names;
    for (std::size_t i = 0; i < kCommands.size(); ++i) {
        if (!given.words.empty() && given.words[0] == kCommands.at(i).name) {
            line.command = static_cast<Command>(i);
            return {};
        }
        names += i == 0 ? "" : i + 1 == kCommands.size() ? " or " : ", ";
        names += kCommands.at(i).name;
    }
    return given.words.empty() ? "a command is missing: take " + names
                               : "there is no command '" + given.words[0] + "': take " + names;
}

std::string TakeWords(const Given& given, CommandLine& line) {
    const std::size_t wanted = TakesImage(line.command) ? 2 : 1;
    if (given.words.size() > wanted) {
        return "'" + given.words[wanted] + "' is one word too many for " + given.words[0];
    }
    if (given.words.size() < wanted) {
        return given.words[0] + " needs the path of an image";
    }
    line.image = wanted == 2 ? given.words[1] : "";
    for (const OptionRow* row : given.options) {
        if ((row->commands & Bit(line.command)) == 0) {
            return std::string("--") + row->name + " is not for " + given.words[0];
        }
    }
    return {};
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
    if (line.command == Command::kRead && line.output.empty()) {
        return "read needs -o, the file to write";
    }
    return line.quiet && line.verbose ? "-q and -v exclude each other" : "";
}

int Refuse(const std::string& problem) {
    (void)std::fprintf(stderr, "flashguard: %s; 'flashguard --help' tells what can be said\n",
                       problem.c_str());
    return static_cast<int>(Status::kUsage);
}

std::string UnknownOption(char** argv) {
    const std::string word = optopt != 0 && optopt < kHelp
                                 ? std::string("-") + static_cast<char>(optopt)
                                 : argv[optind - 1];
    return "'" + word + "' is no option, or has no value or one too many";
}

}  // namespace

std::optional<int> ParseCommandLine(int argc, char** argv, CommandLine& line) {
    const std::vector<option> options = LongOptions();
    Given given;
    opterr = 0;
    // The dash hands over words that are no options in their place among them.
    for (int answer = 0;
         (answer = getopt_long(argc, argv, "-hb:qvo:", options.data(), nullptr)) != -1;) {
        if (answer == 'h' || answer == kHelp) {
            PrintHelp();
            return 0;
        }
        if (answer == kVersion) {
            (void)std::puts("flashguard " FLASHGUARD_VERSION);
            return 0;
        }
        if (answer == 1) {
            given.words.emplace_back(optarg);
            continue;
        }
        const OptionRow* row = answer == '?' ? nullptr : RowOf(answer);
        if (row == nullptr) {
            return Refuse(UnknownOption(argv));
        }
        const std::string problem = row->take(optarg != nullptr ? optarg : "", line);
        if (!problem.empty()) {
            return Refuse(std::string("--") + row->name + ": " + problem);
        }
        given.options.push_back(row);
    }
    given.words.insert(given.words.end(), argv + optind, argv + argc);
    std::string problem = FindCommand(given, line);
    problem = problem.empty() ? TakeWords(given, line) : problem;
    problem = problem.empty() ? ProblemBetween(line) : problem;
    return problem.empty() ? std::nullopt : std::optional(Refuse(problem));
}

}  // namespace guard
