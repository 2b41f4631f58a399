// SPDX-License-Identifier: MIT

// What a program calls from the middle of the board's own work.

#include <gtest/gtest.h>

#include "tests/tty/ProbeRun.h"

namespace tty {
namespace {

TEST(AProgramsOwnAllocator, MayAskForTheTimeFromTheMiddleOfACall) {
    ProbeRun run;
    const runs::Ended ended = run.InLoader().Run({ALLOCATOR_PROBE});
    EXPECT_EQ(ended.output, "read 90\n") << ended.error;
}

}  // namespace
}  // namespace tty
