// SPDX-License-Identifier: MIT
#include "vboard/faults/NoiseSource.h"

#include <gtest/gtest.h>

#include <set>

#include "vboard/faults/FaultPlan.h"
#include "vboard/faults/FaultPlanParser.h"
#include "vboard/probe/Probe.h"

namespace vboard {
namespace {

constexpr std::uint32_t kReading =
    BitOf(FaultAction::kErrno) | BitOf(FaultAction::kShort) | BitOf(FaultAction::kBytes);
constexpr std::uint32_t kOnTheWire =
    BitOf(FaultAction::kChange) | BitOf(FaultAction::kLate) | BitOf(FaultAction::kPowerOff);

/// The first strikes of a source, one a line, with the number of their event.
std::string StrikesOf(double rate, std::uint64_t seed, int events, std::uint32_t actions = kReading,
                      std::size_t sizeBytes = 16) {
    NoiseSource noise(rate, seed);
    std::string text;
    for (int event = 1; event <= events; ++event) {
        if (const auto outcome = noise.Strike(actions, sizeBytes)) {
            text += std::to_string(event) + " " + OutcomeText(*outcome) + "\n";
        }
    }
    return text;
}

TEST(Noise, IsTheSameForTheSameSeedOnEveryMachine) {
    EXPECT_EQ(StrikesOf(0.05, 7, 100),
              "2 enoent\n"
              "43 short 15\n"
              "68 short 5\n"
              "79 bytes ed\n");
    EXPECT_EQ(StrikesOf(1.0, 1, 12, kReading, 3),
              "1 short 0\n2 eio\n3 eio\n4 enodev\n5 short 1\n6 eintr\n7 enodev\n8 eacces\n"
              "9 short 1\n10 short 2\n11 ebusy\n12 eacces\n");
    EXPECT_EQ(StrikesOf(1.0, 1, 12, kReading, 0),
              "1 short 0\n2 bytes 80\n3 eio\n4 enodev\n5 short 0\n6 bytes f1\n7 enodev\n"
              "8 eacces\n9 short 0\n10 bytes 8a 84\n11 short 0\n12 eacces\n");
    EXPECT_EQ(StrikesOf(1.0, 1, 6, kOnTheWire),
              "1 change 5e\n2 power off 49000000ns\n3 power off 21000000ns\n"
              "4 power off 371000000ns\n5 change a8\n6 power off 242000000ns\n");
}

TEST(Noise, IsAnotherForAnotherSeed) {
    EXPECT_NE(StrikesOf(0.05, 7, 1000), StrikesOf(0.05, 8, 1000));
}

TEST(Noise, OfRateNoneNeverStrikesAndOfRateOneAlways) {
    EXPECT_EQ(StrikesOf(0.0, 7, 1000), "");
    NoiseSource always(1.0, 7);
    for (int event = 0; event < 1000; ++event) {
        ASSERT_TRUE(always.Strike(kReading, 16).has_value());
    }
}

TEST(Noise, StrikesAboutAsOftenAsItsRateSays) {
    NoiseSource noise(0.1, 1);
    int strikes = 0;
    for (int event = 0; event < 10000; ++event) {
        strikes += noise.Strike(kReading, 16).has_value() ? 1 : 0;
    }
    EXPECT_GT(strikes, 900);
    EXPECT_LT(strikes, 1100);
}

TEST(Noise, ChoosesAmongAllThatCanHappenAndNothingElse) {
    NoiseSource noise(1.0, 3);
    std::set<FaultAction> seen;
    for (int event = 0; event < 200; ++event) {
        seen.insert(noise.Strike(kReading, 16)->action);
    }
    EXPECT_EQ(seen, (std::set{FaultAction::kErrno, FaultAction::kShort, FaultAction::kBytes}));
}

TEST(Noise, EveryStrikeIsNotedAsTheRuleThatOrdersIt) {
    class Notes : public Probe {
    public:
        void OnNote(std::string_view room, std::string_view text) override {
            EXPECT_EQ(room, "fault");
            constexpr std::string_view kBeginning = "noise ";
            ASSERT_TRUE(text.starts_with(kBeginning)) << text;
            FaultRule rule;
            std::string problem;
            EXPECT_TRUE(ParseFaultRule(text.substr(kBeginning.size()), rule, problem)) << problem;
            seen.insert(rule.place);
        }
        std::set<FaultPlace> seen;
    } notes;
    class Control : public FaultControl {
        void SetPower(bool /*on*/) override {}
        void Kill() override {}
    } control;
    VirtualClock clock;
    FaultPlan plan({}, {});
    plan.SetNoise(NoiseSource(1.0, 5));
    plan.Begin(clock, notes, control);
    for (int event = 0; event < 100; ++event) {
        static_cast<void>(plan.FaultOfCall(CallKind::kRead, "/dev/ttyS1", 16));
        static_cast<void>(plan.FaultOfCall(CallKind::kPause, "", 0));
        static_cast<void>(plan.FaultOfCharacter(event % 2 == 0, 0x80));
        static_cast<void>(plan.FaultOfAnswer(0x80, 0, {}));
        static_cast<void>(plan.CellAfterProgramming(0x2100, 0xFF, 0));
        static_cast<void>(plan.CellAfterErase(0x2100, 0));
        static_cast<void>(plan.EdgeArrives("reset_gpio", event % 2 == 0));
    }
    EXPECT_EQ(notes.seen, (std::set{FaultPlace::kCall, FaultPlace::kCharacter, FaultPlace::kAnswer,
                                    FaultPlace::kCell, FaultPlace::kEdge}));
}

TEST(Noise, StrikesWhereNoRuleDoes) {
    std::vector<FaultRule> rules(1);
    std::string problem;
    ASSERT_TRUE(ParseFaultRule("read=enoent", rules.front(), problem));
    FaultPlan plan(rules, {});
    plan.SetNoise(NoiseSource(1.0, 5));
    EXPECT_EQ(plan.FaultOfCall(CallKind::kRead, "/dev/ttyS1", 16).kind, CallFault::Kind::kErrno);
    EXPECT_EQ(plan.Strikes(), 1U);
    static_cast<void>(plan.FaultOfCall(CallKind::kRead, "/dev/ttyS1", 16));
    EXPECT_EQ(plan.Strikes(), 2U);
}

}  // namespace
}  // namespace vboard
