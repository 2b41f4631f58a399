// SPDX-License-Identifier: MIT
#include "tests/architecture/Oddities.h"

#include <string>

namespace architecture {
namespace {

const std::string kComment = "// Oddity (late-answer): the answer comes late.\n";
const std::string kRow = "| `late-answer` | it is late | `tool/a.cpp` | `Answer.IsLate` | wait |\n";
const std::string kTest = "TEST(Answer, IsLate) {\n}\n";

std::vector<Finding> Check(const std::string& code, const std::string& page,
                           const std::string& test) {
    return CheckOddities({MakeFile("docs/ODDITIES.md", page), MakeFile("tests/ATest.cpp", test),
                          MakeFile("tool/a.cpp", code)});
}

TEST(Oddities, CommentsRowsAndTestsAreInStep) {
    EXPECT_TRUE(Nothing(CheckOddities(Repository())));
}

TEST(Oddities, ACommentWithItsRowAndItsTestIsInStep) {
    EXPECT_TRUE(Nothing(Check(kComment, kRow, kTest)));
}

TEST(Oddities, ACommentWithoutANameIsFound) {
    const auto findings = Check(kComment + "// Oddity: too late.\n", kRow, kTest);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].line, 2);
}

TEST(Oddities, ACommentWithoutARowIsFound) {
    const auto findings = Check(kComment, "", kTest);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].file, "tool/a.cpp");
}

TEST(Oddities, ANameUsedTwiceIsFound) {
    EXPECT_EQ(Check(kComment + kComment, kRow, kTest).size(), 1U);
    EXPECT_EQ(Check(kComment, kRow + kRow, kTest).size(), 1U);
}

TEST(Oddities, ARowWithoutItsCommentIsFound) {
    const auto findings = Check("", kRow, kTest);
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].file, "docs/ODDITIES.md");
}

TEST(Oddities, ARowThatNamesAnotherFileIsFound) {
    const std::string row = "| `late-answer` | late | `tool/b.cpp` | `Answer.IsLate` | wait |\n";
    EXPECT_EQ(Check(kComment, row, kTest).size(), 1U);
}

TEST(Oddities, ARowWhoseTestDoesNotExistIsFound) {
    EXPECT_EQ(Check(kComment, kRow, "TEST(Answer, IsEarly) {\n}\n").size(), 1U);
    EXPECT_EQ(Check(kComment, kRow, "// " + kTest).size(), 1U);
}

TEST(Oddities, ARowWithoutAnAnswerForTheUserIsFound) {
    const std::string row = "| `late-answer` | late | `tool/a.cpp` | `Answer.IsLate` |\n";
    // The row does not count, so the comment has none either.
    EXPECT_EQ(Check(kComment, row, kTest).size(), 2U);
}

}  // namespace
}  // namespace architecture
