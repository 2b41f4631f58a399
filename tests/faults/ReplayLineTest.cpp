// SPDX-License-Identifier: MIT
#include "vboard/run/ReplayLine.h"

#include <gtest/gtest.h>

#include "tests/runs/Process.h"
#include "tests/support/TempFolder.h"

namespace faults {
namespace {

TEST(ShellWord, IsQuotedOnlyWhereItMustBe) {
    EXPECT_EQ(vboard::ShellQuoted("read:/dev/ttyS1=eio"), "read:/dev/ttyS1=eio");
    EXPECT_EQ(vboard::ShellQuoted("read#3=eio"), "'read#3=eio'");
    EXPECT_EQ(vboard::ShellQuoted("short 1"), "'short 1'");
    EXPECT_EQ(vboard::ShellQuoted(""), "''");
    EXPECT_EQ(vboard::ShellQuoted("it's"), "'it'\\''s'");
}

TEST(ShellWord, ComesBackFromTheShellAsItWent) {
    const TempFolder folder;
    for (const std::string word :
         {"a b", "it's", "$HOME", "`x`", "*", "a\\b", "\"q\"", "#", "~", "a\nb", "!x", "é"}) {
        EXPECT_EQ(runs::RunProcess({"sh", "-c", "printf %s " + vboard::ShellQuoted(word)},
                                   folder.PathOf("."))
                      .output,
                  word);
    }
}

TEST(ReplayLineText, NamesEverythingThatDecidesTheRun) {
    vboard::RunOptions options;
    options.boardPath = "my board";
    options.settings = {"model=BRDC", "silent=yes"};
    options.timeLimitSeconds = 2.5;
    options.noiseRate = 0.001;
    options.noiseSeed = 7;
    options.outputPaths[vboard::Output::kTranscript] = "t";
    options.outputPaths[vboard::Output::kCalls] = "c";
    options.quiet = true;
    options.program = {"flashmcu", "-f", "a b.hex"};
    EXPECT_EQ(vboard::ReplayLine(options, {"answer:write#2=nak"}),
              "vboard run --board 'my board' --option model=BRDC --option silent=yes --time-limit "
              "2.5 --fault 'answer:write#2=nak' --noise 0.001 --seed 7 -- flashmcu -f 'a b.hex'");
}

}  // namespace
}  // namespace faults
