// SPDX-License-Identifier: MIT

// Characters on the serial wire: what the transcript shows, what the other end makes of it.

#include <gtest/gtest.h>

#include "tests/faults/FaultRun.h"

namespace faults {
namespace {

using runs::Outcome;

TEST(ACharacterToTheChip, LostLeavesTheLoaderWithAFrameThatBeginsWrong) {
    const Outcome run = RunWith({"char:to-chip#3=lost"});
    EXPECT_EQ(FromStrike(run, 3),
              "fault   char:to-chip#3=lost\n"
              "wire    > 18 04\n"
              "loader  bad header: answers a0\n");
    EXPECT_EQ(run.status, 255);
}

TEST(ACharacterToTheChip, ChangedIsAnotherToTheLoader) {
    const Outcome run = RunWith({"char:to-chip#4=change 0x19"});
    EXPECT_EQ(FromStrike(run, 3),
              "fault   char:to-chip#4=change 0x19\n"
              "wire    > 19 04 04 00 ff 06 a5 7d b9\n"
              "loader  bad checksum: answers a0\n");
}

TEST(ACharacterToTheChip, WithWrongParityIsRefusedAtOnce) {
    const Outcome run = RunWith({"char:to-chip#3=parity"});
    EXPECT_EQ(FromStrike(run, 3),
              "fault   char:to-chip#3=parity\n"
              "wire    > 80 18\n"
              "loader  parity error in a frame: answers a0\n");
}

TEST(ACharacterToTheChip, DoubledShiftsTheFrame) {
    const Outcome run = RunWith({"char:to-chip#3=double"});
    EXPECT_EQ(FromStrike(run, 3),
              "fault   char:to-chip#3=double\n"
              "wire    > 80 80 18 04 04\n"
              "loader  bad lengths: answers a0\n");
}

TEST(ACharacterToTheChip, LateDelaysTheWholeFrameAndHarmsNothing) {
    const Outcome run = RunWith({"char:to-chip#3=late 5ms"});
    EXPECT_NE(run.transcript.find("    2.905583 fault   char:to-chip#3=late 5ms\n"
                                  "    2.910583 wire    > 80 18 04 04 00 ff 06 a5 7d b9\n"),
              std::string::npos)
        << FromStrike(run, 4);
    EXPECT_EQ(run.status, 0);
}

TEST(ACharacterToTheChip, WithWhichThePowerGoesIsLost) {
    const Outcome run = RunWith({"char:to-chip#3=power off"});
    EXPECT_EQ(FromStrike(run, 4),
              "fault   char:to-chip#3=power off\n"
              "wire    > 80\n"
              "chip    chip_mode unpowered\n"
              "chip    loader_state off\n");
    EXPECT_NE(run.transcript.find("chip    character 0x80 lost: the loader does not run\n"),
              std::string::npos);
    EXPECT_EQ(run.status, 124);
}

TEST(ACharacterToTheHost, LostIsWaitedForInVain) {
    const Outcome run = RunWith({"char:to-host#1=lost"});
    EXPECT_EQ(FromStrike(run, 4),
              "fault   char:to-host#1=lost\n"
              "chip    loader_state frame\n"
              "verdict would wait for ever in read of /dev/ttyS1 for a byte\n"
              "end     exit status 124\n");
    EXPECT_EQ(run.error,
              "vboard: would wait for ever in read of /dev/ttyS1 for a byte, at 1.653292 s of "
              "virtual time\n");
}

TEST(ACharacterToTheHost, ChangedIsWhatTheProgramReads) {
    const Outcome run = RunWith({"char:to-host#2=change 80"});
    EXPECT_EQ(FromStrike(run, 4),
              "fault   char:to-host#2=change 80\n"
              "wire    < 80\n"
              "chip    loader_state frame\n"
              "call    read /dev/ttyS1 80 = 1\n");
    EXPECT_EQ(run.status, 255);
}

TEST(ACharacterToTheHost, WithWrongParityIsNotedByThePort) {
    const Outcome run = RunWith({"char:to-host#1=parity"});
    EXPECT_EQ(FromStrike(run, 4),
              "fault   char:to-host#1=parity\n"
              "wire    < 90\n"
              "chip    loader_state frame\n"
              "port    parity error\n");
}

TEST(ACharacterToTheHost, DoubledIsThereTwice) {
    const Outcome run = RunWith({"char:to-host#1=double"});
    EXPECT_EQ(FromStrike(run, 4),
              "fault   char:to-host#1=double\n"
              "wire    < 90\n"
              "chip    loader_state frame\n"
              "wire    < 90\n");
}

TEST(ACharacterToTheHost, LateIsWaitedFor) {
    const Outcome run = RunWith({"char:to-host#3=late 2s"});
    EXPECT_NE(run.transcript.find("    4.943524 wire    < 90\n"
                                  "    4.944669 call    read /dev/ttyS1 90 = 1\n"),
              std::string::npos)
        << FromStrike(run, 4);
    EXPECT_EQ(run.status, 0);
}

TEST(ACharacterInEitherDirection, IsCountedByOneRule) {
    EXPECT_EQ(FromStrike(RunWith({"char#2=lost"}), 1), "fault   char#2=lost\n");
    EXPECT_EQ(RunWith({"char#2=lost"}).status, 124);
}

}  // namespace
}  // namespace faults
