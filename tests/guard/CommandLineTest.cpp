// SPDX-License-Identifier: MIT

// The words that flashguard is started with: what it takes, and the one line about what it does
// not.

#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <vector>

#include "tests/runs/Board.h"
#include "tests/runs/Process.h"
#include "tests/support/TempFolder.h"

namespace guard_tests {
namespace {

using runs::BlinkyPath;
using runs::Board;
using runs::Ended;
using runs::RunProcess;

constexpr const char* kHelp = R"(Usage: flashguard [OPTIONS] COMMAND [OPTIONS]

Commands:
  install IMAGE   program an image and prove that the chip holds and runs it
  check   IMAGE   read an image strictly; no device is touched
  verify  IMAGE   look whether the chip holds an image, whole
  read            read the chip's memory into a file (-o)
  info            tell loader, chip and the version of the running firmware
  erase           erase the chip and prove it
  reset           restart the firmware and prove that it runs
  release         let go of all lines, after a run that was killed
  boards          list the boards that are known

Options, for the commands in brackets or for all:
  -b, --board NAME             the board's name (BRDA)
      --boards-folder FOLDER   where files with boards are (/etc/flashguard/boards.d)
      --lock-folder FOLDER     where ports are locked (/run/lock)
      --wait TIME              how long to wait for a port that is busy: 500ms, 30s, 2min
      --json                   JSON Lines on standard output
  -q, --quiet                  say nothing but what is wrong
  -v, --verbose                show every frame
      --prometheus FILE        write figures for a collector
      --force                  program also what is current [install]
      --prove                  take an image for current only when the chip holds it [install]
      --sha256 HEX             the sum that the image file has to have [install]
      --speed BAUD             9600, 19200 or 38400 [install, verify, read]
      --keep-information       keep what information memory holds; needs --password-of [install]
      --lose-information       erase information memory also where it has calibration values [install]
      --password-of FILE       the image that the chip holds now [install, read, info]
      --may-erase              try a password also where a wrong one erases the chip [install, verify, read, info]
      --status-when-current N  the status when nothing was to be done [install]
  -o, --output FILE            the file to write [check, read]
  -h, --help                   this text
      --version                the program's version
)";

const std::string kCommands =
    "take install, check, verify, read, info, erase, reset, release or boards";
const std::string kNoOption = " is no option, or has no value or one too many";
const std::string kNoTime = " is no time: take 500ms, 30s or 2min";
const std::string kNoSum = "' are not the 64 digits of a SHA-256";

/// Words, and what is said about them.
struct Wrong {
    std::vector<std::string> words;
    std::string problem;
};

std::vector<Wrong> WrongWords() {
    const std::string tooShort(63, '0');
    const std::string noDigits(64, 'g');
    return {
        {{}, "a command is missing: " + kCommands},
        {{"instal", "x.hex"}, "there is no command 'instal': " + kCommands},
        {{"install"}, "install needs the path of an image"},
        {{"install", "a.hex", "b.hex"}, "'b.hex' is one word too many for install"},
        {{"boards", "x"}, "'x' is one word too many for boards"},
        {{"info", "--force"}, "--force is not for info"},
        {{"erase", "--speed", "9600"}, "--speed is not for erase"},
        {{"release", "--may-erase"}, "--may-erase is not for release"},
        {{"install", "a.hex", "-o", "x"}, "--output is not for install"},
        {{"info", "--wait", "soon"}, "--wait: 'soon'" + kNoTime},
        {{"info", "--wait", ""}, "--wait: ''" + kNoTime},
        {{"info", "--wait", "1h"}, "--wait: '1h'" + kNoTime},
        {{"info", "--wait", "1000001ms"}, "--wait: '1000001ms'" + kNoTime},
        {{"install", "x.hex", "--speed", "5"},
         "--speed: '5' is no speed of the loader: take 9600, 19200 or 38400"},
        {{"install", "x.hex", "--sha256", tooShort}, "--sha256: '" + tooShort + kNoSum},
        {{"install", "x.hex", "--sha256", noDigits}, "--sha256: '" + noDigits + kNoSum},
        {{"install", "x.hex", "--status-when-current", "256"},
         "--status-when-current: '256' is no status: take 0 to 255"},
        {{"install", "x.hex", "--status-when-current", "-1"},
         "--status-when-current: '-1' is no status: take 0 to 255"},
        {{"install", "x.hex", "--status-when-current", "7x"},
         "--status-when-current: '7x' is no status: take 0 to 255"},
        {{"install", "x.hex", "--keep-information"},
         "--keep-information needs --password-of, the image that the chip holds now"},
        {{"install", "x.hex", "--password-of", "old.hex"},
         "--password-of is for --keep-information"},
        {{"install", "x.hex", "--keep-information", "--lose-information", "--password-of", "o.hex"},
         "--keep-information and --lose-information exclude each other"},
        {{"read"}, "read needs -o, the file to write"},
        {{"info", "-q", "-v"}, "-q and -v exclude each other"},
        {{"info", "--nothing"}, "'--nothing'" + kNoOption},
        {{"info", "-x"}, "'-x'" + kNoOption},
        {{"info", "--board"}, "'--board'" + kNoOption},
        {{"info", "-b"}, "'-b'" + kNoOption},
        {{"info", "--json=1"}, "'--json=1'" + kNoOption},
    };
}

TEST(GuardCommandLine, WrongWordsEndWithStatusTwoAndOneLineAndTouchNothing) {
    for (const Wrong& one : WrongWords()) {
        Board board;
        const runs::Outcome run = board.RunsGuard(one.words);
        EXPECT_EQ(run.status, 2) << one.problem;
        EXPECT_EQ(run.Conversation(), "") << one.problem;
        EXPECT_EQ(run.output, "") << one.problem;
        EXPECT_EQ(run.error,
                  "flashguard: " + one.problem + "; 'flashguard --help' tells what can be said\n");
    }
}

TEST(GuardCommandLine, ABoardThatIsNotKnownEndsWithStatusTwo) {
    const TempFolder folder;
    const std::string rest =
        "; no device was touched; 'flashguard boards' lists those that there are\n";
    const auto errorOf = [&folder](const std::vector<std::string>& more) {
        std::vector<std::string> words{"flashguard", "info", "-b", "PUMP", "--boards-folder"};
        words.insert(words.end(), more.begin(), more.end());
        const Ended ended = RunProcess(words, folder.PathOf("."));
        EXPECT_EQ(ended.status, 2);
        return ended.error;
    };
    EXPECT_EQ(errorOf({"."}), "flashguard: there is no board 'PUMP'" + rest);
    EXPECT_EQ(errorOf({"gone"}),
              "flashguard: gone: this can't be read: No such file or directory" + rest);
    static_cast<void>(folder.WriteFile(
        "a.toml", "name = 'A'\nport = 3\nchip = 'y'\n[lines]\nreset = 1\nrxd_nmi = 2\ntck = 3\n"));
    EXPECT_EQ(errorOf({"."}),
              "flashguard: ./a.toml:2: 'port' takes a text in quotes" + rest +
                  "./a.toml:3: there is no chip 'y'; it can be msp430-56k, msp430-56k-v110, "
                  "msp430-56k-v202 or msp430-56k-key\n");
}

TEST(GuardCommandLine, TheFirstSpeedIsOneOfAnyBoard) {
    const TempFolder folder;
    static_cast<void>(folder.WriteFile(
        "a.toml",
        "name = 'A'\nport = '/dev/a'\nchip = 'msp430-56k'\n[lines]\nreset = 1\nrxd_nmi = 2\ntck "
        "= 3\n"));
    const Ended ended = RunProcess({"flashguard", "read", "-o", "x", "--speed", "9600", "-b", "A",
                                    "--boards-folder", ".", "--lock-folder", "gone"},
                                   folder.PathOf("."));
    // The lock's folder is what is missing.
    EXPECT_EQ(ended.status, 12) << ended.error;
}

TEST(GuardCommandLine, OptionsStandBeforeAndBehindTheCommandAndInEitherLength) {
    Board board;
    const std::string expected = board.RunsGuard({"info", "--json", "--board", "BRDA"}).output;
    EXPECT_NE(expected, "");
    EXPECT_EQ(board.RunsGuard({"--json", "-b", "BRDA", "info"}).output, expected);
    EXPECT_EQ(board.RunsGuard({"--json", "--board=BRDA", "info"}).output, expected);
    EXPECT_EQ(board.RunsGuard({"--json", "--", "info"}).output, expected);
    EXPECT_EQ(board.RunsGuard({"--json", "--wait", "1000000ms", "info"}).output, expected);
    EXPECT_EQ(board.RunsGuard({"--quiet", "info"}).output, "");
    EXPECT_EQ(board.RunsGuard({"-q", "info"}).output, "");
}

TEST(GuardCommandLine, TheSumIsTakenInEitherCase) {
    Board board;
    const std::string sum = RunProcess({"sha256sum", BlinkyPath()}, ".").output.substr(0, 64);
    std::string upper = sum;
    for (char& digit : upper) {
        digit = static_cast<char>(std::toupper(static_cast<unsigned char>(digit)));
    }
    EXPECT_EQ(board.RunsGuard({"install", "--sha256", sum, BlinkyPath()}).status, 0);
    EXPECT_EQ(board.RunsGuard({"install", "--sha256", upper, BlinkyPath()}).status, 0);
}

TEST(GuardCommandLine, HelpAndVersionAreNoErrors) {
    for (const char* word : {"--help", "-h"}) {
        const Ended ended = RunProcess({"flashguard", word}, ".");
        EXPECT_EQ(ended.status, 0) << word;
        EXPECT_EQ(ended.output, kHelp);
        EXPECT_EQ(ended.error, "");
    }
    const Ended version = RunProcess({"flashguard", "--version"}, ".");
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.output.rfind("flashguard 1.", 0), 0U) << version.output;
}

}  // namespace
}  // namespace guard_tests
