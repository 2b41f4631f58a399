// SPDX-License-Identifier: MIT

// The demonstration's command line. What it shows when all is well stands in the README, which a
// test runs.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/runs/Process.h"
#include "tests/support/TempFolder.h"

using runs::Ended;
using runs::RunProcess;

namespace {

void ExpectRefused(std::vector<std::string> arguments, const std::string& problem) {
    const TempFolder folder;
    arguments.insert(arguments.begin(), FLASHMCU_SOURCE_DIR "/demo");
    const Ended ended = RunProcess(arguments, folder.PathOf("."));
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.output, "");
    EXPECT_EQ(ended.error, "./demo: " + problem + "\n");
}

TEST(Demo, WithABadArgumentSaysSoInOneLineAndDoesNothing) {
    ExpectRefused({"--help"}, "there is no option '--help': ./demo [IMAGE.hex]");
    ExpectRefused({"a.hex", "b.hex"}, "takes one image at most: ./demo [IMAGE.hex]");
    ExpectRefused({"missing.hex"}, "there is no image 'missing.hex'");
    ExpectRefused({""}, "there is no image ''");
    ExpectRefused({"."}, "the image '.' is not a file that can be read");
}

}  // namespace
