// SPDX-License-Identifier: MIT
#include "tests/architecture/BannedCalls.h"

namespace architecture {
namespace {

std::vector<Finding> Check(const std::string& path, const std::string& line,
                           const std::vector<Reasoned>& allowed = {}) {
    return CheckBannedCalls({MakeFile(path, "\n" + line + "\n")}, allowed);
}

std::vector<Finding> CheckLine(const std::string& line) {
    return Check("vboard/chip/Bad.cpp", line);
}

TEST(BannedCalls, TheVirtualBoardDependsOnItsInputsAlone) {
    EXPECT_TRUE(Nothing(CheckBannedCalls(
        Repository(),
        ParseReasoned(ReadRepositoryFile("tests/architecture/banned-calls-allowed.txt")))));
}

TEST(BannedCallsRule, NamesFileLineAndRemedy) {
    const auto findings = CheckLine("auto now = std::chrono::steady_clock::now();");
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].file, "vboard/chip/Bad.cpp");
    EXPECT_EQ(findings[0].line, 2);
    EXPECT_EQ(findings[0].what, "banned (clock): steady_clock");
    EXPECT_EQ(findings[0].remedy, "ask the board's VirtualClock");
}

TEST(BannedCallsRule, FindsEachKind) {
    for (const char* line :
         {"const auto now = time(nullptr);", "clock_gettime(CLOCK_REALTIME, &now);", "sleep(1);",
          "std::this_thread::sleep_for(1s);", "std::thread worker(Work);", "std::mutex m_lock;",
          "std::random_device seed;", "return rand();", "std::unordered_map<int, int> m_pins;",
          "fmt::print(\"{}\", fmt::ptr(this));", "printf(\"%p\", this);"}) {
        EXPECT_EQ(CheckLine(line).size(), 1U) << line;
    }
}

TEST(BannedCallsRule, LetsMembersWordsAndCommentsPass) {
    for (const char* line :
         {"Real().usleep(length);", "row.time(x);", "Duration CharacterTime() const;",
          "// time(nullptr) would not do", "Say(\"sleep(1)\");", "std::map<int, int> m_pins;",
          "const auto uptime = Uptime(now);"}) {
        EXPECT_TRUE(CheckLine(line).empty()) << line;
    }
}

TEST(BannedCallsRule, LooksOnlyAtTheVirtualBoard) {
    EXPECT_TRUE(Check("bench/Speed.cpp", "const auto now = time(nullptr);").empty());
}

TEST(BannedCallsRule, AllowsAnExceptionOnlyForItsFileAndKind) {
    const std::vector<Reasoned> allowed{{"vboard/front/Pacer.cpp:clock", "real time"}};
    const char* clock = "clock_gettime(CLOCK_MONOTONIC, &now);";
    EXPECT_TRUE(Check("vboard/front/Pacer.cpp", clock, allowed).empty());
    EXPECT_FALSE(Check("vboard/front/Other.cpp", clock, allowed).empty());
    EXPECT_FALSE(Check("vboard/front/Pacer.cpp", "usleep(1);", allowed).empty());
}

TEST(BannedCallsRule, FindsAnExceptionThatNothingNeeds) {
    EXPECT_EQ(Check("vboard/chip/Good.cpp", "", {{"vboard/run:clock", "old"}}).size(), 1U);
}

}  // namespace
}  // namespace architecture
