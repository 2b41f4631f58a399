// SPDX-License-Identifier: MIT

// What only a board shows of a run that does not go well: a chip that refuses or stays silent, and
// runs that are cut short and what they leave for the next one.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/runs/Board.h"
#include "tests/runs/Compare.h"
#include "tests/runs/Conversation.h"
#include "tests/runs/ToolLog.h"
#include "tests/scenarios/ToolRun.h"
#include "tests/support/HexText.h"
#include "tests/support/LoaderFrames.h"

using runs::Blinky;
using runs::BlinkyPath;
using runs::Block;
using runs::Board;
using runs::Conversation;
using runs::DetectionLog;
using runs::EraseLog;
using runs::ExpectSame;
using runs::Outcome;
using runs::Say;
using runs::Target;
using runs::UpdateLog;
using scenarios::ExpectRun;
using scenarios::kFailure;
using scenarios::kResetLog;
using scenarios::kSuccess;

namespace {

constexpr int kStuck = 124;
constexpr int kKilled = 128 + 9;

const std::string kHexVersion = Say("info", "HEX file version is 4660");
const std::string kCurrent = Say("info", "Current MSP version is 256");

/// vboard's word for a program that waits for what nobody can send.
void ExpectStuck(const Outcome& run, const std::string& log, const std::string& awaited) {
    EXPECT_EQ(run.status, kStuck);
    ExpectSame(run.log, log);
    EXPECT_TRUE(run.error.starts_with("vboard: would wait for ever in " + awaited + ", at "))
        << run.error;
}

// ------ a chip that refuses or stays silent ------

TEST(BlockAtAnOddAddress, IsRefusedByTheChipThreeTimesAndEndsTheRun) {
    const std::vector<Block> taken{{0x2100, {0x34, 0x12}}, {0xFFFE, {0x00, 0x21}}};
    const Block odd{0x4001, {1, 2}};
    Conversation expected;
    expected.Begins().Detects().MassErases().Prepares().EntersLoader().OpensPort().Unlocks();
    expected.ErasesMain().Sends(taken);
    std::string refused;
    for (int attempt = 1; attempt <= 3; ++attempt) {
        expected.Syncs().Exchanges(loader::WriteFrame(odd.address, odd.data), {0xA0});
        refused += Target("error",
                          "CFWUMsp::SendFirmwareToMSP -> error WriteDataBlock nRead 2 wAddress "
                          "16385 try " +
                              std::to_string(attempt));
    }
    Board board;
    board.WithFile("image.hex", hex::Data(taken[0].address, taken[0].data) +
                                    hex::Data(taken[1].address, taken[1].data) +
                                    hex::Data(odd.address, odd.data) + hex::EndOfFile());
    ExpectRun(
        board.Runs({"-F", "-f", "image.hex"}), kFailure,
        kHexVersion + DetectionLog() + EraseLog() +
            UpdateLog(refused + Target("error", "CFWUMsp::UpdateMSP -> error sending firmware")) +
            Say("error", "MSP not programmed"),
        expected.ClosesPort().Releases().Ends());
    EXPECT_EQ(board.Memory().at(0x4000), 0xFF);
}

TEST(SilentChip, HoldsTheDetection) {
    Board board;
    board.WithOption("silent=yes");
    const Outcome run = board.Runs({"-f", BlinkyPath()});
    ExpectStuck(run,
                kHexVersion + Say("warn", "Error reading current version from MSP") +
                    Say("info", "Current MSP version is 0") + Say("verbose", "Detecting MSP...") +
                    Target("verbose", "StartBSL()") + Target("verbose", "OpenSerial()") +
                    Target("verbose", "SendSync()"),
                "read of /dev/ttyS1 for a byte");
    Conversation expected;
    expected.AsksInVain().Begins().Prepares().EntersLoader().OpensPort().Writes({0x80});
    ExpectSame(run.Conversation(), expected.Text());
}

TEST(SilentDevice, ThatWithholdsTheRestOfAMessageHoldsTheVersionQuery) {
    Board board;
    board.WithFault("read:comm#2=silence");
    ExpectStuck(board.Runs({"-v"}), "",
                "read of /dev/knxspi for a call that was ordered not to return");
}

// ------ cut short ------

TEST(KilledRun, HasPrintedEveryLineUpToThatMoment) {
    Board board;
    // The block after the first: 1 sync of the detection, 2 of the erase's, and so on.
    board.WithFault("write:port#48=kill");
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
        board.WithFault(fault);
        ASSERT_EQ(board.Runs({"-f", BlinkyPath()}).status, kKilled);
        const Outcome second = board.WithoutFaults().Runs({"-f", BlinkyPath()});
        EXPECT_EQ(second.status, kSuccess) << second.output;
        EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
    }
}

TEST(ExportedLines, OfAnEarlierRunAreTakenAsTheyAre) {
    Board board;
    board.WithFault("fopen:unexport=kill");
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
