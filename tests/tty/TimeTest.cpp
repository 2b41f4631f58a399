// SPDX-License-Identifier: MIT

// The program's own time, and how programs of one run follow each other.

#include <gtest/gtest.h>

#include "tests/tty/ProbeRun.h"

#include <utility>

namespace tty {
namespace {

TEST(ProgramTime, EveryPauseIsVirtual) {
    EXPECT_EQ(ProbeRun().Says("pause:90000 until:3600 selectpause:400 pollpause:700"),
              "pause:90000 = 0 (90000 ms)\n"
              "until:3600 = 0 (3600000 ms)\n"
              "selectpause:400 = 0 (400 ms)\n"
              "pollpause:700 = 0 (700 ms)\n");
}

TEST(ProgramTime, ItsDateBeginsInTheYear2024) {
    EXPECT_EQ(ProbeRun().Says("date pause:61000 date"),
              "date = 2024-01-01 00:00:00\n"
              "pause:61000 = 0 (61000 ms)\n"
              "date = 2024-01-01 00:01:01\n");
}

TEST(ProgramTime, ALoopThatOnlyLooksAtTheClockComesToAnEnd) {
    EXPECT_EQ(ProbeRun().Says("spin:20"), "spin:20 = done (20 ms)\n");
}

TEST(ProgramEnd, AChildGoesOnWhereItsParentStood) {
    EXPECT_EQ(ProbeRun().InLoader().Says(
                  "open:/dev/ttyS1:rw raw:9600:E:1:0 write:80 fork:5 read:1 _exit:7", 5),
              "open:/dev/ttyS1:rw = open\n"
              "raw:9600:E:1:0 = 0\n"
              "write:80 = 1\n"
              "fork:5 = child\n"
              "read:1 = 1 90 (2 ms)\n"
              "child ended 7\n");
}

class EndsTest : public testing::TestWithParam<std::pair<const char*, int>> {};

TEST_P(EndsTest, TheTranscriptIsWholeHoweverTheProgramEnds) {
    const auto [word, status] = GetParam();
    ProbeRun run;
    run.InLoader().Says(std::string("open:/dev/ttyS1:rw raw:9600:E:1:0 write:80 ") + word, status);
    EXPECT_EQ(run.Calls(),
              (std::vector<std::string>{"open /dev/ttyS1 O_RDWR = 0",
                                        "tcsetattr /dev/ttyS1 9600 8E1 iflag=020 oflag=04 "
                                        "lflag=05060 cread clocal hupcl vmin=1 vtime=0 = 0",
                                        "write /dev/ttyS1 80 = 1"}));
}

INSTANTIATE_TEST_SUITE_P(ProgramEnd, EndsTest,
                         testing::Values(std::pair("_exit:3", 3), std::pair("quick_exit:4", 4),
                                         std::pair("abort", 134), std::pair("date", 0)),
                         [](const auto& test) {
                             const std::string word = test.param.first;
                             return word.substr(word.front() == '_' ? 1 : 0,
                                                word.find(':') - (word.front() == '_' ? 1 : 0));
                         });

TEST(ProgramsOfOneRun, OneAfterTheOtherFindsTheBoardAsTheOtherLeftIt) {
    ProbeRun run;
    const runs::Ended ended =
        run.Run({"sh", "-c",
                 "printf 86 > /sys/class/gpio/export && cat /sys/class/gpio/gpio86/direction && "
                 "printf out > /sys/class/gpio/gpio86/direction; "
                 "cat /sys/class/gpio/gpio86/direction; printf 86 | tee /sys/class/gpio/export"});
    EXPECT_EQ(ended.output, "in\nout\n86");
    EXPECT_NE(ended.error.find("busy"), std::string::npos) << ended.error;
}

TEST(ProgramsOfOneRun, LineSettingsOutliveTheProgramThatMadeThem) {
    ProbeRun run;
    const runs::Ended ended =
        run.Run({"sh", "-c", "stty -F /dev/ttyS1 raw 19200 parenb && stty -F /dev/ttyS1 speed"});
    EXPECT_EQ(ended.output, "19200\n") << ended.error;
}

TEST(ProgramsOfOneRun, AProgramInheritsAnOpenPort) {
    ProbeRun run;
    const runs::Ended ended = run.Run({"sh", "-c", "stty speed < /dev/ttyS1"});
    EXPECT_EQ(ended.output, "9600\n") << ended.error;
}

TEST(ProgramsOfOneRun, TimeGoesOnFromOneToTheNext) {
    ProbeRun run;
    const runs::Ended ended =
        run.Run({"sh", "-c", "date -u +%T; sleep 75; date -u +%T; sleep 75; date -u +%T"});
    EXPECT_EQ(ended.output, "00:00:00\n00:01:15\n00:02:30\n") << ended.error;
}

}  // namespace
}  // namespace tty
