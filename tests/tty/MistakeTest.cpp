// SPDX-License-Identifier: MIT

// A mistake of vboard's own is neither a wrong answer nor an exception in somebody else's program.

#include <gtest/gtest.h>

#include "tests/tty/ProbeRun.h"

namespace tty {
namespace {

/// How a run ends in which the program comes upon a mistake.
runs::Ended WithMistakes(const std::string& word) {
    ProbeRun run;
    return run.With("--library", MISTAKEN_LIBRARY).Run({CALL_PROBE, word});
}

TEST(OwnMistakes, WhatDoesNotHoldEndsTheRunWithALine) {
    const runs::Ended ended = WithMistakes("sync");
    EXPECT_EQ(ended.status, 125);
    EXPECT_EQ(ended.output, "");
    EXPECT_EQ(ended.error.rfind("vboard: a mistake of its own at 0.000000 s of virtual time: a "
                                "file of the board is open on a board that has been made (",
                                0),
              0U)
        << ended.error;
    EXPECT_NE(ended.error.find("vboard/process/World.h:"), std::string::npos) << ended.error;
}

TEST(OwnMistakes, AnExceptionEndsTheRunWithALineAndReachesNobody) {
    const runs::Ended ended = WithMistakes("hostid");
    EXPECT_EQ(ended.status, 125);
    EXPECT_EQ(ended.output, "");
    EXPECT_EQ(
        ended.error.rfind(
            "vboard: a mistake of its own at 0.000000 s of virtual time: thrown by mistake (", 0),
        0U)
        << ended.error;
}

}  // namespace
}  // namespace tty
