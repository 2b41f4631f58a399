// SPDX-License-Identifier: MIT
#include "tests/architecture/OutsideReferences.h"

namespace architecture {
namespace {

std::size_t Count(const std::string& line) {
    return CheckOutsideReferences({MakeFile("notes.md", "\n" + line + "\n")}).size();
}

TEST(OutsideReferences, TheRepositoryExplainsItself) {
    EXPECT_TRUE(Nothing(CheckOutsideReferences(Repository())));
}

TEST(OutsideReferencesRule, FindsPapersAndMachinePaths) {
    EXPECT_EQ(Count(std::string("as the sp") + "ec has it"), 1U);
    EXPECT_EQ(Count(std::string("The Speci") + "fication says"), 1U);
    EXPECT_EQ(Count(std::string("see Pa") + "rt 4.1"), 1U);
    EXPECT_EQ(Count(std::string("cd /wo") + "rk/main"), 1U);
    EXPECT_EQ(Count(std::string("cp ../sha") + "red/notes ."), 1U);
}

TEST(OutsideReferencesRule, LetsCommonWordsPass) {
    EXPECT_EQ(Count("-m: Specifies the module; a specific part, 4 of them"), 0U);
    EXPECT_EQ(Count("inspect network/work/units, /dev/ttyS1 and /usr/lib"), 0U);
    EXPECT_EQ(Count(".section .text"), 0U);
}

}  // namespace
}  // namespace architecture
