// SPDX-License-Identifier: MIT

// Runs that end at the command line, and every exit status that it can have.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/runs/Board.h"
#include "tests/runs/ToolLog.h"

using runs::BlinkyPath;
using runs::Board;
using runs::Outcome;
using runs::Reader;
using runs::Say;
using runs::Usage;

namespace {

constexpr int kFailure = 255;

using Arguments = std::vector<std::string>;

/// The run printed this on standard output, failed, and never touched the board.
void ExpectRefused(const Arguments& arguments, const std::string& output,
                   const std::string& errorStart = "") {
    const Outcome run = Board().Runs(arguments);
    SCOPED_TRACE(testing::PrintToString(arguments));
    EXPECT_EQ(run.status, kFailure);
    EXPECT_EQ(run.log, output);
    if (errorStart.empty()) {
        EXPECT_EQ(run.error, "");
    } else {
        EXPECT_TRUE(run.error.starts_with(errorStart)) << run.error;
        EXPECT_EQ(run.error.find('\n'), run.error.size() - 1) << run.error;
    }
    EXPECT_EQ(run.Conversation(), "");
    EXPECT_EQ(run.transcript, "    0.000000 end     exit status 255\n");
}

TEST(CommandLineRun, WithoutArgumentsPrintsTheUsageTextAndFails) {
    ExpectRefused({}, Usage());
}

TEST(CommandLineRun, WithAnUnknownArgumentPrintsTheUsageTextAndFails) {
    for (const Arguments& arguments :
         {Arguments{"-x"}, Arguments{"--help"}, Arguments{""}, Arguments{"image.hex"},
          Arguments{"-v", "-x"}, Arguments{"-f", BlinkyPath(), "more"}, Arguments{"-R"},
          Arguments{"-rv"}}) {
        ExpectRefused(arguments, Usage());
    }
}

TEST(CommandLineRun, WithAnOptionThatLacksItsValuePrintsTheUsageTextAndFails) {
    for (const char* option : {"-m", "-d", "-f", "-c", "-l"}) {
        ExpectRefused({option}, Usage());
        ExpectRefused({"-v", "-r", option}, Usage());
    }
}

TEST(CommandLineRun, WithAValueJoinedToItsOptionPrintsTheUsageTextAndFails) {
    for (const char* argument : {"-mBRDC", "-d/dev/ttyS1", "-fblinky.hex", "-l0x2100", "-f=x"}) {
        ExpectRefused({"-v", argument}, Usage());
    }
}

TEST(CommandLineRun, WithAnUnknownModelSaysSoOnStandardErrorAndPrintsTheUsageText) {
    for (const char* model : {"BRDD", "brda", "BRD", "BRDA ", ""}) {
        ExpectRefused({"-m", model, "-v"}, Usage(), "IP module not supported.: ");
    }
}

TEST(CommandLineRun, WithALocationOutOfRangeSaysSoOnStandardErrorAndPrintsTheUsageText) {
    ExpectRefused({"-l", "18446744073709551616000", "-v"}, Usage(),
                  "Parsing version location: Numerical result out of range");
    ExpectRefused({"-l", "0x1ffffffffffffffffff", "-v"}, Usage(),
                  "Parsing version location: Numerical result out of range");
}

TEST(CommandLineRun, ThatShallProgramWithoutAFilePrintsTheUsageTextAndFails) {
    ExpectRefused({"-F"}, Usage());
    ExpectRefused({"-m", "BRDC"}, Usage());
    ExpectRefused({"-d", "/dev/ttyS1", "-c", "/dev/knxspi", "-l", "0x2100"}, Usage());
}

TEST(CommandLineRun, TakesWhateverFollowsAnOptionAsItsValue) {
    ExpectRefused({"-f", "-F"}, Reader("error", "CIntelHexWrapper::Open failed to open -F") +
                                    Say("error", "Error reading version from HEX file"));
}

TEST(CommandLineRun, WithAnEmptyFileNameFailsAtTheReader) {
    ExpectRefused({"-f", ""}, Reader("error", "CIntelHexWrapper::Open Error empty filename ") +
                                  Say("error", "Error reading version from HEX file"));
}

TEST(CommandLineRun, UsesTheLastOfTwoValues) {
    const Outcome run = Board().Runs({"-c", "/dev/nowhere", "-v", "-c", "/dev/knxspi"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.log, Say("info", "Current MSP version is 256"));
}

}  // namespace
