// SPDX-License-Identifier: MIT

// What no program should ask, and other programs that one starts.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "tests/runs/Transcript.h"
#include "tests/tty/ProbeRun.h"

namespace tty {
namespace {

TEST(WrongPointers, AreEfaultAndWhatIsThereIsWritten) {
    ProbeRun run;
    const runs::Ended ended = run.Run({CALL_PROBE, "pointers"});
    EXPECT_EQ(ended.status, 0) << ended.error;
    EXPECT_EQ(ended.output,
              "write EFAULT\n"
              "write the rest of a page 3\n"
              "read EFAULT\n"
              "read into a constant EFAULT\n"
              "writev EFAULT\n"
              "readv EFAULT\n"
              "writev of no pieces EFAULT\n"
              "ioctl EFAULT\n"
              "ioctl into a constant EFAULT\n"
              "ioctl from a constant 0\n"
              "tcgetattr EFAULT\n"
              "tcsetattr EFAULT\n"
              "fcntl EFAULT\n"
              "stat EFAULT\n"
              "fstat into a constant EFAULT\n"
              "open EFAULT\n"
              "poll EFAULT\n"
              "select EFAULT\n"
              "select's time EFAULT\n"
              "nanosleep EFAULT\n"
              "clock_gettime EFAULT\n");
}

TEST(Files, AreNoFolders) {
    ProbeRun run;
    const runs::Ended ended = run.Run({CALL_PROBE, "folders"});
    EXPECT_EQ(ended.output,
              "access /dev/ttyS1/ ENOTDIR\n"
              "access /dev/ttyS1/. ENOTDIR\n"
              "access /dev/ttyS1/x ENOTDIR\n"
              "access /dev/knxspi/ ENOTDIR\n"
              "access /sys/class/gpio/export/ ENOTDIR\n"
              "access /sys/class/gpio/ 0\n"
              "access /dev/./ttyS1 0\n"
              "open ENOTDIR\n"
              "stat ENOTDIR\n"
              "chdir ENOTDIR\n")
        << ended.error;
}

TEST(OldPrograms, AskForAFilesStatusByItsFormerNames) {
    ProbeRun run;
    const runs::Ended ended =
        run.Run({"python3", "-c",
                 "import ctypes, os\n"
                 "libc = ctypes.CDLL(None, use_errno=True)\n"
                 "port = os.open('/dev/ttyS1', os.O_RDWR | os.O_NOCTTY)\n"
                 "status = ctypes.create_string_buffer(256)\n"
                 "for path in b'/dev/ttyS1', b'/dev/ttyS0':\n"
                 "    print(libc.__xstat(1, path, status), libc.__lxstat64(1, path, status),\n"
                 "          libc.__fxstatat(1, -100, path, status, 0))\n"
                 "print(libc.__fxstat64(1, port, status))\n"});
    EXPECT_EQ(ended.output, "0 0 0\n-1 -1 -1\n0\n") << ended.error;
}

TEST(Listings, ShowTheBoardsDevicesInPlaceOfTheMachines) {
    ProbeRun run;
    const runs::Ended ended = run.Run({CALL_PROBE, "look"});
    EXPECT_EQ(ended.output,
              "/d*/ttyS*: 0 /dev/ttyS1\n"
              "/dev/ttyS?: 0 /dev/ttyS1\n"
              "/s*/c*/gp[i]o/*port: 0 /sys/class/gpio/export /sys/class/gpio/unexport\n"
              "/dev: knxspi ttyS1\n"
              "/sys/class: gpio\n")
        << ended.error;
}

TEST(Listings, OfAShellShowTheSame) {
    ProbeRun run;
    for (const char* shell : {"bash", "dash"}) {
        const runs::Ended ended =
            run.Run({shell, "-c", "echo /d*/ttyS* /sys/*/gpio/exp*; ls /dev | grep ttyS"});
        EXPECT_EQ(ended.output, "/dev/ttyS1 /sys/class/gpio/export\nttyS1\n") << ended.error;
    }
}

TEST(Children, WithoutAnEnvironmentAreOnTheBoardAllTheSame) {
    ProbeRun run;
    const runs::Ended ended = run.Run({CALL_PROBE, "start"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output,
              "export 2\n"
              "in\nposix_spawn 0\n"
              "in\nsystem 0\n"
              "popen in\npclose 0\n"
              "in\nexecle 0\n")
        << ended.error;
}

TEST(Children, ThatCannotBeOnTheBoardAreNotStarted) {
    ProbeRun run;
    const std::string program = run.PathOf("program");
    const std::string source = program + ".c";
    std::ofstream(source) << "int main() { return 0; }\n";
    if (std::system(("cc -static -o " + program + " " + source + " 2>/dev/null").c_str()) != 0) {
        GTEST_SKIP() << "no static C library here";
    }
    const runs::Ended ended = run.Run({CALL_PROBE, "refused"});
    EXPECT_EQ(ended.status, 125);
    EXPECT_EQ(ended.output, "posix_spawn EACCES\n");
    EXPECT_EQ(ended.error,
              "vboard: './program' is linked statically, so no board can stand in front of its C "
              "library: link it dynamically\n");
}

TEST(Background, IsRefusedInWords) {
    ProbeRun run;
    const runs::Ended ended = run.Run({CALL_PROBE, "daemon"});
    EXPECT_EQ(ended.output, "daemon ENOSYS\n");
    EXPECT_EQ(ended.error,
              "vboard: daemon is refused with ENOSYS: a program that leaves the run has no board: "
              "let it stay in the foreground\n");
}

class ShellSleepTest : public testing::TestWithParam<const char*> {};

TEST_P(ShellSleepTest, ProgramsInTheBackgroundTakeTheirTimeSideBySide) {
    ProbeRun run;
    const runs::Ended ended =
        run.Run({GetParam(), "-c",
                 "date -u +%T; sleep 5 & sleep 9 & wait; date -u +%T; sleep 1; date -u +%T"});
    EXPECT_EQ(ended.output, "00:00:00\n00:00:09\n00:00:10\n") << ended.error;
}

TEST_P(ShellSleepTest, ManyInTheBackgroundEndInTheOrderOfTheirTimes) {
    ProbeRun run;
    const runs::Ended ended = run.Run(
        {GetParam(), "-c", "for i in 8 7 6 5 4 3 2 1; do sleep $i & done; wait; date -u +%T"});
    EXPECT_EQ(ended.output, "00:00:08\n") << ended.error;
    const std::string transcript = runs::ReadFile(run.PathOf("transcript"));
    EXPECT_EQ(runs::WordsOf(transcript, "pause"), std::vector<std::string_view>(8, "1000000 us"));
}

INSTANTIATE_TEST_SUITE_P(Shell, ShellSleepTest, testing::Values("bash", "dash"),
                         [](const auto& test) { return std::string(test.param); });

TEST(Transcript, CountsOfAWaitWhatTheProgramGot) {
    ProbeRun run;
    const runs::Ended ended =
        run.Run({"python3", "-c",
                 "import os, select\n"
                 "port = os.open('/dev/ttyS1', os.O_RDWR | os.O_NOCTTY)\n"
                 "here, there = os.pipe()\n"
                 "os.write(there, b'x')\n"
                 "poll = select.poll()\n"
                 "poll.register(port, select.POLLIN | select.POLLOUT)\n"
                 "poll.register(here, select.POLLIN)\n"
                 "print(len(poll.poll(100)))\n"
                 "print([len(list) for list in select.select([port, here], [port], [], 1)])\n"
                 "poll.modify(port, select.POLLIN)\n"
                 "print(len(poll.poll()))\n"});
    EXPECT_EQ(ended.output, "2\n[1, 1, 0]\n1\n") << ended.error;
    std::vector<std::string> waits = run.Calls();
    std::erase_if(waits, [](const std::string& call) { return call.rfind("open", 0) == 0; });
    EXPECT_EQ(waits, (std::vector<std::string>{"poll /dev/ttyS1 timeout 100000 us = 2",
                                               "select /dev/ttyS1 timeout 1000000 us = 2",
                                               "poll /dev/ttyS1 no timeout = 1"}));
}

}  // namespace
}  // namespace tty
