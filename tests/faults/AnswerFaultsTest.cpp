// SPDX-License-Identifier: MIT

// Answers of the loader: the command has been carried out, whatever the program gets to hear.

#include <gtest/gtest.h>

#include "tests/faults/FaultRun.h"

namespace faults {
namespace {

using runs::BlinkyPath;
using runs::Board;
using runs::Outcome;

TEST(AnAnswer, NakMakesTheProgramSendTheBlockAgainThoughTheFlashHoldsIt) {
    Board board;
    const Outcome run = board.With("--fault", "answer:write#2=nak").Runs({"-f", BlinkyPath()});
    EXPECT_EQ(FromStrike(run, 4),
              "fault   answer:write#2=nak\n"
              "loader  write 16 bytes at 0x2104: answers 90\n"
              "chip    loader_state answering\n"
              "wire    < a0\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(board.DifferenceFrom(runs::Blinky()), "");
}

TEST(AnAnswer, AckHidesThatTheFlashDoesNotHoldTheBlock) {
    Board board;
    const Outcome run = board.With("--fault", "cell:0x2104=stuck-erased")
                            .With("--fault", "answer:write#2=ack")
                            .Runs({"-f", BlinkyPath()});
    EXPECT_EQ(FromStrike(run, 4, 2),
              "fault   answer:write#2=ack\n"
              "loader  write 16 bytes at 0x2104: does not read back: answers a0\n"
              "chip    loader_state answering\n"
              "wire    < 90\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(board.DifferenceFrom(runs::Blinky()).substr(0, 13), "2104 holds ff");
}

TEST(AnAnswer, OfOtherBytesIsSentInItsPlace) {
    const Outcome run = RunWith({"answer:sync#2=bytes 41 42"});
    EXPECT_EQ(FromStrike(run, 5),
              "fault   answer:sync#2=bytes 41 42\n"
              "loader  sync: answers 90\n"
              "chip    loader_state answering\n"
              "wire    < 41 42\n"
              "call    read /dev/ttyS1 41 = 1\n");
    EXPECT_EQ(run.status, 255);
}

TEST(AnAnswer, SilentIsWaitedForInVain) {
    const Outcome run = RunWith({"answer:write#2=silence"});
    EXPECT_EQ(FromStrike(run, 5),
              "fault   answer:write#2=silence\n"
              "loader  write 16 bytes at 0x2104: answers 90\n"
              "chip    loader_state sync\n"
              "verdict would wait for ever in read of /dev/ttyS1 for a byte\n"
              "end     exit status 124\n");
}

TEST(AnAnswer, PrecededByGarbageComesBehindIt) {
    const Outcome run = RunWith({"answer:erase#3=preceded 41"});
    EXPECT_EQ(FromStrike(run, 4),
              "fault   answer:erase#3=preceded 41\n"
              "loader  erase main or info at 0x2100: answers 90\n"
              "chip    loader_state answering\n"
              "wire    < 41 90\n");
    EXPECT_EQ(run.status, 255);
}

TEST(AnAnswer, LateIsWaitedForWithTheLoaderDeafMeanwhile) {
    const Outcome run = RunWith({"answer:write#2=late 100ms"});
    EXPECT_NE(run.transcript.find("    5.123857 fault   answer:write#2=late 100ms\n"
                                  "    5.223857 loader  write 16 bytes at 0x2104: answers 90\n"),
              std::string::npos)
        << FromStrike(run, 3);
    EXPECT_EQ(run.status, 0);
}

TEST(AnAnswer, LateEveryTimeOnlyMakesTheRunLonger) {
    const Outcome run = RunWith({"answer:*#*=late 300ms"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(Strikes(run), 73U);  // 37 syncs, 36 commands.
}

TEST(AnAnswer, AtWhichThePowerGoesIsNotSentAndWhatWasWrittenStays) {
    Board board;
    const Outcome run =
        board.With("--fault", "answer:write#2=power off").Runs({"-f", BlinkyPath()});
    EXPECT_EQ(FromStrike(run, 6),
              "fault   answer:write#2=power off\n"
              "loader  write 16 bytes at 0x2104: answers 90\n"
              "chip    loader_state sync\n"
              "chip    chip_mode unpowered\n"
              "chip    loader_locked 1\n"
              "chip    loader_state off\n");
    EXPECT_EQ(run.status, 124);
    EXPECT_EQ(board.DifferenceFrom(runs::Blinky()).substr(0, 13), "2114 holds ff");
}

TEST(AnAnswer, CutOffByAResetEndsWithTheCharacterOnTheWire) {
    const Outcome run = RunWith({"answer:sync#2=bytes 41 42 43 44 45 46"});
    const std::size_t strike = run.transcript.find(" fault ");
    const std::size_t reset = run.transcript.find("chip_mode reset", strike);
    ASSERT_NE(reset, std::string::npos);
    EXPECT_NE(run.transcript.find("wire    < 41 42\n", strike), std::string::npos);
    const std::string lost = "a character arrived at a closed receiver and is lost";
    const std::size_t only = run.transcript.find(lost, reset);
    EXPECT_NE(only, std::string::npos);
    EXPECT_EQ(run.transcript.find(lost, only + 1), std::string::npos);
}

class AnAnswerToACommand : public testing::TestWithParam<const char*> {};

TEST_P(AnAnswerToACommand, IsFoundByTheNameOfTheCommand) {
    const std::string rule = std::string("answer:") + GetParam() + "=nak";
    EXPECT_EQ(FromStrike(RunWith({rule}), 1), "fault   " + rule + "\n");
}

INSTANTIATE_TEST_SUITE_P(OfTheProgram, AnAnswerToACommand,
                         testing::Values("sync", "password", "write", "erase", "mass-erase"));

}  // namespace
}  // namespace faults
