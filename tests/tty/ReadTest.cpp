// SPDX-License-Identifier: MIT

// Reads and waits of a serial program: termios(3), read(2), poll(2), select(2).

#include <gtest/gtest.h>

#include "tests/tty/ProbeRun.h"

namespace tty {
namespace {

TEST(TtyRead, AByteArrivesWhenItHasCrossedTheWire) {
    EXPECT_EQ(ProbeRun().InLoader().Says(kPort + "raw:9600:E:1:0 write:80 read:10"),
              "open:/dev/ttyS1:rw:noctty = open\n"
              "raw:9600:E:1:0 = 0\n"
              "write:80 = 1\n"
              "read:10 = 1 90 (2 ms)\n");
}

TEST(TtyRead, VminMakesAReadGatherSoManyBytes) {
    EXPECT_EQ(ProbeRun().InLoader().Says(
                  kPort + "raw:9600:E:3:0 write:80 pause:5 write:801e0404000000007be5 read:10"),
              "open:/dev/ttyS1:rw:noctty = open\n"
              "raw:9600:E:3:0 = 0\n"
              "write:80 = 1\n"
              "pause:5 = 0 (5 ms)\n"
              "write:801e0404000000007be5 = 10\n"
              "read:10 = 3 90 80 00 (13 ms)\n");
}

TEST(TtyRead, AReadOfLessThanVminReturnsWhatItAskedFor) {
    EXPECT_EQ(ProbeRun().InLoader().Says(kPort + "raw:9600:E:3:0 write:80 read:1"),
              "open:/dev/ttyS1:rw:noctty = open\n"
              "raw:9600:E:3:0 = 0\n"
              "write:80 = 1\n"
              "read:1 = 1 90 (2 ms)\n");
}

TEST(TtyRead, WithVtimeAloneAReadOfNothingEndsAfterIt) {
    EXPECT_EQ(ProbeRun().Says(kPort + "raw:9600:E:0:5 read:10"),
              "open:/dev/ttyS1:rw:noctty = open\n"
              "raw:9600:E:0:5 = 0\n"
              "read:10 = 0 (500 ms)\n");
}

TEST(TtyRead, WithVtimeAloneAReadReturnsTheFirstByte) {
    EXPECT_EQ(ProbeRun().InLoader().Says(kPort + "raw:9600:E:0:5 write:80 read:10"),
              "open:/dev/ttyS1:rw:noctty = open\n"
              "raw:9600:E:0:5 = 0\n"
              "write:80 = 1\n"
              "read:10 = 1 90 (2 ms)\n");
}

TEST(TtyRead, WithBothAReadEndsVtimeAfterTheLastByte) {
    EXPECT_EQ(ProbeRun().InLoader().Says(kPort + "raw:9600:E:5:2 write:80 read:10"),
              "open:/dev/ttyS1:rw:noctty = open\n"
              "raw:9600:E:5:2 = 0\n"
              "write:80 = 1\n"
              "read:10 = 1 90 (202 ms)\n");
}

TEST(TtyRead, WithNeitherAReadReturnsAtOnce) {
    EXPECT_EQ(ProbeRun().Says(kPort + "raw:9600:E:0:0 read:10"),
              "open:/dev/ttyS1:rw:noctty = open\n"
              "raw:9600:E:0:0 = 0\n"
              "read:10 = 0 (1 ms)\n");
}

TEST(TtyRead, WithoutWaitingItIsEagainUntilTheByteIsThere) {
    EXPECT_EQ(ProbeRun().InLoader().Says(
                  kPort + "raw:9600:E:1:0 setfl:nonblock getfl write:80 read:10 spinread "
                          "setfl:block getfl"),
              "open:/dev/ttyS1:rw:noctty = open\n"
              "raw:9600:E:1:0 = 0\n"
              "setfl:nonblock = 0\n"
              "getfl = rw nonblock\n"
              "write:80 = 1\n"
              "read:10 = EAGAIN (1 ms)\n"
              "spinread = 90 (1 ms)\n"
              "setfl:block = 0\n"
              "getfl = rw\n");
}

TEST(TtyRead, WithoutWaitingVtimeIsNoWait) {
    EXPECT_EQ(ProbeRun().Says("open:/dev/ttyS1:rw:nonblock raw:9600:E:0:5 read:10"),
              "open:/dev/ttyS1:rw:nonblock = open\n"
              "raw:9600:E:0:5 = 0\n"
              "read:10 = EAGAIN (1 ms)\n");
}

TEST(TtyRead, ALoopThatOnlyTriesAgainComesToAnEnd) {
    EXPECT_EQ(ProbeRun().Says("open:/dev/ttyS1:rw:nonblock raw:9600:E:1:0 spinread"),
              "open:/dev/ttyS1:rw:nonblock = open\n"
              "raw:9600:E:1:0 = 0\n"
              "spinread = nothing (1001 ms)\n");
}

TEST(TtyRead, PiecesAreFilledOneAfterTheOther) {
    EXPECT_EQ(ProbeRun().InLoader().Says(kPort + "raw:9600:E:4:0 write:80 pause:5 "
                                                 "writev:801e0404:000000007be5 readv:2:8"),
              "open:/dev/ttyS1:rw:noctty = open\n"
              "raw:9600:E:4:0 = 0\n"
              "write:80 = 1\n"
              "pause:5 = 0 (5 ms)\n"
              "writev:801e0404:000000007be5 = 10\n"
              "readv:2:8 = 4 90 80 | 00 10 (14 ms)\n");
}

TEST(TtyRead, TheReceiveFifoHandsOnAtItsTriggerOrAfterAPause) {
    EXPECT_EQ(ProbeRun()
                  .InLoader()
                  .With("--option", "receive-trigger=4")
                  .Says(kPort + "raw:9600:E:1:0 write:80 read:50"),
              "open:/dev/ttyS1:rw:noctty = open\n"
              "raw:9600:E:1:0 = 0\n"
              "write:80 = 1\n"
              "read:50 = 1 90 (6 ms)\n");
}

TEST(TtyRead, AReadThatNothingCanAnswerEndsTheRun) {
    ProbeRun run;
    const runs::Ended ended =
        run.Run({TTY_PROBE, "open:/dev/ttyS1:rw", "raw:9600:E:1:0", "read:1"});
    EXPECT_EQ(ended.status, 124);
    EXPECT_EQ(ended.error,
              "vboard: would wait for ever in read of /dev/ttyS1 for a byte, at 0.000005 s of "
              "virtual time\n");
    EXPECT_EQ(ended.output, "open:/dev/ttyS1:rw = open\nraw:9600:E:1:0 = 0\n");
}

TEST(TtyRead, ASelectWithoutLimitThatNothingCanEndEndsTheRun) {
    ProbeRun run;
    const runs::Ended ended = run.Run({TTY_PROBE, "open:/dev/ttyS1:rw", "select:-1"});
    EXPECT_EQ(ended.status, 124);
    EXPECT_NE(ended.error.find("would wait for ever in select of /dev/ttyS1"), std::string::npos)
        << ended.error;
}

TEST(TtyRead, APollWithoutLimitThatNothingCanEndEndsTheRun) {
    ProbeRun run;
    const runs::Ended ended = run.Run({TTY_PROBE, "open:/dev/ttyS1:rw", "poll:in:-1"});
    EXPECT_EQ(ended.status, 124);
    EXPECT_NE(ended.error.find("would wait for ever in poll of /dev/ttyS1"), std::string::npos)
        << ended.error;
}

TEST(TtyWait, PollSelectAndTheirPreciseKinSeeTheByteAndTheRoom) {
    EXPECT_EQ(ProbeRun().InLoader().Says(kPort + "raw:9600:E:1:0 poll:inout:0 write:80 poll:in:100 "
                                                 "select:100 ppoll:in:100 pselect:100 read:1"),
              "open:/dev/ttyS1:rw:noctty = open\n"
              "raw:9600:E:1:0 = 0\n"
              "poll:inout:0 = 1 out\n"
              "write:80 = 1\n"
              "poll:in:100 = 1 in (2 ms)\n"
              "select:100 = 1 in left 100 ms\n"
              "ppoll:in:100 = 1 in\n"
              "pselect:100 = 1 out\n"
              "read:1 = 1 90\n");
}

TEST(TtyWait, EachEndsAtItsTimeout) {
    EXPECT_EQ(ProbeRun().Says(kPort + "poll:in:250 select:300 ppoll:in:150 poll:in:0"),
              "open:/dev/ttyS1:rw:noctty = open\n"
              "poll:in:250 = 0 (250 ms)\n"
              "select:300 = 0 left 0 ms (300 ms)\n"
              "ppoll:in:150 = 0 (150 ms)\n"
              "poll:in:0 = 0 (1 ms)\n");
}

TEST(TtyWait, SelectLeavesWhatIsLeftOfItsTimeout) {
    EXPECT_EQ(ProbeRun().InLoader().Says(kPort + "raw:9600:E:1:0 write:80 select:500"),
              "open:/dev/ttyS1:rw:noctty = open\n"
              "raw:9600:E:1:0 = 0\n"
              "write:80 = 1\n"
              "select:500 = 1 in left 497 ms (2 ms)\n");
}

TEST(TtyWait, AMinimumOfBytesHoldsForPollToo) {
    EXPECT_EQ(ProbeRun().InLoader().Says(kPort + "raw:9600:E:2:0 write:80 poll:in:50 fionread"),
              "open:/dev/ttyS1:rw:noctty = open\n"
              "raw:9600:E:2:0 = 0\n"
              "write:80 = 1\n"
              "poll:in:50 = 0 (50 ms)\n"
              "fionread = 1\n");
}

TEST(TtyWait, AnotherFileThatIsReadyEndsTheWaitAtOnce) {
    // Standard input is at its end, which can be read.
    EXPECT_EQ(ProbeRun().Says(kPort + "pollboth:1000"),
              "open:/dev/ttyS1:rw:noctty = open\n"
              "pollboth:1000 = 1 stdin (1 ms)\n");
}

}  // namespace
}  // namespace tty
