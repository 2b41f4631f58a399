// SPDX-License-Identifier: MIT

// docs/FAULTS.md: its tables are the program's own, and everything it shows is run.

#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "tests/faults/FaultRun.h"
#include "tests/runs/Lines.h"
#include "tests/runs/Process.h"
#include "vboard/faults/FaultTable.h"
#include "vboard/text/Format.h"

namespace faults {
namespace {

const std::string& Page() {
    static const std::string page = runs::ReadFile(FLASHMCU_SOURCE_DIR "/docs/FAULTS.md");
    return page;
}

/// The page's blocks of a language, joined.
std::string BlocksOf(const std::string& language) {
    std::string text;
    bool within = false;
    for (const std::string& line : runs::LinesOf(Page())) {
        if (line.starts_with("```")) {
            within = line == "```" + language;
        } else if (within) {
            text += line + "\n";
        }
    }
    return text;
}

TEST(FaultsPage, HasEveryPlaceOfTheTableWithItsOutcomesAndExample) {
    for (const vboard::PlaceInfo& place : vboard::AllFaultPlaces()) {
        std::string outcomes;
        for (const vboard::ActionInfo& action : vboard::AllFaultActions()) {
            if (place.Takes(action.action)) {
                outcomes += vboard::Formatted("{}`{}`", outcomes.empty() ? "" : ", ",
                                              vboard::FormOf(action));
            }
        }
        const std::string row = vboard::Formatted("\n| `{}` | {} | {} | `{}` | ", place.word,
                                                  place.meaning, outcomes, place.example);
        EXPECT_NE(Page().find(row), std::string::npos) << "missing: " << row;
    }
}

TEST(FaultsPage, HasEveryOutcomeOfTheTableWithItsExample) {
    for (const vboard::ActionInfo& action : vboard::AllFaultActions()) {
        const std::string row = vboard::Formatted("\n| `{}` | {} | `{}` | ", vboard::FormOf(action),
                                                  action.meaning, action.example);
        EXPECT_NE(Page().find(row), std::string::npos) << "missing: " << row;
    }
}

TEST(FaultsPage, NamesEveryTarget) {
    for (const vboard::AnswerName& name : vboard::AllAnswerNames()) {
        EXPECT_NE(Page().find(vboard::Formatted("`{}`", name.word)), std::string::npos)
            << name.word;
    }
    for (const std::string_view line : vboard::AllFaultLines()) {
        EXPECT_NE(Page().find(vboard::Formatted("`{}`", line)), std::string::npos) << line;
    }
}

TEST(FaultsPage, EveryRuleOfItsTablesStrikesAndEndsAsItSays) {
    const std::regex row("\\| `([^`]*=[^`]*)` \\| ([0-9]+) \\|");
    std::size_t rules = 0;
    for (std::sregex_iterator found(Page().begin(), Page().end(), row), end; found != end;
         ++found) {
        const std::string rule = (*found)[1];
        const runs::Outcome run = RunWith({rule});
        EXPECT_EQ(run.status, std::stoi((*found)[2])) << rule;
        EXPECT_TRUE(FromStrike(run, 1).starts_with("fault   " + rule)) << rule;
        ++rules;
    }
    EXPECT_GE(rules, vboard::AllFaultPlaces().size() + vboard::AllFaultActions().size());
}

TEST(FaultsPage, EveryCommandItShowsRuns) {
    const TempFolder folder;
    static_cast<void>(folder.WriteFile("blinky.hex", runs::Blinky()));
    static_cast<void>(folder.WriteFile("plan.txt", BlocksOf("plan")));
    std::istringstream commands(BlocksOf("sh"));
    std::size_t count = 0;
    for (std::string command; std::getline(commands, command); ++count) {
        const runs::Ended ended = runs::RunProcess({"sh", "-c", command}, folder.PathOf("."));
        EXPECT_TRUE(ended.status < 125 || ended.status == 137 || ended.status == 255)
            << command << "\n"
            << ended.error;
    }
    EXPECT_GE(count, 7U);
}

TEST(FaultsPage, ShowsTheRefusalOfAWrongRuleAsItIs) {
    const TempFolder folder;
    const runs::Ended ended = runs::RunProcess(
        {"vboard", "run", "--fault", "edge:tck=lost", "--", "true"}, folder.PathOf("."));
    EXPECT_EQ(ended.status, 125);
    EXPECT_NE(Page().find("\n" + ended.error), std::string::npos) << ended.error;
}

TEST(FaultsPage, ShowsTheListOfCallsAsItIs) {
    runs::Board board;
    const std::string path = board.PathOf("calls");
    static_cast<void>(board.With("--calls", path).Runs({"-f", runs::BlinkyPath()}));
    std::string beginning;
    std::istringstream calls(runs::ReadFile(path));
    for (std::string line; beginning.empty() || beginning.find("\n4 ") == std::string::npos;) {
        ASSERT_TRUE(std::getline(calls, line));
        beginning += (beginning.empty() ? "" : "\n") + line;
    }
    EXPECT_NE(Page().find("\n" + beginning + "\n"), std::string::npos) << beginning;
}

}  // namespace
}  // namespace faults
