// SPDX-License-Identifier: MIT
#include "tests/architecture/ImportedSymbols.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <stdexcept>

#include "tests/architecture/Exports.h"

namespace architecture {
namespace {

std::string OutputOf(const std::string& command) {
    std::FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        throw std::runtime_error("can't run " + command);
    }
    std::string output;
    std::array<char, 4096> chunk{};
    for (std::size_t count = 0; (count = std::fread(chunk.data(), 1, chunk.size(), pipe)) > 0;) {
        output.append(chunk.data(), count);
    }
    if (pclose(pipe) != 0) {
        throw std::runtime_error("failed: " + command);
    }
    return output;
}

std::vector<std::string> Imports() {
    return NamesInSymbolTable(
        OutputOf(std::string(NM_PROGRAM) + " -D --undefined-only '" + TOOL_BINARY + "'"));
}

std::vector<std::string> Exports() {
    return ParseExports(ReadRepositoryFile("vboard/front/exports.map"));
}

std::vector<Reasoned> PassedThrough() {
    return ParseReasoned(ReadRepositoryFile("tests/architecture/passed-through.txt"));
}

TEST(ImportedSymbols, TheBoardAnswersWhateverTheToolCallsOrTheListSaysWhyNot) {
    const std::vector<std::string> imports = Imports();
    ASSERT_FALSE(imports.empty()) << TOOL_BINARY << " is linked statically: build it shared";
    EXPECT_TRUE(Nothing(CheckImports(imports, Exports(), PassedThrough())));
}

TEST(ImportedSymbols, NothingIsBothAnsweredAndPassedThrough) {
    EXPECT_TRUE(Nothing(CheckPassedThrough(Exports(), PassedThrough())));
}

TEST(ImportedSymbols, TheBuiltLibraryExportsWhatTheMapSays) {
    const std::string table =
        OutputOf(std::string(NM_PROGRAM) + " -D --defined-only '" + PRELOAD_LIBRARY + "'");
    const std::vector<std::string> built = NamesInSymbolTable(table);
    for (const std::string& name : Exports()) {
        EXPECT_NE(std::find(built.begin(), built.end(), name), built.end())
            << "vboard/front/exports.map:1: the built library does not export " << name;
    }
    EXPECT_EQ(built.size(), Exports().size())
        << "vboard/front/exports.map:1: the built library exports more than that:\n"
        << table;
}

TEST(ImportedSymbolsRule, ReadsNamesWithoutTheirVersions) {
    EXPECT_EQ(NamesInSymbolTable("                 U open@GLIBC_2.2.5\n"
                                 "0000000000001139 T main\n"
                                 "                 w __gmon_start__\n"),
              (std::vector<std::string>{"open", "main", "__gmon_start__"}));
}

TEST(ImportedSymbolsRule, FindsACallThatNobodyAnswers) {
    const auto findings =
        CheckImports({"open", "printf", "_ZdlPv", "poll"}, {"open"},
                     {{"printf", "standard output"}, {"_Z*", "C++ run-time library"}});
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].what, "the tool calls poll, which the board does not answer");
}

TEST(ImportedSymbolsRule, FindsANameThatIsAnsweredAndListed) {
    EXPECT_EQ(CheckPassedThrough({"open", "read"}, {{"read", "outdated"}}).size(), 1U);
}

TEST(ImportedSymbolsRule, RefusesAListEntryWithoutAReason) {
    EXPECT_THROW(static_cast<void>(ParseReasoned("poll\n")), std::runtime_error);
    EXPECT_THROW(static_cast<void>(ParseReasoned("poll   \n")), std::runtime_error);
}

}  // namespace
}  // namespace architecture
