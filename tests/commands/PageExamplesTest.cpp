// SPDX-License-Identifier: MIT

// The pages on the virtual board show commands in fenced blocks of kind "sh". They work, in the
// order of the page.

#include <gtest/gtest.h>

#include "tests/commands/BoardFolder.h"
#include "tests/runs/Lines.h"

namespace commands {
namespace {

std::vector<std::string> CommandsOf(const std::string& page) {
    std::vector<std::string> commands;
    bool inside = false;
    for (const std::string& line : runs::LinesOf(page)) {
        if (line.starts_with("```")) {
            inside = line == "```sh";
        } else if (inside) {
            commands.push_back(line);
        }
    }
    return commands;
}

TEST(PageExamples, AreTheLinesOfShellBlocks) {
    EXPECT_EQ(CommandsOf("a\n```sh\nb c\n```\n```\nd\n```\n"), std::vector<std::string>{"b c"});
}

class PageExamplesTest : public testing::TestWithParam<const char*> {};

TEST_P(PageExamplesTest, Work) {
    BoardFolder folder;
    const std::string image = runs::ReadFile(BoardFolder::Blinky());
    for (const char* name : {"firmware.hex", "blinky.hex"}) {
        folder.Overwrite(name, {image.begin(), image.end()});
    }
    const std::vector<std::string> commands =
        CommandsOf(runs::ReadFile(std::string(FLASHMCU_SOURCE_DIR "/docs/") + GetParam() + ".md"));
    EXPECT_FALSE(commands.empty());
    for (const std::string& command : commands) {
        const runs::Ended ended = runs::RunProcess({"bash", "-c", command}, folder.PathOf("."));
        EXPECT_EQ(ended.status, 0) << command << "\n" << ended.output << ended.error;
    }
}

INSTANTIATE_TEST_SUITE_P(Docs, PageExamplesTest,
                         testing::Values("BOARD", "SUMMARY", "TRANSCRIPT", "WAVEFORMS"),
                         [](const auto& test) { return std::string(test.param); });

}  // namespace
}  // namespace commands
