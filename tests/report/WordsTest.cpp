// SPDX-License-Identifier: MIT
#include "guard/report/Words.h"

#include <gtest/gtest.h>

namespace guard {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

TEST(AFailuresSentence, SaysWhatIsWrongAndTheChipsStateAndWhatToDo) {
    Verdict verdict;
    verdict.status = Status::kNoAnswer;
    verdict.chip = ChipState::kAsItWas;
    verdict.problem = "no chip answers";
    verdict.remedy = "look at its supply";
    EXPECT_EQ(FailureSentence(verdict),
              "no chip answers; the chip is as it was; look at its supply");
    verdict.remedy.clear();
    verdict.problem.clear();
    verdict.chip = ChipState::kUnknown;
    EXPECT_EQ(FailureSentence(verdict), "no-answer; what the chip holds is not known");
}

TEST(AResultsLine, SaysWhatWasDone) {
    Verdict verdict;
    verdict.imageBytes = 194;
    verdict.blocks = 14;
    verdict.imageVersion = 7;
    verdict.versionBefore = 6;
    verdict.loader = LoaderIdentity{0xF249, 0x1203};
    verdict.bytesRead = 100;
    const auto line = [&](Outcome outcome) {
        verdict.outcome = outcome;
        return ResultLine(verdict);
    };
    EXPECT_EQ(line(Outcome::kInstalled), "installed version 7: 194 bytes in 14 blocks, read back");
    EXPECT_EQ(line(Outcome::kCurrent), "current: the chip runs version 7 already");
    EXPECT_EQ(line(Outcome::kEqual), "equal: the chip holds the image, all 194 bytes");
    EXPECT_EQ(line(Outcome::kDifferent), "different: the chip does not hold the image");
    EXPECT_EQ(line(Outcome::kRead), "read 100 bytes");
    EXPECT_EQ(line(Outcome::kTold), "loader 12.03, chip F249; the firmware runs, version 6");
    EXPECT_EQ(line(Outcome::kErased), "erased, and proved so");
    EXPECT_EQ(line(Outcome::kReleased), "released: lines and switch are let go of");
    EXPECT_EQ(line(Outcome::kChecked), "well: version 7, 194 bytes");
    EXPECT_EQ(line(Outcome::kListed), "");
    verdict.loader = LoaderIdentity{0xF149, 0x0110};
    verdict.versionBefore.reset();
    EXPECT_EQ(line(Outcome::kTold), "loader 1.10, chip F149; no firmware answers");
    verdict.loader.reset();
    EXPECT_EQ(line(Outcome::kTold), "no firmware answers");
    EXPECT_EQ(line(Outcome::kReset),
              "reset: the chip answers; this board has no way to ask its firmware");
    verdict.versionAfter = 8;
    EXPECT_EQ(line(Outcome::kReset), "reset: the firmware runs, version 8");
    verdict.retries = 2;
    verdict.reentries = 1;
    verdict.totalNs = 9'870'000'000;
    EXPECT_EQ(line(Outcome::kInstalled),
              "installed version 7: 194 bytes in 14 blocks, read back, 2 retries, 1 new sessions, "
              "9.8 s");
}

TEST(APhase, HasWordsOfItsOwn) {
    std::string words;
    for (std::size_t phase = 0; phase < kPhaseCount; ++phase) {
        words += std::string(WordsFor(static_cast<Phase>(phase))) + "\n";
    }
    EXPECT_EQ(words,
              "Waiting for the port\nAsking the firmware\nEntering the loader\nErasing\n"
              "Proving it is erased\nWriting\nReading back\nWriting the vectors\n"
              "Starting the firmware\nLetting go\nReading\n");
}

TEST(ATime, IsShownAsCloselyAsItMatters) {
    EXPECT_EQ(TimeText(50ms), "0.0 s");
    EXPECT_EQ(TimeText(99'999ms), "99.9 s");
    EXPECT_EQ(TimeText(100s), "100 s");
    EXPECT_EQ(TimeText(599s), "599 s");
    EXPECT_EQ(TimeText(600s), "10 min");
}

}  // namespace
}  // namespace guard
