// SPDX-License-Identifier: MIT
#include "tests/architecture/PageReferences.h"

namespace architecture {
namespace {

std::vector<Finding> Check(const std::string& line) {
    return CheckPageReferences({MakeFile("docs/page.md", "\n" + line + "\n"),
                                MakeFile("vboard/chip/Chip.h", ""),
                                MakeFile("flashmcu/FWU_MSP.cpp", ""),
                                MakeFile("CMakePresets.json", "{ \"name\": \"default\" }")});
}

TEST(PageReferences, EveryPageNamesWhatIsThere) {
    EXPECT_TRUE(Nothing(CheckPageReferences(Repository())));
}

TEST(PageReferencesRule, KnowsFilesFoldersAndLogPaths) {
    EXPECT_TRUE(
        Check("`vboard/chip/Chip.h`, `vboard/chip`, `vboard/` and `flashmcu/FWU_MSP`").empty());
    EXPECT_TRUE(Check("cmake --preset default").empty());
}

TEST(PageReferencesRule, FindsAFileThatIsGone) {
    const auto findings = Check("see `vboard/chip/Chip.h` and `vboard/chip/Core.h`");
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].line, 2);
    EXPECT_EQ(findings[0].what, "there is no vboard/chip/Core.h");
}

TEST(PageReferencesRule, FindsAPresetThatIsGone) {
    EXPECT_EQ(Check("ctest --preset nightly").size(), 1U);
}

}  // namespace
}  // namespace architecture
