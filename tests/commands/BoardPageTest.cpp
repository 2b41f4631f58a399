// SPDX-License-Identifier: MIT

// docs/BOARD.md: its tables are the program's own, and what it shows works.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "tests/commands/BoardFolder.h"
#include "vboard/board/BoardSetup.h"
#include "vboard/board/StartState.h"

namespace commands {
namespace {

const std::string& Page() {
    static const std::string page = scenario::ReadFile(FLASHMCU_SOURCE_DIR "/docs/BOARD.md");
    return page;
}

std::size_t CountRows(const std::string& heading) {
    const std::size_t begin = Page().find(heading);
    const std::size_t end = Page().find("\n\n", begin);
    std::istringstream lines(Page().substr(begin, end - begin));
    std::size_t count = 0;
    for (std::string line; std::getline(lines, line);) {
        count += line.starts_with("| `") ? 1U : 0U;
    }
    return count;
}

TEST(BoardPage, HasEveryStartState) {
    for (const vboard::StartStateInfo& state : vboard::AllStartStates()) {
        const std::string row = fmt::format("\n| `{}` | {} |\n", state.name, state.meaning);
        EXPECT_NE(Page().find(row), std::string::npos) << "missing: " << row;
    }
    EXPECT_EQ(CountRows("| state |"), vboard::AllStartStates().size());
}

TEST(BoardPage, HasEveryOption) {
    const auto board = vboard::BoardSetup::BoardOptions();
    const auto chip = vboard::AllChipOptions();
    for (const auto& rows : {board, chip}) {
        for (const vboard::ChipOptionInfo& option : rows) {
            const std::string row = fmt::format("\n| `{}` | ", option.key);
            EXPECT_NE(Page().find(row), std::string::npos) << "missing: " << row;
        }
    }
    EXPECT_EQ(CountRows("| option |"), board.size() + chip.size());
}

TEST(BoardPage, ItsExamplesWork) {
    BoardFolder folder;
    const auto image = scenario::ReadFile(BoardFolder::Blinky());
    folder.Overwrite("firmware.hex", {image.begin(), image.end()});
    const std::size_t begin = Page().find("```sh\n") + 6;
    std::istringstream lines(Page().substr(begin, Page().find("```", begin) - begin));
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count) {
        ASSERT_TRUE(line.starts_with("vboard ")) << line;
        const scenario::Ended ended = folder.Vboard(line.substr(7));
        EXPECT_EQ(ended.status, 0) << line << "\n" << ended.error;
    }
    EXPECT_GE(count, 9);
}

}  // namespace
}  // namespace commands
