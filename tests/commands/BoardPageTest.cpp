// SPDX-License-Identifier: MIT

// docs/BOARD.md: its tables are the program's own.

#include <gtest/gtest.h>

#include "tests/commands/BoardFolder.h"
#include "tests/runs/Lines.h"
#include "vboard/board/BoardSetup.h"
#include "vboard/board/StartState.h"
#include "vboard/text/Format.h"

namespace commands {
namespace {

const std::string& Page() {
    static const std::string page = runs::ReadFile(FLASHMCU_SOURCE_DIR "/docs/BOARD.md");
    return page;
}

std::size_t CountRows(const std::string& heading) {
    const std::size_t begin = Page().find(heading);
    const std::size_t end = Page().find("\n\n", begin);
    std::size_t count = 0;
    for (const std::string& line : runs::LinesOf(Page().substr(begin, end - begin))) {
        count += line.starts_with("| `") ? 1U : 0U;
    }
    return count;
}

TEST(BoardPage, HasEveryStartState) {
    for (const vboard::StartStateInfo& state : vboard::AllStartStates()) {
        const std::string row = vboard::Formatted("\n| `{}` | {} |\n", state.name, state.meaning);
        EXPECT_NE(Page().find(row), std::string::npos) << "missing: " << row;
    }
    EXPECT_EQ(CountRows("| state |"), vboard::AllStartStates().size());
}

TEST(BoardPage, HasEveryOption) {
    const auto board = vboard::BoardSetup::BoardOptions();
    const auto chip = vboard::AllChipOptions();
    for (const auto& rows : {board, chip}) {
        for (const vboard::ChipOptionInfo& option : rows) {
            const std::string row = vboard::Formatted("\n| `{}` | ", option.key);
            EXPECT_NE(Page().find(row), std::string::npos) << "missing: " << row;
        }
    }
    EXPECT_EQ(CountRows("| option |"), board.size() + chip.size());
}

}  // namespace
}  // namespace commands
