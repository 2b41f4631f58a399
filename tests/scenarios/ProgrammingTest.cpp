// SPDX-License-Identifier: MIT

// The main job: an image into the chip, from the first version query to the last.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/runs/Board.h"
#include "tests/runs/Compare.h"
#include "tests/runs/Conversation.h"
#include "tests/runs/Process.h"
#include "tests/runs/ToolLog.h"
#include "tests/scenarios/ToolRun.h"
#include "tests/support/HexText.h"
#include "tests/support/TempFolder.h"

using runs::Big;
using runs::BigPath;
using runs::Blinky;
using runs::BlinkyPath;
using runs::BlocksOf;
using runs::Board;
using runs::BoardC;
using runs::Conversation;
using runs::DetectionLog;
using runs::EraseLog;
using runs::ExpectSame;
using runs::Outcome;
using runs::ProgrammingLog;
using runs::Say;
using runs::UpdateLog;
using runs::Wiring;
using scenarios::ExpectRun;
using scenarios::kFailure;
using scenarios::kSuccess;

namespace {

const std::string kSkipped =
    Say("info", "Not programming MSP because it's firmware version is already current");

TEST(ProgrammingRun, OfBlinkyIsTheWholeConversationAndLeavesTheImageInTheChip) {
    Board board;
    const Outcome run = board.Runs({"-f", BlinkyPath()});
    ExpectRun(run, kSuccess, ProgrammingLog(),
              Conversation().Programs(BlocksOf(Blinky()), 256, 4660));
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

TEST(ProgrammingRun, OfFortyKilobytesIsTheWholeConversationAndLeavesTheImageInTheChip) {
    Board board;
    const Outcome run = board.Runs({"-f", BigPath()});
    ExpectRun(run, kSuccess, ProgrammingLog(), Conversation().Programs(BlocksOf(Big()), 256, 4660));
    EXPECT_EQ(board.DifferenceFrom(Big()), "");
}

TEST(ProgrammingRun, OfTheVersionThatRunsIsSkippedAsCurrent) {
    Board board;
    ASSERT_EQ(board.Runs({"-f", BlinkyPath()}).status, 0);
    ExpectRun(board.Runs({"-f", BlinkyPath()}), kSuccess,
              Say("info", "HEX file version is 4660") + Say("info", "Current MSP version is 4660") +
                  kSkipped,
              Conversation().AsksVersion(4660));
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

TEST(ProgrammingRun, OfADifferentImageOfTheSameVersionIsSkippedToo) {
    Board board;
    ASSERT_EQ(board.Runs({"-f", BlinkyPath()}).status, 0);
    EXPECT_EQ(board.Runs({"-f", BigPath()}).status, 0);
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

TEST(ProgrammingRun, ThatIsForcedProgramsTheVersionThatRunsAndAsksOnlyAfterwards) {
    Board board;
    ASSERT_EQ(board.Runs({"-f", BigPath()}).status, 0);
    const Outcome run = board.Runs({"-F", "-f", BlinkyPath()});
    ExpectRun(run, kSuccess,
              Say("info", "HEX file version is 4660") + DetectionLog() + EraseLog() + UpdateLog() +
                  Say("verbose", "Success"),
              Conversation()
                  .Begins()
                  .Detects()
                  .MassErases()
                  .Updates(BlocksOf(Blinky()))
                  .Ends()
                  .Pauses(500000)
                  .AsksVersion(4660));
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

TEST(ProgrammingRun, OnTheThirdModelTakesItsPortAndItsLines) {
    Board board;
    const Outcome run = board.OfModel("BRDC").Runs({"-m", "BRDC", "-f", BlinkyPath()});
    ExpectRun(run, kSuccess, ProgrammingLog(),
              Conversation(BoardC()).Programs(BlocksOf(Blinky()), 256, 4660));
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

TEST(ProgrammingRun, OnTheSecondModelIsTheSameAsOnTheFirstAndAsWithoutAModel) {
    const Outcome without = Board().Runs({"-f", BlinkyPath()});
    const Outcome first = Board().OfModel("BRDA").Runs({"-m", "BRDA", "-f", BlinkyPath()});
    const Outcome second = Board().OfModel("BRDB").Runs({"-m", "BRDB", "-f", BlinkyPath()});
    ExpectSame(first.transcript, without.transcript);
    ExpectSame(second.transcript, without.transcript);
    ExpectSame(first.output, without.output);
    ExpectSame(second.output, without.output);
}

TEST(ProgrammingRun, UsesTheDevicesGivenForProgrammingAndForTheVersion) {
    Wiring wiring;
    wiring.port = "/dev/ttyUSB7";
    wiring.comm = "/dev/link0";
    const Outcome run = Board()
                            .WithOption("port=/dev/ttyUSB7")
                            .WithOption("comm=/dev/link0")
                            .Runs({"-c", "/dev/link0", "-d", "/dev/ttyUSB7", "-f", BlinkyPath()});
    ExpectRun(run, kSuccess, ProgrammingLog(),
              Conversation(wiring).Programs(BlocksOf(Blinky()), 256, 4660));
}

// ---- the version afterwards ----

TEST(ProgrammingRun, WhoseFirmwareReportsAnotherVersionFailsAfterAllIsProgrammed) {
    // The chip takes its version from another place than the image keeps it at.
    const std::string image = hex::Data(0x2100, {0x34, 0x12, 0x07, 0x00}) +
                              hex::Data(0xFFFE, {0x00, 0x21}) + hex::EndOfFile();
    for (const bool forced : {false, true}) {
        Board board;
        std::vector<std::string> arguments{"-f", "image.hex"};
        if (forced) {
            arguments.emplace_back("-F");
        }
        const Outcome run =
            board.WithOption("version-address=0x2102").WithFile("image.hex", image).Runs(arguments);
        EXPECT_EQ(run.status, kFailure);
        ExpectSame(
            run.log,
            Say("info", "HEX file version is 4660") +
                (forced ? "" : Say("info", "Current MSP version is 256")) + DetectionLog() +
                EraseLog() + UpdateLog() +
                Say("error", "New MSP firmware version is 7 which does not match hexfile version"));
        EXPECT_EQ(board.DifferenceFrom(image), "");
    }
}

TEST(ProgrammingRun, WhoseFirmwareDoesNotRunCountsItsVersionAsZeroAndFails) {
    // No reset vector: nothing runs.
    const std::string image = hex::Data(0x2100, {0x34, 0x12}) + hex::EndOfFile();
    Board board;
    const Outcome run = board.WithFile("image.hex", image).Runs({"-f", "image.hex"});
    EXPECT_EQ(run.status, kFailure);
    ExpectSame(
        run.log,
        Say("info", "HEX file version is 4660") + Say("info", "Current MSP version is 256") +
            DetectionLog() + EraseLog() + UpdateLog() +
            Say("warn", "Error reading current version from MSP") +
            Say("error", "New MSP firmware version is 0 which does not match hexfile version"));
    ExpectSame(run.Conversation(), Conversation()
                                       .AsksVersion(256)
                                       .Begins()
                                       .Detects()
                                       .MassErases()
                                       .Updates(BlocksOf(image))
                                       .Ends()
                                       .Pauses(500000)
                                       .AsksInVain()
                                       .Text());
    EXPECT_EQ(board.DifferenceFrom(image), "");
}

// ---- as from a start script ----

TEST(ProgrammingRun, WithoutAStandardInputIsAsWithOne) {
    // As from a start script that has closed it.
    const TempFolder folder;
    const runs::Ended run = runs::RunProcess(
        {"vboard", "run", "--quiet", "--", "sh", "-c", "flashmcu -f " + BlinkyPath() + " <&-"},
        folder.PathOf("."));
    EXPECT_EQ(run.status, 0) << run.error;
    ExpectSame(runs::CheckedLog(run.output), ProgrammingLog());
}

}  // namespace
