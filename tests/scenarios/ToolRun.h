// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tests/runs/Board.h"
#include "tests/runs/Compare.h"
#include "tests/runs/Conversation.h"
#include "tests/runs/ToolLog.h"

// How a run of the tool ends.
namespace scenarios {

constexpr int kSuccess = 0;
constexpr int kFailure = 255;

/// The log of a reset.
inline const std::string kResetLog =
    runs::DetectionLog() + runs::Say("verbose", "Resetting MSP...");

/// The run ended with this status, said `log` and nothing else, and did exactly this.
inline void ExpectRun(const runs::Outcome& run, int status, const std::string& log,
                      const runs::Conversation& expected) {
    EXPECT_EQ(run.status, status);
    runs::ExpectSame(run.log, log);
    EXPECT_EQ(run.error, "");
    runs::ExpectSame(run.Conversation(), expected.Text());
}

}  // namespace scenarios
