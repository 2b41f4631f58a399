// SPDX-License-Identifier: MIT

// Faults on the command line: what is refused, plans, the list of calls, the line that replays.

#include <gtest/gtest.h>

#include <sstream>

#include "tests/faults/FaultRun.h"
#include "tests/runs/Process.h"

namespace faults {
namespace {

using runs::BlinkyPath;
using runs::Board;
using runs::Outcome;

constexpr int kRefused = 125;

/// The command after "vboard: replay: "; empty where there is no such line.
std::string Replayed(const std::string& error) {
    const std::string kMark = "vboard: replay: ";
    const std::size_t at = error.find(kMark);
    return at == std::string::npos ? "" : error.substr(at + kMark.size());
}

runs::Ended Started(const std::vector<std::string>& options) {
    const TempFolder folder;
    std::vector<std::string> words{"vboard", "run", "--quiet"};
    words.insert(words.end(), options.begin(), options.end());
    words.insert(words.end(), {"--", "flashmcu", "-f", BlinkyPath()});
    return runs::RunProcess(words, folder.PathOf("."));
}

TEST(WrongFaults, AreRefusedBeforeTheProgramStarts) {
    TempFolder folder;
    const auto ended =
        runs::RunProcess({"vboard", "run", "--fault", "read:port=eoi", "--", "touch", "started"},
                         folder.PathOf("."));
    EXPECT_EQ(ended.status, kRefused);
    EXPECT_EQ(ended.error,
              "vboard: fault rule 'read:port=eoi': 'eoi' is no outcome here: take ERRNO, short N, "
              "bytes HH..., silence, kill, power off [TIME], power on\n");
    EXPECT_EQ(runs::RunProcess({"test", "-e", "started"}, folder.PathOf(".")).status, 1);
}

TEST(WrongFaults, OfAPlanAreRefusedWithFileAndLine) {
    TempFolder folder;
    static_cast<void>(folder.WriteFile("plan", "# a plan\nread=eio\nread=eoi\n"));
    const auto ended = runs::RunProcess({"vboard", "run", "--fault-plan", "plan", "--", "true"},
                                        folder.PathOf("."));
    EXPECT_EQ(ended.status, kRefused);
    EXPECT_EQ(ended.error.substr(0, 64),
              "vboard: fault plan 'plan' line 3: fault rule 'read=eoi': 'eoi' i");
}

TEST(WrongFaults, APlanThatCannotBeReadIsRefused) {
    TempFolder folder;
    const auto missing = runs::RunProcess({"vboard", "run", "--fault-plan", "plan", "--", "true"},
                                          folder.PathOf("."));
    EXPECT_EQ(missing.status, kRefused);
    EXPECT_EQ(missing.error,
              "vboard: fault plan 'plan' can't be read: No such file or directory\n");
    const auto directory =
        runs::RunProcess({"vboard", "run", "--fault-plan", "/", "--", "true"}, folder.PathOf("."));
    EXPECT_EQ(directory.error, "vboard: fault plan '/' can't be read: Is a directory\n");
}

TEST(WrongFaults, ARateBeyondOneAndASeedWithoutNoiseAreRefused) {
    TempFolder folder;
    EXPECT_EQ(
        runs::RunProcess({"vboard", "run", "--noise", "1.5", "--", "true"}, folder.PathOf("."))
            .status,
        kRefused);
    EXPECT_EQ(
        runs::RunProcess({"vboard", "run", "--seed", "4", "--", "true"}, folder.PathOf(".")).status,
        kRefused);
}

TEST(FaultPlanFile, StandsBehindTheRulesOfTheCommandLine) {
    Board board;
    board.WithFile("plan", "# both are for the same call\nopen:comm#1..2=eacces\n");
    const Outcome run = board.With("--fault-plan", board.PathOf("plan"))
                            .With("--fault", "open:comm=enodev")
                            .Runs({"-f", BlinkyPath()});
    EXPECT_EQ(FromStrike(run, 2),
              "fault   open:comm=enodev\n"
              "call    open /dev/knxspi O_RDWR = ENODEV\n");
}

TEST(FaultPlanFile, OrdersTheSameAsTheCommandLine) {
    Board board;
    board.WithFile("plan", "answer:write#2=nak\n\n  read:port#70=bytes 41\n");
    const Outcome planned =
        board.With("--fault-plan", board.PathOf("plan")).Runs({"-f", BlinkyPath()});
    const Outcome ordered = RunWith({"answer:write#2=nak", "read:port#70=bytes 41"});
    EXPECT_EQ(planned.transcript, ordered.transcript);
    EXPECT_EQ(planned.output, ordered.output);
    EXPECT_EQ(Strikes(planned), 2U);
}

TEST(FaultCounts, BeginAnewWithEachProgramOfARun) {
    TempFolder folder;
    static_cast<void>(folder.WriteFile("twice", "flashmcu -v; flashmcu -v\n"));
    const auto ended = runs::RunProcess(
        {"vboard", "run", "--fault", "open:comm=enodev", "--transcript", "t", "--", "sh", "twice"},
        folder.PathOf("."));
    Outcome run;
    run.transcript = runs::ReadFile(folder.PathOf("t"));
    EXPECT_EQ(Strikes(run), 2U);
}

TEST(ListOfCalls, NumbersEveryCallSoThatARuleCanOrderIt) {
    Board board;
    const Outcome whole = board.With("--calls", board.PathOf("calls")).Runs({"-f", BlinkyPath()});
    EXPECT_EQ(whole.status, 0);
    std::istringstream lines(runs::ReadFile(board.PathOf("calls")));
    std::string number;
    std::string kind;
    std::string path;
    std::string size;
    std::size_t count = 0;
    std::string lastWrite;
    while (lines >> number >> kind >> path >> size) {
        ASSERT_EQ(number, std::to_string(++count));
        lastWrite = kind == "write" ? number : lastWrite;
    }
    const Outcome killed = RunWith({"call#" + lastWrite + "=kill"});
    EXPECT_EQ(killed.status, 137);
    const Outcome beyond = RunWith({"call#" + std::to_string(count + 1) + "=kill"});
    EXPECT_EQ(beyond.status, 0);
    EXPECT_EQ(Strikes(beyond), 0U);
    // The last write is the request for the version at the very end.
    EXPECT_EQ(whole.Conversation().find(killed.Conversation()), 0U);
    EXPECT_EQ(whole.Conversation().substr(killed.Conversation().size(), 29),
              "write /dev/knxspi 02 b4 00 = ");
}

TEST(ListOfCalls, EndsWithTheCallAtWhichTheProgramWasKilled) {
    Board board;
    static_cast<void>(board.With("--calls", board.PathOf("calls"))
                          .With("--fault", "call#5=kill")
                          .Runs({"-f", BlinkyPath()}));
    EXPECT_EQ(runs::ReadFile(board.PathOf("calls")),
              "1 open /dev/knxspi 0\n"
              "2 write /dev/knxspi 3\n"
              "3 select /dev/knxspi 0\n"
              "4 read /dev/knxspi 1\n"
              "5 read /dev/knxspi 3\n");
}

TEST(ReplayLine, IsPrintedWhenARunWithFaultsGoesWrong) {
    TempFolder folder;
    const auto ended = runs::RunProcess(
        {"vboard", "run", "--quiet", "--model", "BRDC", "--fault", "open:comm=enodev", "--fault",
         "read:port#3=short 0", "--", "flashmcu", "-v"},
        folder.PathOf("."));
    EXPECT_EQ(ended.error,
              "vboard: replay: vboard run --option model=BRDC --fault open:comm=enodev --fault "
              "'read:port#3=short 0' -- flashmcu -v\n");
}

TEST(ReplayLine, IsNotPrintedWhenTheRunGoesWell) {
    const runs::Ended run = Started({"--fault", "answer:write#2=nak"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.error, "");
}

TEST(ReplayLine, IsNotPrintedWithoutFaults) {
    const runs::Ended run = Started({"--option", "silent=yes"});
    EXPECT_EQ(run.status, 124);
    EXPECT_EQ(Replayed(run.error), "");
}

TEST(ReplayLine, IsTheLastOfAKilledRun) {
    const runs::Ended run = Started({"--fault", "program@1s=kill"});
    EXPECT_EQ(run.error,
              "vboard: killed at an ordered fault, at 1.000000 s of virtual time\n"
              "vboard: replay: vboard run --fault program@1s=kill -- flashmcu -f " +
                  BlinkyPath() + "\n");
}

TEST(ReplayLine, RunsTheSameAgainToTheByte) {
    const std::vector<std::string> kOrders[] = {
        {"--fault", "answer:write#*=nak"},
        {"--fault", "char:to-host#9=change 41", "--fault", "read:port#9..=bytes 41"},
        {"--noise", "0.003", "--seed", "12"},
        {"--option", "model=BRDC", "--noise", "0.01", "--seed", "4", "--fault", "power@2s=off 1s"},
    };
    for (const std::vector<std::string>& order : kOrders) {
        TempFolder folder;
        static_cast<void>(folder.WriteFile("blinky.hex", runs::Blinky()));
        std::vector<std::string> words{"vboard", "run", "--quiet", "--transcript", "first"};
        words.insert(words.end(), order.begin(), order.end());
        words.insert(words.end(), {"--", "flashmcu", "-f", "blinky.hex"});
        const auto ended = runs::RunProcess(words, folder.PathOf("."));
        std::string line = Replayed(ended.error);
        ASSERT_TRUE(line.starts_with("vboard run ")) << ended.status << ended.error;
        line.insert(std::string("vboard run ").size(), "--quiet --transcript second ");
        const auto again = runs::RunProcess({"sh", "-c", line}, folder.PathOf("."));
        EXPECT_EQ(again.status, ended.status) << line;
        EXPECT_EQ(again.output, ended.output) << line;
        EXPECT_EQ(again.error, ended.error) << line;
        EXPECT_EQ(runs::ReadFile(folder.PathOf("second")), runs::ReadFile(folder.PathOf("first")))
            << line;
    }
}

}  // namespace
}  // namespace faults
