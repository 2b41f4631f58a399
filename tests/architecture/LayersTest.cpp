// SPDX-License-Identifier: MIT
#include "tests/architecture/Layers.h"

namespace architecture {
namespace {

constexpr const char* kSmallHouse =
    "# A comment.\n"
    "time ->\n"
    "\n"
    "chip -> time <fmt>\n"
    "tests -> * <*>\n";

std::vector<Finding> Includes(const std::string& path, const std::string& line) {
    return CheckIncludes({MakeFile(path, line + "\n")}, ParseLayers(kSmallHouse));
}

std::string Arrows() {
    std::string arrows;
    for (const std::string& line : LinesOf(ReadRepositoryFile("docs/layers.txt"))) {
        arrows += line.empty() || line.front() == '#' ? "" : line + "\n";
    }
    return arrows;
}

TEST(Layers, EveryIncludeFollowsAnArrow) {
    EXPECT_TRUE(Nothing(CheckIncludes(Repository(), ParseLayers(Arrows()))));
}

TEST(Layers, TheArrowsRunOneWay) {
    EXPECT_TRUE(Nothing(CheckArrows(ParseLayers(Arrows()))));
}

TEST(Layers, TheArchitecturePageShowsTheSameArrows) {
    EXPECT_NE(ReadRepositoryFile("docs/ARCHITECTURE.md").find("```\n" + Arrows() + "```\n"),
              std::string::npos)
        << "docs/ARCHITECTURE.md: copy the arrows of docs/layers.txt into its fenced block:\n"
        << Arrows();
}

TEST(LayersRule, AllowsTheOwnFolderTheArrowsAndTheStandardLibrary) {
    EXPECT_TRUE(Includes("chip/Chip.cpp", "#include \"chip/Chip.h\"").empty());
    EXPECT_TRUE(Includes("chip/Chip.cpp", "#include \"time/Clock.h\"").empty());
    EXPECT_TRUE(Includes("chip/Chip.cpp", "#include <vector>").empty());
    EXPECT_TRUE(Includes("chip/Chip.cpp", "#include <fmt/format.h>").empty());
    EXPECT_TRUE(Includes("tests/ChipTest.cpp", "#include \"chip/Chip.h\"").empty());
    EXPECT_TRUE(Includes("tests/ChipTest.cpp", "#include <gtest/gtest.h>").empty());
}

TEST(LayersRule, FindsAnIncludeAgainstTheArrow) {
    const auto findings = Includes("time/Clock.cpp", "\n#include \"chip/Chip.h\"  // back");
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].file, "time/Clock.cpp");
    EXPECT_EQ(findings[0].line, 2);
    EXPECT_EQ(findings[0].what, "time may not include chip");
}

TEST(LayersRule, FindsLibcWhereOnlyTheStandardLibraryIsAllowed) {
    EXPECT_EQ(Includes("chip/Chip.cpp", "#include <unistd.h>").size(), 1U);
    EXPECT_EQ(Includes("chip/Chip.cpp", "#include <sys/mman.h>").size(), 1U);
}

TEST(LayersRule, FindsALibraryThatTheFolderHasNot) {
    EXPECT_EQ(Includes("chip/Chip.cpp", "#include <CLI/CLI.hpp>").size(), 1U);
}

TEST(LayersRule, FindsAnIncludeOfTheTests) {
    EXPECT_EQ(Includes("chip/Chip.cpp", "#include \"tests/Bench.h\"").size(), 1U);
}

TEST(LayersRule, FindsAFolderThatTheListDoesNotKnow) {
    EXPECT_EQ(Includes("attic/Old.cpp", "").size(), 1U);
    EXPECT_EQ(Includes("chip/Chip.cpp", "#include \"attic/Old.h\"").size(), 1U);
}

TEST(LayersRule, FindsAWayRound) {
    const auto findings = CheckArrows(ParseLayers("chip -> time\ntime ->\n"));
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].line, 1);
}

}  // namespace
}  // namespace architecture
