// SPDX-License-Identifier: MIT

// The other commands: what they do to a board, and how they end.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/guard/GuardConversation.h"
#include "tests/runs/Board.h"
#include "tests/runs/Compare.h"
#include "tests/runs/Process.h"
#include "tests/support/LoaderFrames.h"

namespace guard_tests {
namespace {

using runs::Blinky;
using runs::BlinkyPath;
using runs::Block;
using runs::Board;
using runs::ExpectSame;
using runs::Outcome;

/// Holds blinky.
void Install(Board& board) {
    ASSERT_EQ(board.RunsGuard({"install", BlinkyPath()}).status, 0);
}

TEST(GuardVerify, OfWhatIsThereReadsEveryBlockAndChangesNothing) {
    Board board;
    Install(board);
    const Outcome run = board.RunsGuard({"verify", BlinkyPath()});
    EXPECT_EQ(run.status, 0) << run.error;
    GuardConversation expected;
    expected.Enters().AsksIdentity(RomWords(0xF249, 0x0161));
    expected.Unlocks(Vectors(Blinky()), RomWords(0xF249, 0x0161));
    for (const Block& block : CanonicalBlocks(Blinky())) {
        expected.Reads(block);
    }
    ExpectSame(run.Conversation(), expected.ClosesPort().Starts().Ends().Text());
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

TEST(GuardVerify, OfAnotherFirmwareDiffersAndItRunsOn) {
    Board board;
    const Outcome run = board.RunsGuard({"verify", BlinkyPath()});
    EXPECT_EQ(run.status, 22);
    EXPECT_NE(run.error.find("the chip's vectors are not the image's"), std::string::npos)
        << run.error;
    EXPECT_EQ(board.RunsGuard({"reset"}).status, 0);
}

TEST(GuardVerify, OfAnImageWithTheSameVectorsSaysWhereTheFirstDifferenceIs) {
    Board board;
    Install(board);
    const Outcome run = board.RunsGuard({"verify", runs::BigPath()});
    EXPECT_EQ(run.status, 22);
    EXPECT_NE(run.error.find("the chip differs from the image at 0x2114"), std::string::npos)
        << run.error;
}

TEST(GuardInfo, OfALoaderWithoutAVersionCommandNeedsThePasswordAndThePermission) {
    Board board;
    board.WithOption("chip=msp430-56k-v110");
    Install(board);
    const Outcome refused = board.RunsGuard({"info", "--password-of", BlinkyPath()});
    EXPECT_EQ(refused.status, 23);
    GuardConversation expected;
    expected.Asks(4660).Enters();
    // For its own sake, and to see whether a password may be sent.
    expected.Refused(loader::VersionRequestFrame()).Refused(loader::VersionRequestFrame());
    ExpectSame(refused.Conversation(), expected.ClosesPort().Starts().Ends().Text());
    const Outcome run =
        board.RunsGuard({"info", "--may-erase", "--json", "--password-of", BlinkyPath()});
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_NE(run.output.find("\"loader\":{\"version\":\"0110\",\"chip_id\":\"F149\"}"),
              std::string::npos)
        << run.output;
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

TEST(GuardVerify, OnPartsThatMayEraseThemselvesDoesNotLookUnlessAllowed) {
    for (const char* chip : {"msp430-56k-key", "msp430-56k-v202", "msp430-56k-v110"}) {
        Board board;
        board.WithOption(std::string("chip=") + chip);
        Install(board);
        EXPECT_EQ(board.RunsGuard({"verify", BlinkyPath()}).status, 23) << chip;
        EXPECT_EQ(board.DifferenceFrom(Blinky()), "") << chip;
        EXPECT_EQ(board.RunsGuard({"verify", "--may-erase", BlinkyPath()}).status, 0) << chip;
        EXPECT_EQ(board.DifferenceFrom(Blinky()), "") << chip;
    }
}

TEST(GuardInfo, WaitsTwoTenthsForTheRestOfAnAnswerAndAsksAgain) {
    Board board;
    board.WithFault("answer:version#1=bytes 80 00 10");
    const Outcome run = board.RunsGuard({"info"});
    EXPECT_EQ(run.status, 0) << run.error;
    GuardConversation expected;
    expected.Asks(256).Enters().AsksIdentityInVain({0x80, 0x00, 0x10});
    expected.AsksIdentity(RomWords(0xF249, 0x0161)).ClosesPort().Starts().Ends();
    ExpectSame(run.Conversation(), expected.Text());
}

TEST(GuardVerify, OfAChipThatSaysNothingSaysThatNobodyIsThere) {
    Board board;
    board.WithOption("silent=yes");
    EXPECT_EQ(board.RunsGuard({"verify", BlinkyPath()}).status, 13);
}

TEST(GuardRead, WithThePasswordOfTheImageWritesWhatTheChipHolds) {
    Board board;
    Install(board);
    const Outcome run = board.RunsGuard({"read", "-o", "out.hex", "--password-of", BlinkyPath()});
    EXPECT_EQ(run.status, 0) << run.error;
    board.WithFile("again.hex", runs::ReadFile(board.PathOf("out.hex")));
    EXPECT_EQ(board.DifferenceFrom(runs::ReadFile(board.PathOf("again.hex"))), "");
}

TEST(GuardRead, IntoWhatCannotBeWrittenSaysSoInTheVerdictToo) {
    Board board;
    Install(board);
    const std::vector<std::string> words{"read", "-o", "out.hex", "--password-of", BlinkyPath()};
    const std::string well = board.RunsGuard(words).Conversation();
    const Outcome run =
        board.RunsGuard({"read", "--json", "-o", "gone/out.hex", "--password-of", BlinkyPath()});
    EXPECT_EQ(run.status, 25);
    ExpectSame(run.Conversation(), well);
    EXPECT_EQ(run.error,
              "flashguard: what was read can't be written: gone/out.hex: No such file or "
              "directory; the chip is as it was; name a file that can be written\n");
    const auto verdict = run.output.rfind("{\"type\":\"verdict\"");
    ASSERT_NE(verdict, std::string::npos) << run.output;
    EXPECT_NE(run.output.find("\"status\":25,\"status_name\":\"verdict-unwritten\","
                              "\"outcome\":\"nothing\"",
                              verdict),
              std::string::npos)
        << run.output.substr(verdict);
}

TEST(GuardRead, WithTheWrongPasswordCouldNotLookAndWritesNothing) {
    Board board;
    Install(board);
    EXPECT_EQ(board.RunsGuard({"read", "-o", "out.hex"}).status, 23);
    EXPECT_NE(runs::RunProcess({"test", "-e", board.PathOf("out.hex")}, ".").status, 0);
}

TEST(GuardErase, ErasesAsOftenAsAnyPartNeedsAndProvesIt) {
    Board board;
    const Outcome run = board.RunsGuard({"erase"});
    EXPECT_EQ(run.status, 0) << run.error;
    GuardConversation expected;
    expected.Enters().Erases().Unlocks(kErasedPassword, RomWords(0xF249, 0x0161));
    expected.ChecksErased(0x2100, 0xDF00).ClosesPort().Starts().Ends();
    ExpectSame(run.Conversation(), expected.Text());
    EXPECT_EQ(board.Memory().at(0xFFFE), 0xFF);
}

TEST(GuardErase, OfACellThatStaysProgrammedFails) {
    Board board;
    board.WithFault("cell:0x2100=stuck-programmed");
    EXPECT_EQ(board.RunsGuard({"erase"}).status, 20);
}

TEST(GuardReset, EntersTheLoaderAndLeavesItForTheFirmware) {
    Board board;
    const Outcome run = board.RunsGuard({"reset"});
    EXPECT_EQ(run.status, 0) << run.error;
    GuardConversation expected;
    expected.Enters().ClosesPort().Starts().Asks(256).Ends();
    ExpectSame(run.Conversation(), expected.Text());
    EXPECT_EQ(run.output,
              "Waiting for the port\nStarting the firmware\nreset: the firmware runs, version 256, "
              "1.2 s\n");
}

TEST(GuardReset, HoldsTheChipInResetWhereTheOtherLineDoesNotReachIt) {
    Board board;
    board.WithFault("fall:rxd_nmi_gpio#2..=lost");
    const Outcome run = board.RunsGuard({"reset"});
    EXPECT_EQ(run.status, 0) << run.error;
    GuardConversation expected;
    expected.Enters().ClosesPort().Starts().AsksInVain(10).StartsHard().Asks(256).Ends();
    ExpectSame(run.Conversation(), expected.Text());
}

TEST(GuardReset, ThatIsVerboseTellsWhatTheLinesSayOfThemselves) {
    Board board;
    board.WithFault("open:port#1=enoent");
    EXPECT_EQ(board.RunsGuard({"-v", "reset"}).output,
              "Waiting for the port\n"
              "flashmcu/FWU_MSP:260 error TalSerial::Open failed errno: 2\n"
              "reset: the firmware runs, version 256, 1.2 s\n");
}

TEST(GuardReset, OfAnErasedChipHasNobodyToAnswer) {
    Board board;
    board.WithOption("start=erased");
    EXPECT_EQ(board.RunsGuard({"reset"}).status, 13);
}

TEST(GuardRelease, LetsGoOfTheLinesWithoutTouchingThePort) {
    Board board;
    const Outcome run = board.RunsGuard({"release"});
    EXPECT_EQ(run.status, 0) << run.error;
    runs::Conversation begins;
    begins.Begins();
    ExpectSame(run.Conversation(), begins.Text() + GuardConversation().Starts().Ends().Text());
}

TEST(GuardRelease, OfALineThatDoesNotLetGoTriesThreeTimesAndSaysSo) {
    Board board;
    board.WithFault("write:gpio90/direction#*=eio");
    const Outcome run = board.RunsGuard({"release"});
    EXPECT_EQ(run.status, 12);
    EXPECT_EQ(
        run.error,
        "flashguard: not all lines can be given back; the chip is as it was; check the board's "
        "name (--board) and the rights on /sys/class/gpio\n");
    const std::string conversation = run.Conversation();
    int tries = 0;
    for (std::size_t at = 0; (at = conversation.find("\"in\" = EIO", at)) != std::string::npos;
         ++at) {
        ++tries;
    }
    EXPECT_EQ(tries, 3) << conversation;
}

TEST(GuardRelease, BringsBackEveryBoardThatAKilledProgramHasLeft) {
    for (const char* place : {"call#60=kill", "call#100=kill", "call#200=kill", "call#300=kill"}) {
        Board board;
        board.WithFault(place);
        EXPECT_EQ(board.Runs({"-f", BlinkyPath(), "-F"}).status, 137) << place;
        board.WithoutFaults();
        EXPECT_EQ(board.RunsGuard({"release"}).status, 0) << place;
        EXPECT_EQ(board.RunsGuard({"install", BlinkyPath()}).status, 0) << place;
        EXPECT_EQ(board.DifferenceFrom(Blinky()), "") << place;
    }
}

}  // namespace
}  // namespace guard_tests
