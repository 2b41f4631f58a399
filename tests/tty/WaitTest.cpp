// SPDX-License-Identifier: MIT

// Programs that wait: in threads and children that share the board, and for other things than it.

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "tests/tty/ProbeRun.h"

namespace tty {
namespace {

/// What the wait probe says for its word; on another status what went wrong behind it.
std::string Says(ProbeRun& run, const std::string& word, int status = 0) {
    const runs::Ended ended = run.Run({WAIT_PROBE, word});
    return ended.status == status
               ? ended.output
               : ended.output + "ended " + std::to_string(ended.status) + ": " + ended.error;
}

std::string Says(const std::string& word) {
    ProbeRun run;
    return Says(run.InLoader(), word);
}

TEST(Threads, OfFourOnOnePortEveryRunIsTheSame) {
    std::set<std::string> runs;
    for (int count = 0; count < 100; ++count) {
        ProbeRun run;
        const runs::Ended ended = run.InLoader().Run({WAIT_PROBE, "unlocked"});
        std::string all = ended.output + ended.error + std::to_string(ended.status) + "\n";
        for (const std::string& call : run.Calls()) {
            all += call + "\n";
        }
        runs.insert(all);
    }
    EXPECT_EQ(runs.size(), 1U) << *runs.begin() << "and\n" << *runs.rbegin();
}

TEST(Threads, OfFourThatTakeTurnsEachGetsItsAnswers) {
    const std::string said = Says("four");
    for (const char thread : std::string("0123")) {
        for (const char count : std::string("01234")) {
            const std::string line = std::string(1, thread) + "." + count + " a0\n";
            EXPECT_NE(said.find(line), std::string::npos) << said;
        }
    }
}

TEST(Threads, OneReadsWhatAnotherHasAskedFor) {
    EXPECT_EQ(Says("reader"), "read 144 (2002 ms)\n");
}

TEST(Threads, ThatAreCancelledInAWaitLeaveThePortToOthers) {
    EXPECT_EQ(Says("cancelled"), "read 144 (2 ms)\n");
}

TEST(Threads, ThatSleepAtTheSameTimeTakeTheirTimeSideBySide) {
    EXPECT_EQ(Says("sleepers"), "slept 3 (10000 ms)\n");
}

TEST(Threads, ThatWaitForEachOtherAndForNothingElseWouldWaitForEver) {
    ProbeRun run;
    const runs::Ended ended = run.InLoader().Run({WAIT_PROBE, "deadlock"});
    EXPECT_EQ(ended.status, 124);
    EXPECT_EQ(ended.error,
              "vboard: would wait for ever in read of /dev/ttyS1 for a byte, at 0.000000 s of "
              "virtual time\n");
}

TEST(Children, ThatSleepAtTheSameTimeTakeTheirTimeSideBySide) {
    EXPECT_EQ(Says("children"), "children 3 (10000 ms)\nchildren 4 (20000 ms)\n");
}

TEST(Children, DoNotCopyWhatIsOnTheWire) {
    EXPECT_EQ(Says("wire"), "child 144\nparent -1\n");
}

TEST(WaitsElsewhere, TakeTheTimeThatWasGivenWhenItIsUp) {
    EXPECT_EQ(Says("condition"), "condition 0 (30 ms)\n");
    EXPECT_EQ(Says("semaphore"), "semaphore -1 (40 ms)\n");
    EXPECT_EQ(Says("pipe"), "poll 0 (20 ms)\nselect 0 (25 ms)\nepoll 0 (35 ms)\n");
    EXPECT_EQ(Says("futex"), "futex -1 (15 ms)\n");
}

TEST(WaitsElsewhere, TakeNoTimeForWhatIsThereAlready) {
    EXPECT_EQ(Says("ready"),
              "poll 1 (1000 ns)\nppoll 1 (1000 ns)\nselect 1 (1000 ns)\npselect 1 (1000 ns)\n"
              "epoll 1 (1000 ns)\n");
}

TEST(WaitsElsewhere, KeepASelectsSetsUntilSomethingIsReadyOrTheTimeIsUp) {
    EXPECT_EQ(Says("later"), "select 1 set\nselect 0 not set\n");
}

TEST(WaitsElsewhere, HoldDeadlinesByTheProgramsClocks) {
    EXPECT_EQ(Says("deadlines"),
              "timedwrlock ETIMEDOUT (20 ms)\n"
              "clockwrlock ETIMEDOUT (25 ms)\n"
              "mtx_timedlock ETIMEDOUT (30 ms)\n"
              "cnd_timedwait ETIMEDOUT (35 ms)\n"
              "sem_clockwait ETIMEDOUT (40 ms)\n"
              "semtimedop EAGAIN (45 ms)\n"
              "sigtimedwait EAGAIN (50 ms)\n");
}

TEST(WaitsElsewhere, ForAQueueHoldDeadlinesByTheProgramsClocks) {
    const std::string said = Says("queue");
    if (said == "no queues\n") {
        GTEST_SKIP() << "this kernel has no message queues";
    }
    EXPECT_EQ(said,
              "mq_timedreceive ETIMEDOUT (20 ms)\n"
              "mq_timedsend 0 (0 ms)\n"
              "mq_timedsend ETIMEDOUT (25 ms)\n");
}

TEST(WaitsElsewhere, ForAnotherThreadHoldDeadlinesByTheProgramsClocks) {
    EXPECT_EQ(Says("threads"),
              "timedrdlock ETIMEDOUT (20 ms)\n"
              "clockrdlock ETIMEDOUT (25 ms)\n"
              "timedjoin ETIMEDOUT (30 ms)\n"
              "clockjoin ETIMEDOUT (35 ms)\n");
}

TEST(Children, HaveHadTheirTimeForWhoeverWaitsForThem) {
    EXPECT_EQ(Says("sleeping"),
              "waitid 3 (20000 ms)\n"
              "system 0 (25000 ms)\n"
              "pclose 0 (30000 ms)\n");
}

TEST(WaitsElsewhere, AreTheirOwnForAProgramOfAnyLanguage) {
    ProbeRun run;
    const runs::Ended ended = run.Run({"python3", "-c",
                                       "import asyncio, threading, time\n"
                                       "begin = time.monotonic()\n"
                                       "threading.Event().wait(0.05)\n"
                                       "print(round(time.monotonic() - begin, 3))\n"
                                       "asyncio.run(asyncio.sleep(0.05))\n"
                                       "print(0.1 <= time.monotonic() - begin < 0.11)\n"});
    EXPECT_EQ(ended.output, "0.05\nTrue\n") << ended.error;
}

TEST(SignalsInRealTime, EndASleepAndAPoll) {
    ProbeRun run;
    EXPECT_EQ(Says(run.With("--pace", "1"), "signal"),
              "sleep EINTR nearly all is left\npoll EINTR\n");
}

TEST(Lengths, ThatTheKernelRefusesAreRefusedAndThoseBeyondAllTimeDoNotEnd) {
    ProbeRun run;
    const runs::Ended ended = run.Run({WAIT_PROBE, "lengths"});
    EXPECT_EQ(ended.status, 124);
    EXPECT_EQ(ended.output, "nanosleep EINVAL\nselect EINVAL\n");
    EXPECT_EQ(ended.error,
              "vboard: would wait for ever in a pause for a time after the year 2261, at "
              "7500000000.000000 s of virtual time\n");
}

TEST(LongStreams, CostNoMemory) {
    ProbeRun run;
    const runs::Ended ended = run.Run(
        {"sh", "-c", "ulimit -v 90000; head -c 2000000 /dev/zero >/dev/ttyS1 && echo done"});
    EXPECT_EQ(ended.output, "done\n") << ended.error;
}

}  // namespace
}  // namespace tty
