// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "tests/commands/BoardFolder.h"

// How a run ends: whatever the programs in it make of each other's ends, the run tells its own.

namespace commands {
namespace {

runs::Ended InShell(const BoardFolder& folder, const std::string& command) {
    return runs::RunProcess({"bash", "-c", command}, folder.PathOf("."));
}

std::string LastLines(const std::string& text, int count) {
    std::size_t at = text.size();
    for (int line = 0; line <= count && at != std::string::npos && at > 0; ++line) {
        at = text.rfind('\n', at - 1);
    }
    return at == std::string::npos ? text : text.substr(at + 1);
}

TEST(VerdictInAScript, DecidesTheStatusOfTheRun) {
    const BoardFolder folder;
    const runs::Ended ended = InShell(
        folder, "vboard run --quiet --transcript t -- sh -c 'cat /dev/ttyS1; sleep 2; echo on'");
    EXPECT_EQ(ended.status, 124);
    EXPECT_EQ(ended.output, "on\n");
    EXPECT_EQ(ended.error,
              "vboard: would wait for ever in read of /dev/ttyS1 for a byte, at 0.000000 s of "
              "virtual time\n");
    const std::string transcript = runs::ReadFile(folder.PathOf("t"));
    EXPECT_NE(transcript.find(
                  "    0.000000 verdict would wait for ever in read of /dev/ttyS1 for a byte\n"),
              std::string::npos)
        << transcript;
    EXPECT_EQ(LastLines(transcript, 1), "    2.000000 end     exit status 0\n");
}

TEST(VerdictInAScript, OfTheTimeLimitDecidesAsWell) {
    const BoardFolder folder;
    const runs::Ended ended =
        InShell(folder, "vboard run --quiet --time-limit 3 -- sh -c 'sleep 9; true'");
    EXPECT_EQ(ended.status, 124);
    EXPECT_EQ(ended.error,
              "vboard: still running at the time limit, at 3.000000 s of virtual time\n");
}

TEST(VerdictInAScript, OfAnOrderedKillDecidesAsWell) {
    const BoardFolder folder;
    const runs::Ended ended = InShell(
        folder, "vboard run --quiet --fault 'open:port=kill' -- sh -c '(cat /dev/ttyS1); true'");
    EXPECT_EQ(ended.status, 137);
}

TEST(ProgramOfStatus126Or127, HasASummaryAsAnyOther) {
    for (const int status : {126, 127}) {
        const BoardFolder folder;
        const runs::Ended ended =
            InShell(folder, "vboard run --summary-file s -- sh -c 'sleep 1; exit " +
                                std::to_string(status) + "'");
        EXPECT_EQ(ended.status, status);
        EXPECT_EQ(ended.error,
                  "vboard: 0 bytes of flash programmed in 0 blocks; the application runs, version "
                  "256; 1.000000 s of virtual time\n");
        EXPECT_NE(runs::ReadFile(folder.PathOf("s")).find("\"status\": " + std::to_string(status)),
                  std::string::npos);
    }
}

TEST(ProgramThatCanNotBeStarted, HasOneLine) {
    const BoardFolder folder;
    EXPECT_EQ(folder.Vboard("run -- nonsense -v").error,
              "vboard: 'nonsense' can't be started: No such file or directory\n");
    EXPECT_EQ(folder.Vboard("run -- nonsense -v").status, 127);
    EXPECT_EQ(folder.Vboard("run -- /etc/passwd").status, 126);
}

TEST(ProgramThatTouchesNoDevice, IsNoError) {
    const BoardFolder folder;
    const runs::Ended ended = folder.Vboard("run -- true");
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.error, "vboard: the program never reached the board\n");
}

TEST(ReaderOfATranscript, ThatGoesAwayDoesNotEndTheProgram) {
    const BoardFolder folder;
    const runs::Ended ended =
        InShell(folder,
                "vboard run --quiet --pace 1000 --board b --transcript >(head -c 1) -- "
                "flashmcu -f " +
                    BoardFolder::Blinky() + " | sed '$!d;s,.* ,,'");
    EXPECT_EQ(ended.output, "Success\n");
    EXPECT_NE(ended.error.find("can't be written: Broken pipe\n"), std::string::npos)
        << ended.error;
    EXPECT_EQ(InShell(folder,
                      "vboard run --quiet --pace 1000 --transcript >(exec true) -- "
                      "flashmcu -f " +
                          BoardFolder::Blinky())
                  .status,
              125);
}

TEST(RunnerThatIsTerminated, HandsItOnAndTellsTheEnd) {
    const BoardFolder folder;
    const runs::Ended ended = InShell(
        folder,
        "vboard run --transcript t -- sh -c 'sleep 1; kill -TERM $PPID; read x </dev/zero' ");
    EXPECT_EQ(ended.status, 143);
    EXPECT_EQ(LastLines(runs::ReadFile(folder.PathOf("t")), 1),
              "    1.000000 end     killed by signal 15\n");
    EXPECT_NE(ended.error.find("1.000000 s of virtual time\n"), std::string::npos) << ended.error;
}

TEST(ProgramLeftInTheBackground, GivesTheBoardFree) {
    const BoardFolder folder;
    folder.Does("new a.board");
    const runs::Ended ended = InShell(
        folder,
        "mkfifo hold; exec 3<>hold; "
        "vboard run --quiet --board a.board -- sh -c '(read x <hold; cat /dev/ttyS1) 2>told & :'; "
        "vboard run --quiet --board a.board -- flashmcu -v | sed 's/.* info //'; echo >hold; "
        "while ! grep -q . told; do :; done; cat told");
    EXPECT_EQ(ended.output,
              "Current MSP version is 256\n"
              "vboard: the run has ended, and a program that it left behind has no board any "
              "more\n")
        << ended.error;
}

TEST(LimitOfOpenFiles, ThatLeavesNoneForTheRunIsTold) {
    const BoardFolder folder;
    const runs::Ended ended =
        InShell(folder, "ulimit -n 14; vboard run --transcript t -- flashmcu -v");
    EXPECT_EQ(ended.status, 125);
    EXPECT_EQ(ended.output, "");
    EXPECT_EQ(ended.error,
              "vboard: the program's limit of open files leaves none for the board: raise it "
              "(ulimit -n 1024)\n");
}

TEST(LimitOfOpenFiles, ThatIsJustEnoughLosesNothing) {
    const BoardFolder folder;
    const std::string run = "vboard run --quiet --transcript t -- flashmcu -v; cat t";
    const runs::Ended usual = InShell(folder, run);
    const runs::Ended ended = InShell(folder, "ulimit -n 15; " + run);
    EXPECT_EQ(ended.output, usual.output);
    EXPECT_NE(ended.output.find("end     exit status 0\n"), std::string::npos);
    EXPECT_EQ(ended.error, "");
}

}  // namespace
}  // namespace commands
