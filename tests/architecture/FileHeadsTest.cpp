// SPDX-License-Identifier: MIT
#include "tests/architecture/FileHeads.h"

namespace architecture {
namespace {

std::vector<Finding> Licence(const std::string& path, const std::string& text) {
    return CheckLicenceLines({MakeFile(path, text)});
}

TEST(FileHeads, EverySourceNamesItsLicence) {
    EXPECT_TRUE(Nothing(CheckLicenceLines(Repository())));
}

TEST(FileHeads, EveryHeaderIsGuarded) {
    EXPECT_TRUE(Nothing(CheckGuards(Repository())));
}

TEST(FileHeads, EverySourceIncludesItsOwnHeaderFirst) {
    EXPECT_TRUE(Nothing(CheckOwnHeaderFirst(Repository())));
}

TEST(FileHeadsRule, KnowsTheCommentOfEachLanguage) {
    EXPECT_TRUE(Licence("a.cpp", "// SPDX-License-Identifier: MIT\n").empty());
    EXPECT_TRUE(Licence("a.ld", "/* SPDX-License-Identifier: MIT */\n").empty());
    EXPECT_TRUE(Licence("CMakeLists.txt", "# SPDX-License-Identifier: MIT\n").empty());
    EXPECT_TRUE(Licence("run", "#!/bin/sh\n# SPDX-License-Identifier: MIT\n").empty());
    EXPECT_TRUE(Licence("README.md", "# Title\n").empty());
}

TEST(FileHeadsRule, FindsAMissingOrDisplacedLicence) {
    EXPECT_EQ(Licence("a.cpp", "#include <vector>\n").size(), 1U);
    EXPECT_EQ(Licence("a.cpp", "\n// SPDX-License-Identifier: MIT\n").size(), 1U);
    EXPECT_EQ(Licence("a.cpp", "// SPDX-License-Identifier: BSD\n").size(), 1U);
    EXPECT_EQ(Licence("a.ld", "// SPDX-License-Identifier: MIT\n").size(), 1U);
    const auto script = Licence("run", "#!/bin/sh\nset -e\n");
    ASSERT_EQ(script.size(), 1U);
    EXPECT_EQ(script[0].line, 2);
    EXPECT_EQ(script[0].remedy, "write: # SPDX-License-Identifier: MIT");
}

TEST(FileHeadsRule, FindsAHeaderWithoutAGuard) {
    EXPECT_EQ(CheckGuards({MakeFile("a.h", "// x\nclass A;\n")}).size(), 1U);
    EXPECT_TRUE(CheckGuards({MakeFile("a.h", "// x\n#pragma once\n")}).empty());
    EXPECT_TRUE(
        CheckGuards({MakeFile("a.h", "// x\n#ifndef FLASHMCU_A_H\n#define FLASHMCU_A_H\n#endif\n")})
            .empty());
}

TEST(FileHeadsRule, FindsASourceWhoseOwnHeaderComesLater) {
    const SourceFile header = MakeFile("room/A.h", "");
    const auto findings = CheckOwnHeaderFirst(
        {header, MakeFile("room/A.cpp", "\n#include <vector>\n#include \"room/A.h\"\n")});
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].line, 2);
    EXPECT_TRUE(
        CheckOwnHeaderFirst({header, MakeFile("room/A.cpp", "#include \"room/A.h\"\n")}).empty());
    EXPECT_TRUE(CheckOwnHeaderFirst({MakeFile("room/B.cpp", "#include <vector>\n")}).empty());
}

}  // namespace
}  // namespace architecture
