// SPDX-License-Identifier: MIT
#include "tests/architecture/Exports.h"

namespace architecture {
namespace {

constexpr const char* kMapText =
    "# close is named in this comment only\n{\n  global:\n    open; __open_2;\n  local:\n    "
    "*;\n};\n";

SourceTree Seam(const std::string& preload, const std::string& other = "") {
    return {MakeFile("vboard/front/exports.map", kMapText),
            MakeFile("vboard/front/Preload.cpp", preload),
            MakeFile("vboard/host/Other.cpp", other)};
}

constexpr const char* kGoodPreload =
    "#define VBOARD_EXPORT extern \"C\" __attribute__((visibility(\"default\")))\n"
    "VBOARD_EXPORT int open(const char* path, int flags, ...) {\n"
    "    return Real().open(path, flags);\n"
    "}\n"
    "VBOARD_EXPORT int __open_2(const char* path, int flags) {\n"
    "    return Real().open(path, flags);\n"
    "}\n";

TEST(Exports, EveryExportedNameHasAWrapperAndTheOtherWayRound) {
    EXPECT_TRUE(Nothing(CheckWrappers(Repository())));
}

TEST(Exports, EveryRealFunctionIsLookedUp) {
    EXPECT_TRUE(Nothing(CheckRealLibc(Repository())));
}

TEST(Exports, NothingBehindAWrapperCallsAWrappedFunctionDirectly) {
    EXPECT_TRUE(Nothing(CheckWayToLibc(Repository())));
}

TEST(ExportsRule, AcceptsASmallSeam) {
    EXPECT_TRUE(Nothing(CheckWrappers(Seam(kGoodPreload))));
    EXPECT_TRUE(Nothing(CheckWayToLibc(Seam(kGoodPreload))));
}

TEST(ExportsRule, FindsANameWithoutAWrapper) {
    const auto findings = CheckWrappers(Seam("VBOARD_EXPORT int open(const char* path) {\n}\n"));
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].what, "__open_2 has no wrapper");
}

TEST(ExportsRule, FindsAWrapperThatIsNotExported) {
    const auto findings =
        CheckWrappers(Seam(std::string(kGoodPreload) + "\nVBOARD_EXPORT int close(int fd) {\n}\n"));
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].file, "vboard/front/Preload.cpp");
    EXPECT_EQ(findings[0].line, 9);
    EXPECT_EQ(findings[0].what, "close is not exported");
}

TEST(ExportsRule, FindsARealFunctionThatIsNeverLookedUp) {
    const auto findings = CheckRealLibc(
        {MakeFile("vboard/process/RealLibc.h", "int (*open)(const char*);\nint (*close)(int);\n"),
         MakeFile("vboard/process/RealLibc.cpp", "LookUp(real.open, \"open\");\n")});
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].line, 2);
}

TEST(ExportsRule, FindsADirectCallHoweverItIsWritten) {
    for (const char* line : {"open(path, 0);", "x = ::open(path, 0);", "std::open(path, 0);",
                             "if (open(path, 0) < 0) {", "return open (path, 0);"}) {
        EXPECT_EQ(CheckWayToLibc(Seam("", line)).size(), 1U) << line;
    }
}

TEST(ExportsRule, LetsMembersAndLongerNamesPass) {
    for (const char* line : {"Real().open(path, 0);", "file->open(path);", "reopen(path);",
                             "// open(path)", "Say(\"open(path)\");", "Open(path, 0);"}) {
        EXPECT_TRUE(CheckWayToLibc(Seam("", line)).empty()) << line;
    }
}

}  // namespace
}  // namespace architecture
