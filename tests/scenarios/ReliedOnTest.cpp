// SPDX-License-Identifier: MIT

// What README says under "Before you rely on it", and what nothing but a whole run can show.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "tests/runs/Board.h"
#include "tests/runs/Process.h"
#include "tests/runs/ToolLog.h"
#include "tests/scenarios/ToolRun.h"
#include "tests/support/HexText.h"

using runs::Blinky;
using runs::BlinkyPath;
using runs::Board;
using runs::Outcome;
using runs::Say;
using runs::Target;
using scenarios::kFailure;
using scenarios::kSuccess;

namespace {

constexpr int kTimeLimit = 124;

const std::string kNoAnswer =
    Say("warn", "Error reading current version from MSP") + Say("info", "Current MSP version is 0");

/// The lines of the log that README wants to be taken for a failure.
constexpr std::array kFailureLines{"error send sync", "Unknown RecType", "Error RecType",
                                   "ReadLineToBuffer failed", "Checksum Error"};

bool HasFailureLine(const std::string& log) {
    return std::any_of(kFailureLines.begin(), kFailureLines.end(),
                       [&log](const char* line) { return log.find(line) != std::string::npos; });
}

/// Blinky with this record behind its first one.
std::string BlinkyAnd(const std::string& record) {
    std::string image = Blinky();
    return image.insert(image.find(':', 1), record);
}

/// The image in which the vectors stand first, so that the firmware starts without the rest.
std::string VectorsFirst() {
    return runs::ReadFile(FLASHMCU_SOURCE_DIR "/tests/sweeps/images/vectors-first.hex");
}

TEST(AnImageThatWasCutOff, EndsInFailureOrInALineThatMeansFailure) {
    const std::string whole = VectorsFirst();
    int successes = 0;
    for (std::size_t length = whole.find(":10") + 1; length < whole.rfind("1FF"); length += 7) {
        Board board;
        board.WithFile("cut.hex", whole.substr(0, length));
        const Outcome run = board.Runs({"-f", "cut.hex"});
        successes += run.status == kSuccess ? 1 : 0;
        EXPECT_TRUE(run.status == kFailure || HasFailureLine(run.log)) << length << "\n" << run.log;
    }
    EXPECT_GT(successes, 0) << "no cut is called a success any more: README says so";
}

TEST(ARecordWhoseMarkIsDamaged, DisappearsWithoutAWord) {
    std::string image = Blinky();
    image[image.find(":1021")] = ';';
    Board board;
    const Outcome run = board.WithFile("image.hex", image).Runs({"-f", "image.hex"});
    EXPECT_EQ(run.status, kSuccess);
    EXPECT_EQ(run.log, runs::ProgrammingLog());
    EXPECT_NE(board.DifferenceFrom(Blinky()), "");
}

TEST(ARecordAtAnOddAddress, FailsTheRun) {
    Board board;
    board.WithFile("odd.hex", BlinkyAnd(hex::Data(0x2201, {1, 2})));
    EXPECT_EQ(board.Runs({"-f", "odd.hex"}).status, kFailure);
}

TEST(ARecordForTheRam, IsSentAndCountsAsSuccess) {
    Board board;
    board.WithFile("ram.hex", BlinkyAnd(hex::Data(0x1100, {1, 2})));
    const Outcome run = board.Runs({"-f", "ram.hex"});
    EXPECT_EQ(run.status, kSuccess);
    EXPECT_EQ(run.log, runs::ProgrammingLog());
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

TEST(AnImageWithoutAVersion, IsRefusedEvenWithForceBeforeTheChipIsTouched) {
    Board board;
    board.WithFile("image.hex", hex::Data(0x2200, {1, 2}) + hex::EndOfFile());
    const Outcome run = board.Runs({"-F", "-f", "image.hex"});
    EXPECT_EQ(run.status, kFailure);
    EXPECT_EQ(run.log, Say("error", "Error reading version from HEX file"));
    EXPECT_EQ(run.Conversation(), "");
}

TEST(AnImageFromAPipe, CostsTheChipItsFirmwareAndIsNotWritten) {
    Board board;
    board.WithFile("image.hex", Blinky());
    const Outcome run = board.RunsScript("flashmcu -f <(cat image.hex)");
    EXPECT_EQ(run.status, kFailure);
    EXPECT_NE(
        run.log.find(Target("error", "CFWUMsp::SendFirmwareToMSP -> error getting first data")),
        std::string::npos);
    EXPECT_EQ(board.DifferenceFrom(hex::EndOfFile()), "");
}

TEST(ARunThatIsKilled, CanLeaveASoundChipInResetUntilItIsReset) {
    Board board;
    EXPECT_EQ(board.With("--time-limit", "0.9").Runs({"-f", BlinkyPath()}).status, kTimeLimit);
    board.WithoutFaults();
    const Outcome asked = board.Runs({"-v"});
    EXPECT_EQ(asked.status, kSuccess);
    EXPECT_EQ(asked.log, kNoAnswer);
    EXPECT_EQ(board.Runs({"-r"}).status, kSuccess);
    EXPECT_EQ(board.Runs({"-v"}).log, Say("info", "Current MSP version is 256"));
}

TEST(TwoRunsAtOnce, UnderALockOneWaitsForTheOther) {
    Board board;
    board.WithFile("image.hex", Blinky());
    const Outcome both = board.RunsScript(
        "one() { flock lock flashmcu -F -f image.hex >$1 || touch failed; }; one 1 & one 2; wait;"
        "cmp 1 2 && test ! -e failed");
    EXPECT_EQ(both.status, kSuccess) << both.output << both.error;
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

TEST(TheLog, GoesThroughCatWithoutRawCharacters) {
    Board board;
    board.WithFile("image.hex", BlinkyAnd(":00000007F9\n"));
    const Outcome run = board.RunsScript("set -o pipefail; flashmcu -f image.hex | cat -v");
    EXPECT_NE(run.output.find("^G"), std::string::npos) << run.output;
    EXPECT_EQ(run.output.find('\a'), std::string::npos) << run.output;
}

TEST(TheLog, WhoseReaderIsGoneIsLostAndTheRunGoesOn) {
    Board board;
    const Outcome run = board.RunsScript("mkfifo log; exec 3<>log 4>log 3>&-; exec flashmcu -f " +
                                         BlinkyPath() + " >&4 4>&-");
    EXPECT_EQ(run.status, kSuccess) << run.error;
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

TEST(ThePort, KeepsTheSettingsOfTheRunForWhateverUsesItNext) {
    Board board;
    board.RunsScript("stty -F /dev/ttyS1 115200 -parenb icanon echo");
    EXPECT_EQ(board.Runs({"-r"}).status, kSuccess);
    const std::string kept = board.RunsScript("stty -F /dev/ttyS1 -a").output;
    EXPECT_TRUE(kept.starts_with("speed 9600 baud;")) << kept;
    // 8E1 and raw, in the words of stty.
    for (const char* words : {"\nparenb -parodd -cmspar cs8 ", " -cstopb cread clocal ", "-icanon ",
                              " -echo ", "\n-opost ", "min = 1; time = 0;"}) {
        EXPECT_NE(kept.find(words), std::string::npos) << words << "\n" << kept;
    }
}

}  // namespace
