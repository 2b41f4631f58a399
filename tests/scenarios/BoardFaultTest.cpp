// SPDX-License-Identifier: MIT

// A board that is not as it should be: lines and devices that are missing, a chip that is silent,
// answers on the second link that are none, and runs that are cut short.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/runs/Board.h"
#include "tests/runs/Compare.h"
#include "tests/runs/Conversation.h"
#include "tests/runs/ToolLog.h"
#include "tests/support/LoaderFrames.h"

using runs::Blinky;
using runs::BlinkyPath;
using runs::BlocksOf;
using runs::Board;
using runs::Conversation;
using runs::DetectionLog;
using runs::EraseLog;
using runs::ExpectSame;
using runs::Outcome;
using runs::ProgrammingLog;
using runs::Say;
using runs::Target;
using runs::UpdateLog;

namespace {

constexpr int kSuccess = 0;
constexpr int kFailure = 255;
constexpr int kStuck = 124;
constexpr int kKilled = 128 + 9;

const std::string kHexVersion = Say("info", "HEX file version is 4660");
const std::string kCurrent = Say("info", "Current MSP version is 256");
const std::string kNotRead = Say("warn", "Error reading current version from MSP");
const std::string kVersionZero = Say("info", "Current MSP version is 0");
const std::string kDetecting = Say("verbose", "Detecting MSP...");
const std::string kSteps = Target("verbose", "StartBSL()") + Target("verbose", "OpenSerial()") +
                           Target("verbose", "SendSync()");
const std::string kResetLog = DetectionLog() + Say("verbose", "Resetting MSP...");
const std::string kNoExport = Target("error", "MSP Test: Error opening GPIO export!");
const std::string kNoSwitch =
    Target("error", "CFWUMsp::SetGPIOTriState open /dev/knxspi failed fd:-1");

std::string NoValue(const std::string& gpio) {
    return Target("error", "CFWUMsp::SetGPIOValue ->Error opening gpio" + gpio + "/value!");
}

void Order(Board& board, const std::vector<std::string>& faults) {
    for (const std::string& fault : faults) {
        board.WithFault(fault);
    }
}

void ExpectRun(const Outcome& run, int status, const std::string& log,
               const Conversation& expected) {
    EXPECT_EQ(run.status, status);
    ExpectSame(run.log, log);
    EXPECT_EQ(run.error, "");
    ExpectSame(run.Conversation(), expected.Text());
}

/// vboard's word for a program that waits for what nobody can send.
void ExpectStuck(const Outcome& run, const std::string& log, const std::string& awaited) {
    EXPECT_EQ(run.status, kStuck);
    ExpectSame(run.log, log);
    EXPECT_TRUE(run.error.starts_with("vboard: would wait for ever in " + awaited + ", at "))
        << run.error;
}

// ------ lines ------

TEST(MissingLines, CannotBeExportedAndNoChipIsFound) {
    Board board;
    Order(board, {"fopen:export=enoent"});
    const std::string noTck =
        Target("error", "MSP Test: Error opening the direction file of the MSP_TCK_GPIO!");
    // Nothing is exported, so no line has a folder; the release after it finds none either.
    ExpectRun(board.Runs({"-r"}), kFailure,
              kNoExport + kDetecting + NoValue("90") + noTck + NoValue("86") + noTck +
                  Say("error", "MSP not found"),
              Conversation()
                  .Fails("fopen /sys/class/gpio/export ab", "ENOENT")
                  .SetsTristate(1)
                  .CannotSetLine("90")
                  .Pauses(100000)
                  .CannotTurnLine("91")
                  .CannotSetLine("86")
                  .Pauses(100000)
                  .CannotTurnLine("91")
                  .SetsTristate(0)
                  .UnexportsInVain());
}

TEST(MissingLines, CannotBeUnexportedAndTheMessageNamesTheExport) {
    Board board;
    Order(board, {"fopen:unexport=enoent"});
    ExpectRun(board.Runs({"-r"}), kSuccess, kResetLog + kNoExport,
              Conversation().Begins().Detects().Restarts().SetsTristate(0).Fails(
                  "fopen /sys/class/gpio/unexport ab", "ENOENT"));
}

TEST(MissingLines, WithoutADirectionOfTheResetLineTheRunGoesOnWithAMessage) {
    Board board;
    Order(board, {"fopen:gpio90/direction=enoent"});
    const Outcome run = board.Runs({"-r"});
    EXPECT_EQ(run.status, kSuccess);
    ExpectSame(
        run.log,
        Target("error", "MSP Test: Error opening the direction file of RESET_GPIO!") + kResetLog);
}

TEST(MissingLines, WithoutAnyValueTheEntryKeepsItsTimingAndTheChipDoesNotAnswer) {
    Board board;
    Order(board, {"fopen:gpio90/value#*=enoent", "fopen:gpio91/value#*=enoent",
                  "fopen:gpio86/value#*=enoent"});
    const Outcome run = board.Runs({"-r"});
    const std::string reset = NoValue("90");
    const std::string tck = NoValue("91");
    const std::string rxdNmi = NoValue("86");
    ExpectStuck(run,
                kDetecting + reset + Target("verbose", "StartBSL()") + reset + tck + rxdNmi +
                    reset + tck + tck + tck + tck + rxdNmi + tck +
                    Target("verbose", "OpenSerial()") + Target("verbose", "SendSync()"),
                "read of /dev/ttyS1 for a byte");
    Conversation expected;
    expected.Begins().SetsTristate(1).CannotSetLine("90").Pauses(100000).TurnsLines("out");
    expected.CannotSetLine("90").Pauses(500000).CannotSetLine("91").CannotSetLine("86");
    expected.CannotSetLine("90").Pauses(100000).SetsTristate(0).Pauses(100000);
    expected.CannotSetLine("91").Pauses(50000).CannotSetLine("91").Pauses(50000);
    expected.CannotSetLine("91").Pauses(100000).CannotSetLine("91").Pauses(50000);
    expected.CannotSetLine("86").Pauses(50000).CannotSetLine("91").Pauses(50000);
    expected.OpensPort().Writes({0x80});
    ExpectSame(run.Conversation(), expected.Text());
}

TEST(ExportedLines, OfAnEarlierRunAreTakenAsTheyAre) {
    Board board;
    Order(board, {"fopen:unexport=kill"});
    ASSERT_EQ(board.Runs({"-r"}).status, kKilled);
    const Outcome run = board.WithoutFaults().Runs({"-r"});
    Conversation expected;
    const std::string path = "/sys/class/gpio/export";
    expected.Does("fopen " + path + " ab = 0");
    for (const char* gpio : {"91", "86", "90"}) {
        expected.Fails("flush " + path + " \"" + gpio + "\"", "EBUSY");
    }
    expected.Does("close " + path + " = 0").TurnsLine("90", "out");
    ExpectRun(run, kSuccess, kResetLog, expected.Detects().Restarts().Ends());
}

TEST(RefusedLevels, OfAKernelThatTakesNothingShowNowhere) {
    Board board;
    Order(board, {"flush:gpio90/value#*=eio"});
    const Outcome run = board.Runs({"-r"});
    EXPECT_EQ(run.status, kSuccess);
    ExpectSame(run.log, kResetLog);
}

// ------ the tristate switch ------

TEST(TristateSwitch, ThatRefusesTheRequestShowsNowhere) {
    Board board;
    Order(board, {"ioctl:comm#*=enotty"});
    const Outcome run = board.Runs({"-r"});
    EXPECT_EQ(run.status, kSuccess);
    ExpectSame(run.log, kResetLog);
}

TEST(TristateSwitch, ThatIsGoneDuringTheRestartLogsTwiceAndTheResetIsDone) {
    // Openings of the device in a reset: detection on, entry off, restart on and off, end.
    Board board;
    Order(board, {"open:comm#3..4=enoent"});
    Conversation expected;
    expected.Begins().Detects().CannotOpenComm().SetsLineInVain("91", '0');
    expected.SetsLineInVain("86", '0').SetsLine("90", '1').Pauses(500000).SetsLine("90", '0');
    expected.Pauses(100000).CannotOpenComm().Pauses(100000).Ends();
    ExpectRun(board.Runs({"-r"}), kSuccess, kResetLog + kNoSwitch + kNoSwitch, expected);
}

TEST(TristateSwitch, ThatIsGoneAtTheEndLogsAndChangesNothing) {
    Board board;
    Order(board, {"open:comm#5=enoent"});
    ExpectRun(board.Runs({"-r"}), kSuccess, kResetLog + kNoSwitch,
              Conversation().Begins().Detects().Restarts().CannotOpenComm().Unexports());
}

TEST(RestartWithoutTheResetLine, StillEndsWithSuccess) {
    // Levels of the line in a reset: preparation, entry twice, restart twice.
    Board board;
    Order(board, {"fopen:gpio90/value#4..5=enoent"});
    Conversation expected;
    expected.Begins().Detects().SetsTristate(1).SetsLineInVain("91", '0');
    expected.SetsLineInVain("86", '0').CannotSetLine("90").Pauses(500000).CannotSetLine("90");
    expected.Pauses(100000).SetsTristate(0).Pauses(100000).Ends();
    ExpectRun(board.Runs({"-r"}), kSuccess, kResetLog + NoValue("90") + NoValue("90"), expected);
}

// ------ the second link ------

TEST(VersionQuery, OverADeviceThatIsGoneBeforeProgrammingEndsTheRun) {
    Board board;
    Order(board, {"open:comm=enodev"});
    ExpectRun(board.Runs({"-f", BlinkyPath()}), kFailure,
              kHexVersion + Say("error", "Error opening MSP for reading version"),
              Conversation().CannotOpenComm("ENODEV"));
}

TEST(VersionQuery, OverADeviceThatIsGoneAfterProgrammingEndsTheRunAsAFailure) {
    // Openings: query, three operations with two each, end; then the query.
    Board board;
    Order(board, {"open:comm#9=enodev"});
    Conversation expected;
    expected.AsksVersion(256).Begins().Detects().MassErases().Updates(BlocksOf(Blinky())).Ends();
    expected.Pauses(500000).CannotOpenComm("ENODEV");
    ExpectRun(board.Runs({"-f", BlinkyPath()}), kFailure,
              kHexVersion + kCurrent + DetectionLog() + EraseLog() + UpdateLog() +
                  Say("error", "Error opening MSP for reading version"),
              expected);
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

/// A query that fails in this way warns, pauses and reports version 0.
void ExpectUnread(const std::vector<std::string>& faults, const Conversation& talk) {
    SCOPED_TRACE(testing::PrintToString(faults));
    Board board;
    Order(board, faults);
    ExpectRun(board.Runs({"-v"}), kSuccess, kNotRead + kVersionZero,
              Conversation()
                  .Does("open /dev/knxspi O_RDWR = 0")
                  .Follows(talk)
                  .Pauses(500000)
                  .Does("close /dev/knxspi = 0"));
}

TEST(VersionQuery, ThatFailsOnItsWayWarnsAndReportsVersionZero) {
    const std::string select = "select /dev/knxspi timeout 200000 us";
    ExpectUnread({"write:comm=eio"}, Conversation().Fails("write /dev/knxspi 02 b4 00", "EIO"));
    ExpectUnread({"write:comm=short 2"}, Conversation().Fails("write /dev/knxspi 02 b4", "EINVAL"));
    ExpectUnread({"select:comm=eintr"},
                 Conversation().AsksForVersion().Fails("select /dev/knxspi", "EINTR"));
    ExpectUnread({"select:comm=timeout"}, Conversation().AsksForVersion().Does(select + " = 0"));
    ExpectUnread(
        {"read:comm#1=eio"},
        Conversation().AsksForVersion().Does(select + " = 1").Fails("read /dev/knxspi", "EIO"));
    ExpectUnread({"read:comm#2=short 2"}, Conversation()
                                              .AsksForVersion()
                                              .Does(select + " = 1")
                                              .Does("read /dev/knxspi 03 = 1")
                                              .Does("read /dev/knxspi b5 01 = 2"));
}

TEST(VersionQuery, TakesNoMessageOfTwoBytesAndNoneOfNoBytesForAnAnswer) {
    // What is left of the answer 03 b5 01 00 is its last byte, a message of length 0.
    ExpectUnread({"read:comm#1=bytes 02", "read:comm#2=bytes b5 12"},
                 Conversation()
                     .AsksForVersion()
                     .HearsMessage({0xB5, 0x12})
                     .HearsMessage({})
                     .Does("select /dev/knxspi timeout 200000 us = 0"));
}

TEST(VersionQuery, TakesNoMessageOfAnotherCodeForAnAnswer) {
    ExpectUnread({"read:comm#2=bytes b4 12 34"},
                 Conversation()
                     .AsksForVersion()
                     .HearsMessage({0xB4, 0x12, 0x34})
                     .Does("select /dev/knxspi timeout 200000 us = 0"));
}

TEST(VersionQuery, TakesTheTwoBytesBehindTheCodeHighByteFirst) {
    Board board;
    Order(board, {"read:comm#2=bytes b5 12 34"});
    ExpectRun(board.Runs({"-v"}), kSuccess, Say("info", "Current MSP version is 4660"),
              Conversation().AsksVersion(4660));
}

// ------ silence ------

TEST(SilentChip, HoldsTheDetection) {
    Board board;
    board.WithOption("silent=yes");
    const Outcome run = board.Runs({"-f", BlinkyPath()});
    ExpectStuck(run, kHexVersion + kNotRead + kVersionZero + kDetecting + kSteps,
                "read of /dev/ttyS1 for a byte");
    Conversation expected;
    expected.AsksInVain().Begins().Prepares().EntersLoader().OpensPort().Writes({0x80});
    ExpectSame(run.Conversation(), expected.Text());
}

TEST(SilentChip, HoldsTheMassErase) {
    Board board;
    Order(board, {"answer:mass-erase=silence"});
    const Outcome run = board.Runs({"-F", "-f", BlinkyPath()});
    ExpectStuck(run, kHexVersion + DetectionLog() + EraseLog(), "read of /dev/ttyS1 for a byte");
    Conversation expected;
    expected.Begins().Detects().Prepares().EntersLoader().OpensPort().Syncs();
    ExpectSame(run.Conversation(), expected.Writes(loader::MassEraseFrame()).Text());
}

TEST(SilentChip, HoldsTheUpdateAtAnyStep) {
    const auto blocks = BlocksOf(Blinky());
    const auto start = [] {
        return Conversation().Begins().Detects().MassErases().Prepares().EntersLoader().OpensPort();
    };
    struct Row {
        const char* fault;
        Conversation expected;
    };
    const std::vector<Row> rows{
        {"answer:sync#3=silence", start().Writes({0x80})},
        {"answer:password=silence", start().Syncs().Writes(loader::ErasedPasswordFrame())},
        {"answer:erase#20=silence",
         start().Unlocks().ErasesMain(19).Syncs().Writes(loader::EraseMainFrame())},
        {"answer:write#2=silence", start().Unlocks().ErasesMain().Sends(blocks[0]).Syncs().Writes(
                                       loader::WriteFrame(blocks[1].address, blocks[1].data))},
        {"answer:sync#25=silence", start().Unlocks().ErasesMain().Sends(blocks[0]).Writes({0x80})},
    };
    for (const auto& [fault, expected] : rows) {
        SCOPED_TRACE(fault);
        Board board;
        Order(board, {fault});
        const Outcome run = board.Runs({"-F", "-f", BlinkyPath()});
        ExpectStuck(run,
                    kHexVersion + DetectionLog() + EraseLog() +
                        Say("verbose", "Programming MSP...") +
                        Target("info", "CFWUMsp::UpdateMSP -> starting update MSP"),
                    "read of /dev/ttyS1 for a byte");
        ExpectSame(run.Conversation(), expected.Text());
    }
}

TEST(SilentDevice, ThatWithholdsTheRestOfAMessageHoldsTheVersionQuery) {
    Board board;
    Order(board, {"read:comm#2=silence"});
    ExpectStuck(board.Runs({"-v"}), "",
                "read of /dev/knxspi for a call that was ordered not to return");
}

// ------ cut short ------

TEST(KilledRun, HasPrintedEveryLineUpToThatMoment) {
    Board board;
    // The block after the first: 1 sync of the detection, 2 of the erase's, and so on.
    Order(board, {"write:port#48=kill"});
    const Outcome run = board.Runs({"-f", BlinkyPath()});
    EXPECT_EQ(run.status, kKilled);
    ExpectSame(run.log, kHexVersion + kCurrent + DetectionLog() + EraseLog() +
                            Say("verbose", "Programming MSP...") +
                            Target("info", "CFWUMsp::UpdateMSP -> starting update MSP"));
}

TEST(KilledRun, IsMadeGoodByTheNextOne) {
    for (const char* fault :
         {"ioctl:comm#2=kill", "write:port#3=kill", "read:port#5=kill", "write:port#30=kill",
          "write:port#48=kill", "read:port#60=kill", "close:port#3=kill", "pause#20=kill"}) {
        SCOPED_TRACE(fault);
        Board board;
        Order(board, {fault});
        ASSERT_EQ(board.Runs({"-f", BlinkyPath()}).status, kKilled);
        const Outcome second = board.WithoutFaults().Runs({"-f", BlinkyPath()});
        EXPECT_EQ(second.status, kSuccess) << second.output;
        EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
    }
}

// ------ sameness ------

TEST(TwoRuns, WithTheSameBoardAndArgumentsAreEqualToTheByte) {
    const std::vector<std::vector<std::string>> runs{
        {"-f", BlinkyPath()}, {"-r", "-v"}, {"-m", "X"}};
    for (const auto& arguments : runs) {
        const Outcome first = Board().Runs(arguments);
        const Outcome second = Board().Runs(arguments);
        ExpectSame(first.transcript, second.transcript);
        ExpectSame(first.output, second.output);
        EXPECT_EQ(first.error, second.error);
    }
}

}  // namespace
