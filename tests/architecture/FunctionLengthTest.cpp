// SPDX-License-Identifier: MIT
#include "tests/architecture/FunctionLength.h"

namespace architecture {
namespace {

/// A function of that many lines, head and closing brace among them.
std::string FunctionOf(int lines) {
    std::string text = "int Work() {\n";
    for (int i = 2; i < lines; ++i) {
        text += "    Step();\n";
    }
    return text + "}\n";
}

/// "name@line+lines" for each function.
std::string Found(const std::string& code) {
    std::string text;
    for (const Function& function : FunctionsOf(MakeFile("a.cpp", code))) {
        text += function.name + "@" + std::to_string(function.line) + "+" +
                std::to_string(function.lines) + " ";
    }
    return text;
}

TEST(FunctionLength, EveryFunctionFitsOnAPage) {
    EXPECT_TRUE(Nothing(CheckFunctionLength(
        Repository(), ParseReasoned(ReadRepositoryFile("tests/architecture/long-functions.txt")))));
}

TEST(FunctionLength, TheFinderSeesTheToolsFunctions) {
    std::size_t count = 0;
    for (const SourceFile& file : Repository()) {
        count += file.IsCpp() && file.IsIn("flashmcu") ? FunctionsOf(file).size() : 0;
    }
    EXPECT_GT(count, 60U);
}

TEST(FunctionLengthRule, FindsTheFirstLengthThatIsTooMuch) {
    EXPECT_TRUE(CheckFunctionLength({MakeFile("a.cpp", FunctionOf(69))}, {}).empty());
    const auto findings = CheckFunctionLength({MakeFile("a.cpp", "\n" + FunctionOf(70))}, {});
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].line, 2);
    EXPECT_EQ(findings[0].what, "Work has 70 lines, too many from 70");
}

TEST(FunctionLengthRule, AllowsAnExceptionAndFindsOneThatIsNotNeeded) {
    const std::vector<Reasoned> allowed{{"a.cpp:Work", "one table"}};
    EXPECT_TRUE(CheckFunctionLength({MakeFile("a.cpp", FunctionOf(99))}, allowed).empty());
    EXPECT_EQ(CheckFunctionLength({MakeFile("a.cpp", FunctionOf(9))}, allowed).size(), 1U);
}

TEST(FunctionLengthRule, FindsFunctionsInClassesAndNamespaces) {
    EXPECT_EQ(Found("namespace a {\nclass B {\n    int C() const { return 1; }\n};\n}\n"
                    "int a::B::D()\n    const {\n}\n"),
              "C@3+1 a::B::D@6+3 ");
}

TEST(FunctionLengthRule, FindsConstructorsWithInitializers) {
    EXPECT_EQ(Found("A::A(int b) : m_b{b}, m_c(b) {\n    Use();\n}\nA::~A() {}\n"),
              "A::A@1+3 A::~A@4+1 ");
}

TEST(FunctionLengthRule, CountsLambdasIntoTheFunctionAroundThem) {
    EXPECT_EQ(Found("void A() {\n    Call([] {\n        if (x) {\n        }\n    });\n}\n"),
              "A@1+6 ");
}

TEST(FunctionLengthRule, IsNotMisledByTablesEnumerationsAndMacros) {
    EXPECT_EQ(Found("enum class E { kA, kB };\n"
                    "constexpr Row kRows[] = {{1, \"}\"}, {2, \"{\"}};\n"
                    "#define OPEN {\n"
                    "int A() {\n}\n"
                    "TEST(Suite, Name) {\n}\n"),
              "A@4+2 TEST@6+2 ");
}

}  // namespace
}  // namespace architecture
