// SPDX-License-Identifier: MIT

// Random faults from the command line.

#include <gtest/gtest.h>

#include <set>

#include "tests/faults/FaultRun.h"

namespace faults {
namespace {

runs::Outcome Noisy(const std::string& rate, const std::string& seed) {
    return runs::Board()
        .With("--noise", rate)
        .With("--seed", seed)
        .Runs({"-f", runs::BlinkyPath()});
}

TEST(NoisyRun, IsTheSameForTheSameSeedToTheByte) {
    for (const char* seed : {"1", "2", "18446744073709551615"}) {
        const runs::Outcome first = Noisy("0.002", seed);
        const runs::Outcome second = Noisy("0.002", seed);
        EXPECT_EQ(first.status, second.status);
        EXPECT_EQ(first.output, second.output);
        EXPECT_EQ(first.transcript, second.transcript);
        EXPECT_GT(Strikes(first), 0U) << seed;
    }
}

TEST(NoisyRun, IsAnotherForAnotherSeed) {
    std::set<std::string> transcripts;
    for (const char* seed : {"1", "2", "3", "4", "5"}) {
        transcripts.insert(Noisy("0.005", seed).transcript);
    }
    EXPECT_EQ(transcripts.size(), 5U);
}

TEST(NoisyRun, OfRateNoneIsARunWithoutFaults) {
    const runs::Outcome quiet = runs::Board().With("--noise", "0").Runs({"-f", runs::BlinkyPath()});
    EXPECT_EQ(quiet.transcript, RunWith({}).transcript);
}

// Every strike of a noisy run, ordered as the rules that the transcript names, gives the same run.
TEST(NoisyRun, IsMadeAgainByTheRulesThatItsTranscriptNames) {
    for (const char* seed : {"1", "2", "3", "5", "8", "13", "21", "34", "55", "89"}) {
        const runs::Outcome noisy = Noisy("0.003", seed);
        std::vector<std::string> rules;
        std::string expected = noisy.transcript;
        const std::string kMark = "fault   noise ";
        for (std::size_t at = 0; (at = expected.find(kMark, at)) != std::string::npos;) {
            expected.erase(at + std::string("fault   ").size(), std::string("noise ").size());
            const std::size_t rule = at + std::string("fault   ").size();
            rules.push_back(expected.substr(rule, expected.find('\n', rule) - rule));
            at = rule;
        }
        EXPECT_EQ(RunWith(rules).transcript, expected) << seed;
    }
}

// Blinky has its vectors last, so that a success means the whole image.
TEST(NoisyRun, EndsInOneOfTheKnownWays) {
    const std::set<int> kKnown{0, 255, 124, 137};
    int successes = 0;
    for (int seed = 1; seed <= 50; ++seed) {
        runs::Board board;
        board.With("--noise", "0.003").With("--seed", std::to_string(seed));
        const runs::Outcome run = board.Runs({"-f", runs::BlinkyPath()});
        EXPECT_TRUE(kKnown.contains(run.status)) << seed << ": " << run.status;
        if (run.status == 0) {
            ++successes;
            EXPECT_EQ(board.DifferenceFrom(runs::Blinky()), "") << seed;
        }
    }
    EXPECT_GT(successes, 0);
}

}  // namespace
}  // namespace faults
