// SPDX-License-Identifier: MIT

// Each outcome that a call can have, once for each kind of call that can have it.

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "tests/faults/FaultRun.h"
#include "tests/runs/ToolLog.h"

namespace faults {
namespace {

using runs::Outcome;

constexpr int kFailed = 255;
constexpr int kStuck = 124;
constexpr int kKilled = 137;

struct Failing {
    const char* rule;
    const char* call;  ///< What the transcript says of the struck call.
    int status;

    friend std::ostream& operator<<(std::ostream& out, const Failing& failing) {
        return out << failing.rule;
    }
};
class AnErrno : public testing::TestWithParam<Failing> {};

TEST_P(AnErrno, IsWhatTheProgramGetsFromTheCall) {
    const Outcome run = RunWith({GetParam().rule});
    EXPECT_EQ(FromStrike(run, 2),
              std::string("fault   ") + GetParam().rule + "\ncall    " + GetParam().call + "\n");
    EXPECT_EQ(run.status, GetParam().status);
    EXPECT_EQ(Strikes(run), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    OfEachKind, AnErrno,
    testing::Values(
        Failing{"open:port=eacces", "open /dev/ttyS1 O_RDWR|O_NOCTTY = EACCES", kFailed},
        Failing{"fopen:export=eacces", "fopen /sys/class/gpio/export ab = EACCES", kFailed},
        Failing{"read:port#4=eio", "read /dev/ttyS1 = EIO", kFailed},
        Failing{"write:port#3=enospc", "write /dev/ttyS1 80 18 04 04 00 ff 06 a5 7d b9 = ENOSPC",
                kFailed},
        Failing{"flush:gpio91/direction=eio",
                "flush /sys/class/gpio/gpio91/direction \"out\" = EIO", kStuck},
        Failing{"close:port#2=eio", "close /dev/ttyS1 = EIO", 0},
        Failing{"ioctl:comm=eio", "ioctl /dev/knxspi tristate 1 = EIO", 0},
        Failing{"select:comm=eintr", "select /dev/knxspi = EINTR", 0},
        Failing{"tcsetattr:port#2=einval",
                "tcsetattr /dev/ttyS1 9600 8E1 raw cread clocal vmin=1 vtime=0 = EINVAL",
                kFailed}));

class ACallOfAKind : public testing::TestWithParam<const char*> {};

TEST_P(ACallOfAKind, ThatKillsTheProgramIsTheLastThingItDoes) {
    const Outcome run = RunWith({std::string(GetParam()) + "=kill"});
    EXPECT_EQ(run.status, kKilled);
    EXPECT_NE(run.error.find("vboard: killed at an ordered fault, at "), std::string::npos);
    const std::string end = FromStrike(run, 100);
    EXPECT_EQ(end.find("call "), std::string::npos) << end;
    EXPECT_TRUE(end.ends_with("end     killed by signal 9\n")) << end;
}

TEST_P(ACallOfAKind, ThatNeverReturnsIsAWaitForEver) {
    const Outcome run = RunWith({std::string(GetParam()) + "=silence"});
    EXPECT_EQ(run.status, kStuck);
    EXPECT_NE(run.error.find("for a call that was ordered not to return, at "), std::string::npos);
    const std::string end = FromStrike(run, 100);
    EXPECT_EQ(end.find("\ncall "), std::string::npos) << end;
    EXPECT_NE(end.find("\nverdict would wait for ever in "), std::string::npos) << end;
    EXPECT_TRUE(end.ends_with("end     exit status 124\n")) << end;
}

TEST_P(ACallOfAKind, CanComeWithACutOfThePowerAndIsCarriedOutItself) {
    const std::string rule = std::string(GetParam()) + "=power off 1ms";
    const Outcome run = RunWith({rule});
    EXPECT_EQ(FromStrike(run, 2), "fault   " + rule + "\nchip    chip_mode unpowered\n");
    EXPECT_TRUE(run.status == 0 || run.status == kStuck || run.status == kFailed) << run.status;
}

INSTANTIATE_TEST_SUITE_P(OfEachKind, ACallOfAKind,
                         testing::Values("open:port", "fopen:export", "read:port#3", "write:port#3",
                                         "flush:gpio91/value", "close:comm#2", "ioctl:comm#2",
                                         "select:comm", "tcsetattr:port", "pause#5", "call#60"));

TEST(AShortRead, DeliversTheFirstBytesAndLeavesTheRestForTheNext) {
    const Outcome run = RunWith({"read:comm#2=short 2"});
    EXPECT_EQ(FromStrike(run, 2),
              "fault   read:comm#2=short 2\n"
              "call    read /dev/knxspi b5 01 = 2\n");
}

TEST(AShortRead, OfNothingReportsTheEndOfTheFileAtOnce) {
    const Outcome run = RunWith({"read:port#4=short 0"});
    EXPECT_EQ(FromStrike(run, 2),
              "fault   read:port#4=short 0\n"
              "call    read /dev/ttyS1 = 0\n");
    EXPECT_EQ(run.status, kFailed);
}

TEST(AReadOfOtherBytes, TakesWhatArrivedAndShowsWhatWasOrdered) {
    const Outcome run = RunWith({"read:port#4=bytes a0 41"});
    EXPECT_EQ(FromStrike(run, 6),
              "fault   read:port#4=bytes a0 41\n"
              "loader  sync: answers 90\n"
              "chip    loader_state answering\n"
              "wire    < 90\n"
              "chip    loader_state frame\n"
              "call    read /dev/ttyS1 a0 41 = 2\n");
}

TEST(AReadOfOtherBytes, ReturnsAlsoWhereNothingWouldEverCome) {
    const Outcome run = RunWith({"answer:sync=silence", "read:port=bytes 90"});
    EXPECT_EQ(FromStrike(run, 4, 2),
              "fault   answer:sync=silence\n"
              "loader  sync: answers 90\n"
              "chip    loader_state frame\n"
              "call    read /dev/ttyS1 90 = 1\n");
    EXPECT_EQ(run.status, 0);
}

TEST(AShortWrite, SendsTheFirstBytesOnly) {
    const Outcome run = RunWith({"write:port#3=short 4"});
    EXPECT_EQ(FromStrike(run, 3),
              "fault   write:port#3=short 4\n"
              "call    write /dev/ttyS1 80 18 04 04 = 4\n"
              "wire    > 80 18 04 04\n");
    EXPECT_EQ(run.status, kFailed);
}

TEST(AShortWrite, OfNothingSendsNothing) {
    const Outcome run = RunWith({"write:port#3=short 0"});
    EXPECT_EQ(FromStrike(run, 3),
              "fault   write:port#3=short 0\n"
              "call    write /dev/ttyS1 80 18 04 04 00 ff 06 a5 7d b9 = 0\n"
              "call    close /dev/ttyS1 = 0\n");
}

TEST(AShortFlush, IsTriedAgainByStdioWithTheRest) {
    const Outcome run = RunWith({"flush:export=short 1"});
    EXPECT_EQ(FromStrike(run, 4),
              "fault   flush:export=short 1\n"
              "call    flush /sys/class/gpio/export \"9\" = 1\n"
              "call    flush /sys/class/gpio/export \"1\" = 1\n"
              "call    flush /sys/class/gpio/export \"86\" = 2\n");
}

TEST(AShortFlush, OfNothingIsTriedAgainWhole) {
    const Outcome run = RunWith({"flush:export=short 0"});
    EXPECT_EQ(FromStrike(run, 3),
              "fault   flush:export=short 0\n"
              "call    flush /sys/class/gpio/export \"91\" = 0\n"
              "call    flush /sys/class/gpio/export \"91\" = 2\n");
    EXPECT_EQ(run.status, 0);
}

TEST(AShortFlush, ThatNeverTakesAnythingIsAWaitForEver) {
    const Outcome run = RunWith({"flush:export#*=short 0"});
    EXPECT_EQ(run.status, kStuck);
    EXPECT_EQ(
        run.error,
        "vboard: would wait for ever in flush of /sys/class/gpio/export for a write that takes "
        "something, at 0.501000 s of virtual time\n");
}

TEST(AFlushThatNeverReturns, WritesNothingMoreWhenTheRunIsEnded) {
    const Outcome run = RunWith({"flush#2..=silence"});
    EXPECT_EQ(run.status, kStuck);
    EXPECT_EQ(FromStrike(run, 9),
              "fault   flush#2..=silence\n"
              "verdict would wait for ever in flush of /sys/class/gpio/export for a call that was "
              "ordered not to return\n"
              "end     exit status 124\n");
}

TEST(ASelectThatTimesOut, WaitsItsWholeTimeAlthoughSomethingCame) {
    const Outcome run = RunWith({"select:comm=timeout"});
    EXPECT_EQ(FromStrike(run, 4),
              "fault   select:comm=timeout\n"
              "message < b5 01 00\n"
              "call    select /dev/knxspi timeout 200000 us = 0\n"
              "pause   500000 us\n");
    EXPECT_NE(run.transcript.find("    0.200000 call    select"), std::string::npos);
}

TEST(AnyCall, ThatCannotHaveTheOutcomeIsLeftAlone) {
    const Outcome run = RunWith({"call#3=short 1"});
    EXPECT_EQ(FromStrike(run, 3),
              "fault   call#3=short 1: no effect on select\n"
              "message < b5 01 00\n"
              "call    select /dev/knxspi timeout 200000 us = 1\n");
    EXPECT_EQ(run.status, 0);
}

TEST(AnyCall, CanSufferWhatItsKindCan) {
    EXPECT_EQ(FromStrike(RunWith({"call#4=bytes 07"}), 2),
              "fault   call#4=bytes 07\n"
              "call    read /dev/knxspi 07 = 1\n");
}

TEST(ATime, LeavesTheCallsBeforeItAlone) {
    const Outcome run = RunWith({"write:port@4s=eio"});
    EXPECT_NE(run.transcript.find("    4.194669 fault   write:port@4s=eio\n"), std::string::npos)
        << FromStrike(run, 1);
}

}  // namespace
}  // namespace faults
