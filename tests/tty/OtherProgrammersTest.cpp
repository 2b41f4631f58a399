// SPDX-License-Identifier: MIT

// Programmers for other chips open the port, find nobody who speaks their protocol, and say so.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/runs/Lines.h"
#include "tests/tty/ProbeRun.h"

namespace tty {
namespace {

using runs::Has;

TEST(OtherProgrammers, Stm32flashTimesOut) {
    if (!IsInstalled("stm32flash")) {
        GTEST_SKIP() << "stm32flash is missing (scripts/install-packages test)";
    }
    ProbeRun run;
    const runs::Ended ended = run.Run({"stm32flash", "/dev/ttyS1"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_TRUE(Has(ended.output, "Interface serial_posix: 57600 8E1")) << ended.output;
    EXPECT_TRUE(Has(ended.error, "Failed to init device, timeout.")) << ended.error;
    const auto calls = run.Calls();
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(calls.back(), "close /dev/ttyS1 = 0");
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "write /dev/ttyS1 7f = 1"), 2);
}

TEST(OtherProgrammers, Stm32flashIsRefusedByALoaderOfAnotherFamily) {
    if (!IsInstalled("stm32flash")) {
        GTEST_SKIP() << "stm32flash is missing (scripts/install-packages test)";
    }
    ProbeRun run;
    const runs::Ended ended = run.InLoader().Run({"stm32flash", "-b", "9600", "/dev/ttyS1"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_TRUE(Has(ended.error, "Failed to init device")) << ended.error;
}

TEST(OtherProgrammers, AvrdudeTimesOut) {
    if (!IsInstalled("avrdude")) {
        GTEST_SKIP() << "avrdude is missing (scripts/install-packages test)";
    }
    ProbeRun run;
    const runs::Ended ended =
        run.Run({"avrdude", "-p", "m328p", "-c", "arduino", "-P", "/dev/ttyS1"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_TRUE(Has(ended.error, "not in sync")) << ended.error;
    EXPECT_TRUE(Has(ended.error, "unable to open programmer arduino on port /dev/ttyS1"))
        << ended.error;
}

TEST(OtherProgrammers, AvrdudeFindsNoPortThatTheBoardDoesNotHave) {
    if (!IsInstalled("avrdude")) {
        GTEST_SKIP() << "avrdude is missing (scripts/install-packages test)";
    }
    ProbeRun run;
    const runs::Ended ended =
        run.Run({"avrdude", "-p", "m328p", "-c", "arduino", "-P", "/dev/ttyS9"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_TRUE(Has(ended.error, "No such file or directory")) << ended.error;
}

}  // namespace
}  // namespace tty
