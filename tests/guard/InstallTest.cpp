// SPDX-License-Identifier: MIT

// An image into the chip and proved, and everything that can end otherwise: status, chip, words.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/guard/GuardConversation.h"
#include "tests/runs/Board.h"
#include "tests/runs/Compare.h"

namespace guard_tests {
namespace {

using runs::Blinky;
using runs::BlinkyPath;
using runs::Block;
using runs::Board;
using runs::ExpectSame;
using runs::Outcome;

/// The object that ends the output of every run with --json.
nlohmann::json VerdictOf(const Outcome& run) {
    std::istringstream lines(run.output);
    std::string last;
    for (std::string line; std::getline(lines, line);) {
        last = line;
    }
    return nlohmann::json::parse(last, nullptr, false);
}

/// What an install does between its two questions, on a sound board with loader 1.61.
GuardConversation& Programs(GuardConversation& steps, const std::string& image) {
    steps.Enters().Erases();
    steps.Unlocks(kErasedPassword, RomWords(0xF249, 0x0161)).ChecksErased(0x2100, 0xDF00);
    const std::vector<Block> blocks = CanonicalBlocks(image);
    std::vector<Block> body;
    std::vector<Block> commit;
    for (const Block& block : blocks) {
        (block.address < 0xFFE0 ? body : commit).push_back(block);
    }
    for (const Block& block : body) {
        steps.Writes(block);
    }
    for (const Block& block : body) {
        steps.Reads(block);
    }
    std::uint32_t at = 0x2100;
    for (const Block& block : body) {
        if (at < block.address) {
            steps.ChecksErased(static_cast<std::uint16_t>(at),
                               static_cast<std::uint16_t>(block.address - at));
        }
        at = block.address + static_cast<std::uint32_t>(block.data.size());
    }
    steps.ChecksErased(static_cast<std::uint16_t>(at), static_cast<std::uint16_t>(0xFFE0 - at));
    for (const Block& block : commit) {
        steps.Writes(block).Reads(block);
    }
    return steps.ClosesPort();
}

/// All that an install does there.
GuardConversation InstallOf(const std::string& image, std::uint16_t before,
                            const runs::Wiring& wiring = {}) {
    GuardConversation steps(wiring);
    return Programs(steps.Asks(before), image).Starts().Asks(4660).Ends();
}

TEST(GuardInstall, OfBlinkyIsTheWholeConversationAndLeavesTheImageInTheChip) {
    Board board;
    const Outcome run = board.RunsGuard({"install", BlinkyPath(), "--json"});
    EXPECT_EQ(run.status, 0) << run.error;
    ExpectSame(run.Conversation(), InstallOf(Blinky(), 256).Text());
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
    const auto verdict = VerdictOf(run);
    EXPECT_EQ(verdict["command"], "install") << run.output;
    EXPECT_EQ(verdict["board"], "BRDA");
    EXPECT_EQ(verdict["port"], "/dev/ttyS1");
    EXPECT_EQ(verdict["status"], 0);
    EXPECT_EQ(verdict["outcome"], "installed");
    EXPECT_EQ(verdict["chip"], "image-running");
}

TEST(GuardInstall, OnTheBoardWithOtherLinesIsTheSameConversationThere) {
    Board board;
    board.OfModel("BRDC");
    const Outcome run = board.RunsGuard({"-b", "BRDC", "install", BlinkyPath()});
    EXPECT_EQ(run.status, 0) << run.error;
    ExpectSame(run.Conversation(), InstallOf(Blinky(), 256, runs::BoardC()).Text());
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

TEST(GuardInstall, OnTheModelLikeTheFirstIsTheSameConversation) {
    Board board;
    board.OfModel("BRDB").WithOption("receive-trigger=1");
    const Outcome run = board.RunsGuard({"-b", "BRDB", "install", BlinkyPath()});
    EXPECT_EQ(run.status, 0) << run.error;
    ExpectSame(run.Conversation(), InstallOf(Blinky(), 256).Text());
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

// How many characters come with one read depends on the trigger.
TEST(GuardInstall, OnTheModelLikeTheFirstIsProvedWithTheLastReceiveTrigger) {
    Board board;
    board.OfModel("BRDB").WithOption("receive-trigger=14");
    const Outcome run = board.RunsGuard({"-b", "BRDB", "install", "--json", BlinkyPath()});
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_EQ(VerdictOf(run)["chip"], "image-running");
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

/// Blinky comes onto a board of a file's.
Outcome InstallOnPump(Board& board, const std::string& firstLine) {
    board.WithFile("pump.toml", firstLine +
                                    "name = 'PUMP'\nport = '/dev/ttyS2'\nchip = 'msp430-56k'\n"
                                    "[lines]\nreset = 17\nrxd_nmi = 27\ntck = 22\n"
                                    "[erase]\ntotal_ms = 200\n");
    board.OfModel(board.PathOf("pump.toml"));
    Outcome run = board.RunsGuard({"-b", "PUMP", "--boards-folder", ".", "install", BlinkyPath()});
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
    return run;
}

TEST(GuardInstall, OnABoardFromAFileIsTheSameConversationOnItsLines) {
    Board board;
    const Outcome run = InstallOnPump(board, "communication = '/dev/knxspi'\n");
    const runs::Wiring wiring{"17", "27", "22", "/dev/ttyS2", "/dev/knxspi"};
    ExpectSame(run.Conversation(), InstallOf(Blinky(), 256, wiring).Text());
}

TEST(GuardInstall, OnABoardWithoutACommunicationDeviceEndsWithThePasswordOfTheNewVectors) {
    Board board;
    const Outcome run = InstallOnPump(board, "");
    GuardConversation expected(runs::Wiring{"17", "27", "22", "/dev/ttyS2", ""});
    Programs(expected, Blinky()).EntersAgain();
    expected.Unlocks(Vectors(Blinky()), RomWords(0xF249, 0x0161));
    ExpectSame(run.Conversation(), expected.ClosesPort().Starts().Ends().Text());
}

// The signal has come before the program, which finds it when it looks first.
TEST(GuardInstall, ThatSigtermInterruptsStillEndsItsJsonWithTheVerdict) {
    Board board;
    const Outcome run = board.RunsScript(
        "exec python3 -c 'import os, signal\n"
        "signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGTERM])\n"
        "os.kill(os.getpid(), signal.SIGTERM)\n"
        "os.execvp(\"flashguard\", [\"flashguard\", \"--lock-folder\", \".\", \"--json\", "
        "\"install\", \"" +
        BlinkyPath() + "\"])'");
    EXPECT_EQ(run.status, 24) << run.error;
    ExpectSame(run.Conversation(), GuardConversation().Asks(256).Text());
    const auto verdict = VerdictOf(run);
    EXPECT_EQ(verdict["type"], "verdict") << run.output;
    EXPECT_EQ(verdict["status"], 24);
    EXPECT_EQ(verdict["chip"], "as-it-was");
    EXPECT_EQ(verdict["problem"], "interrupted by signal 15");
}

TEST(GuardInstall, ThatSigtermFindsWaitingForThePortSaysSo) {
    Board board;
    board.WithFile("flashguard-dev-ttyS1.lock", "");
    const Outcome run = board.RunsScript(
        "exec flock flashguard-dev-ttyS1.lock python3 -c 'import os, signal\n"
        "signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGTERM])\n"
        "os.kill(os.getpid(), signal.SIGTERM)\n"
        "os.execvp(\"flashguard\", [\"flashguard\", \"--lock-folder\", \".\", \"--wait\", \"10s\", "
        "\"install\", \"" +
        BlinkyPath() + "\"])'");
    EXPECT_EQ(run.status, 24);
    EXPECT_EQ(run.error,
              "flashguard: interrupted by signal 15; no device was touched; run the same command "
              "again\n");
    ExpectSame(run.Conversation(), "");
}

TEST(GuardInstall, LeavesExportedWhatWasExportedBefore) {
    Board board;
    // "86", cut in two by the kernel, names these as well.
    board.WithFault("flush:export#*=short 1");
    const Outcome run = board.RunsScript(
        "echo 8 > /sys/class/gpio/export; flashguard --lock-folder . install " + BlinkyPath() +
        "; test -e /sys/class/gpio/gpio8 && test ! -e /sys/class/gpio/gpio6");
    EXPECT_EQ(run.status, 0) << run.error;
}

struct PartCase {
    const char* chip;
    const char* cumulative;
    const char* trigger;
};

/// The case as test lists show it.
void PrintTo(const PartCase& one, std::ostream* out) {
    *out << one.chip << " cumulative " << one.cumulative << " trigger " << one.trigger;
}

class GuardInstallOnEveryPart : public testing::TestWithParam<PartCase> {};

TEST_P(GuardInstallOnEveryPart, LeavesTheImageAndNoWeakByte) {
    Board board;
    board.WithOption(std::string("chip=") + GetParam().chip)
        .WithOption(std::string("cumulative-erase=") + GetParam().cumulative)
        .WithOption(std::string("receive-trigger=") + GetParam().trigger);
    const Outcome run = board.RunsGuard({"install", BlinkyPath(), "--json"});
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_EQ(VerdictOf(run)["outcome"], "installed");
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
    EXPECT_EQ(board.WeakBytes(), 0U);
}

INSTANTIATE_TEST_SUITE_P(EveryPart, GuardInstallOnEveryPart,
                         testing::Values(PartCase{"msp430-56k", "no", "1"},
                                         PartCase{"msp430-56k", "yes", "14"},
                                         PartCase{"msp430-56k-v110", "no", "14"},
                                         PartCase{"msp430-56k-v110", "yes", "1"},
                                         PartCase{"msp430-56k-v202", "no", "1"},
                                         PartCase{"msp430-56k-v202", "yes", "14"},
                                         PartCase{"msp430-56k-key", "no", "14"},
                                         PartCase{"msp430-56k-key", "yes", "1"}));

TEST(GuardInstall, OfWhatRunsIsCurrentAfterOneQuestionAndTouchesNoLine) {
    Board board;
    ASSERT_EQ(board.RunsGuard({"install", BlinkyPath()}).status, 0);
    const Outcome run = board.RunsGuard({"install", BlinkyPath(), "--json"});
    EXPECT_EQ(run.status, 0) << run.error;
    ExpectSame(run.Conversation(), GuardConversation().Asks(4660).Text());
    EXPECT_EQ(VerdictOf(run)["outcome"], "current");
}

TEST(GuardInstall, OfWhatRunsEndsWithTheStatusThatWasAskedFor) {
    Board board;
    ASSERT_EQ(board.RunsGuard({"install", BlinkyPath()}).status, 0);
    for (const int status : {42, 255, 0}) {
        EXPECT_EQ(board
                      .RunsGuard({"install", "--status-when-current", std::to_string(status),
                                  BlinkyPath()})
                      .status,
                  status);
    }
}

TEST(GuardInstall, WithForceProgramsWhatRuns) {
    Board board;
    ASSERT_EQ(board.RunsGuard({"install", BlinkyPath()}).status, 0);
    const Outcome run = board.RunsGuard({"install", "--force", BlinkyPath()});
    EXPECT_EQ(run.status, 0) << run.error;
    ExpectSame(run.Conversation(), InstallOf(Blinky(), 4660).Text());
}

TEST(GuardInstall, WithProofProgramsAnotherImageOfTheSameVersion) {
    Board board;
    ASSERT_EQ(board.RunsGuard({"install", runs::BigPath()}).status, 0);
    const Outcome run = board.RunsGuard({"install", "--prove", "--json", BlinkyPath()});
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_EQ(VerdictOf(run)["outcome"], "installed");
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

TEST(GuardInstall, WithProofTakesWhatIsWhollyThereForCurrent) {
    Board board;
    ASSERT_EQ(board.RunsGuard({"install", BlinkyPath()}).status, 0);
    const Outcome run = board.RunsGuard({"install", "--prove", "--json", BlinkyPath()});
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_EQ(VerdictOf(run)["outcome"], "current");
    EXPECT_EQ(VerdictOf(run)["chip"], "image-proved");
}

TEST(GuardInstall, OfAChipThatSaysNothingProgramsNothingAndEnds) {
    Board board;
    board.WithOption("silent=yes");
    const Outcome run = board.RunsGuard({"install", BlinkyPath(), "--json"});
    EXPECT_EQ(run.status, 13);
    GuardConversation expected;
    expected.AsksInVain(3).Enters(false).ClosesPort().EntersAgain(false).ClosesPort();
    expected.EntersAgain(false).ClosesPort().Starts().Ends();
    ExpectSame(run.Conversation(), expected.Text());
    EXPECT_EQ(VerdictOf(run)["chip"], "as-it-was");
    EXPECT_EQ(VerdictOf(run)["problem"], "no chip answers at /dev/ttyS1");
}

TEST(GuardInstall, OnALineThatRefusesOnceTriesAgain) {
    Board board;
    board.WithFault("flush:gpio90/direction#1=eio").WithFault("flush:gpio91/direction#1=eio");
    const Outcome run = board.RunsGuard({"install", BlinkyPath()});
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

TEST(GuardInstall, StartsTheFirmwareByTheResetLineWhereTheOtherDoesNotReachTheChip) {
    Board board;
    board.WithFault("fall:rxd_nmi_gpio#2..=lost");
    const Outcome run = board.RunsGuard({"install", BlinkyPath(), "--json"});
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_EQ(VerdictOf(run)["chip"], "image-running");
}

TEST(GuardInstall, OfAWrongImageTouchesNoDevice) {
    Board board;
    board.WithFile("wrong.hex", ":0100000000FF\n");
    const Outcome run = board.RunsGuard({"install", "wrong.hex", "--json"});
    EXPECT_EQ(run.status, 10);
    EXPECT_EQ(run.Conversation(), "");
    EXPECT_EQ(VerdictOf(run)["chip"], "untouched");
}

TEST(GuardInstall, OfAnImageWithAnotherSumTouchesNoDevice) {
    Board board;
    const Outcome run =
        board.RunsGuard({"install", "--sha256", std::string(64, '0'), BlinkyPath()});
    EXPECT_EQ(run.status, 10);
    EXPECT_EQ(run.Conversation(), "");
}

TEST(GuardInstall, WithoutThePortLeavesTheChipAsItWas) {
    Board board;
    board.WithFault("open:port#*=enoent");
    const std::vector<std::uint8_t> before =
        (static_cast<void>(board.RunsGuard({"info"})), board.Memory());
    const Outcome run = board.RunsGuard({"install", BlinkyPath(), "--json"});
    EXPECT_EQ(run.status, 12);
    EXPECT_EQ(VerdictOf(run)["chip"], "as-it-was");
    EXPECT_EQ(VerdictOf(run)["problem"], "the port /dev/ttyS1 cannot be opened and set");
    EXPECT_EQ(board.Memory(), before);
}

TEST(GuardInstall, OnAMissingLineLeavesTheChipAsItWasAndNothingExported) {
    Board board;
    board.WithFault("fopen:gpio91/direction#*=enoent");
    const Outcome run = board.RunsGuard({"install", BlinkyPath(), "--json"});
    EXPECT_EQ(run.status, 12);
    EXPECT_EQ(VerdictOf(run)["problem"],
              "a GPIO line among 90, 86 and 91 does not become an output");
}

TEST(GuardInstall, WithoutTheSwitchLeavesTheChipAsItWas) {
    Board board;
    board.WithFault("open:comm#*=enoent");
    const Outcome run = board.RunsGuard({"install", BlinkyPath(), "--json"});
    EXPECT_EQ(run.status, 12);
    EXPECT_EQ(VerdictOf(run)["problem"], "the communication device /dev/knxspi cannot be opened");
    // What refuses at once gets its time; a look at the clock takes a moment of it.
    std::string asks;
    for (int i = 0; i < 4; ++i) {
        asks += "open /dev/knxspi O_RDWR|O_NONBLOCK|O_CLOEXEC = ENOENT\npause 249000 us\n";
    }
    const std::string conversation = run.Conversation();
    ExpectSame(conversation.substr(0, conversation.find("fopen")), asks);
}

TEST(GuardInstall, OfABlockThatIsNeverTakenGivesUpWithNothingThatStarts) {
    Board board;
    board.WithFault("answer:write#*=nak");
    const Outcome run = board.RunsGuard({"install", BlinkyPath(), "--json"});
    EXPECT_EQ(run.status, 20);
    EXPECT_EQ(VerdictOf(run)["chip"], "no-firmware");
    EXPECT_EQ(VerdictOf(run)["problem"], "the block at 0x2100 is not acknowledged");
    EXPECT_EQ(VerdictOf(run)["figures"]["reentries"], 2);
    const auto memory = board.Memory();
    EXPECT_EQ(memory.at(0xFFFE), 0xFF);
    EXPECT_EQ(memory.at(0xFFFF), 0xFF);
}

TEST(GuardInstall, OfAStuckVectorGivesUpWithNothingThatStarts) {
    Board board;
    board.WithFault("cell:0xfffe=stuck-erased");
    const Outcome run = board.RunsGuard({"install", BlinkyPath(), "--json"});
    EXPECT_EQ(run.status, 20);
    EXPECT_EQ(VerdictOf(run)["chip"], "no-firmware");
    EXPECT_EQ(board.Memory().at(0xFFFF), 0xFF);
}

TEST(GuardInstall, OfFirmwareThatDoesNotAnswerIsProvedButSaysSo) {
    Board board;
    board.WithFault("write:comm#2..=eio");
    const Outcome run = board.RunsGuard({"install", BlinkyPath(), "--json"});
    EXPECT_EQ(run.status, 21);
    EXPECT_EQ(VerdictOf(run)["chip"], "image-proved");
    EXPECT_EQ(VerdictOf(run)["problem"], "the firmware does not answer");
    // Three starts, two of them after half a second in reset.
    EXPECT_NEAR(VerdictOf(run)["times_ns"]["start"].get<double>(), 9.5e9, 2e8);
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

// 170 characters, of 160 bytes as long as a word takes each, and four tenths of a second: 0.617 s,
// in reads of a tenth, and one more.
TEST(GuardInstall, WaitsForABlocksAnswerAsLongAsItMayTake) {
    Board board;
    board.WithFault("answer:write#2=silence");
    const Outcome run = board.RunsGuard({"install", BlinkyPath()});
    EXPECT_EQ(run.status, 0) << run.error;
    const std::string conversation = run.Conversation();
    const std::size_t first = conversation.find(" = 170\n") + 7;
    const std::size_t end = conversation.find("tcflush", first);
    std::string waits;
    for (int i = 0; i < 7; ++i) {
        waits += "read /dev/ttyS1 = 0\n";
    }
    ExpectSame(conversation.substr(first, end - first), waits);
}

// In steps of a tenth of a second, up to a million of whatever unit.
TEST(GuardInstall, WhileAnotherHoldsThePortIsBusyAndTouchesNothing) {
    struct Case {
        const char* wait;
        int steps;
    };
    for (const Case& one : {Case{"", 0}, Case{"--wait 500ms", 5}, Case{"--wait 2", 20},
                            Case{"--wait 10s", 100}, Case{"--wait 1min", 600}}) {
        Board board;
        board.WithFile("flashguard-dev-ttyS1.lock", "");
        const Outcome run = board.RunsScript(
            std::string("flock flashguard-dev-ttyS1.lock flashguard --lock-folder . ") + one.wait +
            " install " + BlinkyPath());
        EXPECT_EQ(run.status, 11);
        EXPECT_EQ(
            run.error,
            "flashguard: another run has the port /dev/ttyS1; no device was touched; wait for "
            "its end, or give --wait a time\n");
        std::string waits;
        for (int i = 0; i < one.steps; ++i) {
            waits += "pause 100000 us\n";
        }
        ExpectSame(run.Conversation(), waits);
    }
}

// The other goes when some of the board's time has passed, of which the waits alone take any.
TEST(GuardInstall, BeginsWhenTheOtherLetsThePortGo) {
    Board board;
    const Outcome run = board.RunsScript(
        "exec 9<>flashguard-dev-ttyS1.lock; flock 9; begin=$(date +%s)\n"
        "flashguard --lock-folder . --wait 1000000s install " +
        BlinkyPath() +
        " 9>&- &\n"
        "while test $(($(date +%s) - begin)) -lt 2; do :; done; exec 9>&-; wait $!");
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

TEST(GuardInstall, AtAHigherSpeedReadsAndWritesWithIt) {
    Board board;
    const Outcome run = board.RunsGuard({"install", "--speed", "38400", BlinkyPath()});
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
    EXPECT_NE(run.Conversation().find("write /dev/ttyS1 80 20 04 04 80 8c 02 00 f9 57 = 10\n"),
              std::string::npos);
    EXPECT_NE(run.Conversation().find("tcsetattr /dev/ttyS1 38400 8E1"), std::string::npos);
}

TEST(GuardInstall, AtTheMiddleSpeedSendsTheClockBytesOfThatOne) {
    Board board;
    const Outcome run = board.RunsGuard({"install", "--speed", "19200", BlinkyPath()});
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_NE(run.Conversation().find("write /dev/ttyS1 80 20 04 04 00 8b 01 00 7a 50 = 10\n"),
              std::string::npos);
    EXPECT_NE(run.Conversation().find("tcsetattr /dev/ttyS1 19200 8E1"), std::string::npos);
}

TEST(GuardInstall, TakesAVersionThatComesInPartsForOne) {
    Board board;
    ASSERT_EQ(board.RunsGuard({"install", BlinkyPath()}).status, 0);
    board.WithFault("read:comm#2=short 1");
    const Outcome run = board.RunsGuard({"install", BlinkyPath()});
    EXPECT_EQ(run.status, 0) << run.error;
    ExpectSame(run.Conversation(),
               "open /dev/knxspi O_RDWR|O_NONBLOCK|O_CLOEXEC = 0\n"
               "write /dev/knxspi 02 b4 00 = 3\n"
               "poll /dev/knxspi timeout 250000 us = 1\n"
               "read /dev/knxspi 03 = 1\n"
               "poll /dev/knxspi timeout 249000 us = 1\n"
               "read /dev/knxspi b5 = 1\n"
               "poll /dev/knxspi timeout 249000 us = 1\n"
               "read /dev/knxspi 12 34 = 2\n"
               "close /dev/knxspi = 0\n");
}

TEST(GuardInstall, TakesAVersionThatComesInPartsAndBetweenOtherMessages) {
    Board board;
    board.WithOption("chatter-period-us=3000");
    ASSERT_EQ(board.RunsGuard({"install", BlinkyPath()}).status, 0);
    board.WithFault("read:comm#2=short 1");
    const Outcome run = board.RunsGuard({"install", BlinkyPath(), "--json"});
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_EQ(VerdictOf(run)["outcome"], "current");
}

TEST(GuardInstall, OfAPartThatNeedsAnotherClockGoesBackToTheFirstSpeed) {
    Board board;
    board.WithOption("chip=msp430-56k-v110");
    const Outcome run = board.RunsGuard({"install", "--speed", "38400", BlinkyPath()});
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
    // From the acknowledge on: the clock settles, three syncs, and the first speed again.
    const std::string settings = " 8E1 iflag=020 oflag=0 lflag=0 cread clocal vmin=0 vtime=1 = 0\n";
    std::string expected = "pause 20000 us\ntcsetattr /dev/ttyS1 38400" + settings;
    for (int sync = 0; sync < 3; ++sync) {
        expected += "tcflush /dev/ttyS1 = 0\nwrite /dev/ttyS1 80 = 1\n";
        for (int empty = 0; empty < 5; ++empty) {
            expected += "read /dev/ttyS1 = 0\n";
        }
    }
    const std::string conversation = run.Conversation();
    const std::size_t first = conversation.find("pause 20000 us\n");
    const std::size_t end = conversation.find("close /dev/ttyS1", first);
    ExpectSame(conversation.substr(first, end - first),
               expected + "tcsetattr /dev/ttyS1 9600" + settings);
}

}  // namespace
}  // namespace guard_tests
