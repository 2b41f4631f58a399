// SPDX-License-Identifier: MIT
#include "vboard/chip/EntryDetector.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "support/ChipBench.h"

namespace {

using bench::ChipBench;
using vboard::ChipMode;
using vboard::EntryDetector;
using vboard::Pin;
using vboard::PinLevel;
using Verdict = EntryDetector::Verdict;

struct Levels {
    bool hold = false;
    bool rst = true;
    bool tck = true;
    bool power = true;
    [[nodiscard]] bool Free() const { return power && !hold && rst; }
    [[nodiscard]] bool Counting() const { return power && !hold && !rst; }
};

using History = std::vector<Levels>;

// The rule once more, in another way: no state, the whole past is looked at each time.
ChipMode ModeAfter(const History& past) {
    const Levels& now = past.back();
    if (!now.power) {
        return ChipMode::kUnpowered;
    }
    if (!now.Free()) {
        return ChipMode::kReset;
    }
    std::size_t freed = past.size() - 1;
    while (freed > 0 && past[freed - 1].Free()) {
        --freed;
    }
    if (freed == 0 || !past[freed - 1].Counting() || past[freed].tck) {
        return ChipMode::kApplication;
    }
    int falls = 0;
    for (std::size_t i = freed - 1; i > 0 && past[i - 1].Counting(); --i) {
        falls += past[i - 1].tck && !past[i].tck ? 1 : 0;
    }
    if (falls < 2) {
        return ChipMode::kApplication;
    }
    for (std::size_t i = freed; i < past.size(); ++i) {
        if (past[i].tck) {
            return ChipMode::kLoader;
        }
    }
    return ChipMode::kArmed;
}

ChipMode After(ChipMode before, Verdict verdict) {
    switch (verdict) {
        case Verdict::kReset:
            return ChipMode::kReset;
        case Verdict::kArmed:
            return ChipMode::kArmed;
        case Verdict::kLoader:
            return ChipMode::kLoader;
        case Verdict::kApplication:
            return ChipMode::kApplication;
        case Verdict::kNone:
            break;
    }
    return before;
}

PinLevel LevelFor(bool high) {
    return high ? PinLevel::kHigh : PinLevel::kLow;
}

std::string Story(const History& past) {
    std::ostringstream text;
    for (const Levels& levels : past) {
        text << (levels.power ? "" : "off ") << (levels.hold ? "hold " : "") << "rst" << levels.rst
             << " tck" << levels.tck << ", ";
    }
    return text.str();
}

constexpr std::size_t kEdges = 8;
constexpr int kKindsOfEdge = 4;

Levels Toggled(Levels levels, int kind) {
    bool* const wires[] = {&levels.hold, &levels.rst, &levels.tck, &levels.power};
    *wires[kind] = !*wires[kind];
    return levels;
}

Verdict Apply(EntryDetector& detector, const Levels& levels, int kind) {
    switch (kind) {
        case 0:
            return detector.SetPin(Pin::kHold, LevelFor(levels.hold));
        case 1:
            return detector.SetPin(Pin::kRstNmi, LevelFor(levels.rst));
        case 2:
            return detector.SetPin(Pin::kTck, LevelFor(levels.tck));
        default:
            return detector.SetPower(levels.power);
    }
}

// False at the first difference, so that one fault does not print a million lines.
bool AgreeFrom(const EntryDetector& detector, ChipMode mode, History& past, std::size_t& tried) {
    if (past.size() > kEdges) {
        return true;
    }
    for (int kind = 0; kind < kKindsOfEdge; ++kind) {
        EntryDetector next = detector;
        past.push_back(Toggled(past.back(), kind));
        ++tried;
        const Verdict verdict = Apply(next, past.back(), kind);
        const ChipMode nextMode = past.back().power ? After(mode, verdict) : ChipMode::kUnpowered;
        const bool toldRight =
            !past.back().power || (verdict == Verdict::kNone) == (nextMode == mode);
        EXPECT_TRUE(toldRight) << "a verdict without a change: " << Story(past);
        EXPECT_EQ(nextMode, ModeAfter(past)) << Story(past);
        if (!toldRight || nextMode != ModeAfter(past) || !AgreeFrom(next, nextMode, past, tried)) {
            return false;
        }
        past.pop_back();
    }
    return true;
}

TEST(EntryDetectorTest, EverySequenceOfEightEdgesFromEveryStartEndsAsTheRuleSays) {
    std::size_t tried = 0;
    for (int start = 0; start < 16; ++start) {
        History past{{(start & 1) != 0, (start & 2) != 0, (start & 4) != 0, (start & 8) != 0}};
        EntryDetector detector;
        detector.Restore({LevelFor(past[0].hold), LevelFor(past[0].rst), LevelFor(past[0].tck),
                          past[0].power, 0, false});
        if (!AgreeFrom(detector, ModeAfter(past), past, tried)) {
            break;
        }
    }
    EXPECT_EQ(tried, 16U * 87380U);
}

TEST(EntryDetectorTest, TheChipFollowsEverySequenceOfSevenPinEdges) {
    ChipBench bench;
    std::size_t sequences = 0;
    for (int number = 0; number < 2187; ++number) {
        History past{{}};
        bench.chip.Restore({});
        for (int i = 0, rest = number; i < 7; ++i, rest /= 3) {
            past.push_back(Toggled(past.back(), rest % 3));
            const Levels& now = past.back();
            bench.chip.SetPin(Pin::kHold, LevelFor(now.hold));
            bench.chip.SetPin(Pin::kRstNmi, LevelFor(now.rst));
            bench.chip.SetPin(Pin::kTck, LevelFor(now.tck));
            ASSERT_EQ(bench.Mode(), ModeAfter(past)) << Story(past);
        }
        ++sequences;
    }
    EXPECT_EQ(sequences, 2187U);
}

TEST(EntryDetectorTest, TwoFallsInsideResetAndARiseAfterItEnterTheLoader) {
    ChipBench bench;
    bench.Drive("rst0 tck0 tck1 tck0 rst1");
    EXPECT_EQ(bench.Mode(), ChipMode::kArmed);
    bench.Drive("tck1");
    EXPECT_EQ(bench.Mode(), ChipMode::kLoader);
}

TEST(EntryDetectorTest, OneFallIsNotEnoughAndManyAreNotTooMany) {
    ChipBench bench;
    bench.Drive("rst0 tck0 rst1 tck1");
    EXPECT_EQ(bench.Mode(), ChipMode::kApplication);
    std::string many = "rst0";
    for (int i = 0; i < 300; ++i) {
        many += " tck0 tck1";
    }
    bench.Drive(many + " tck0 rst1 tck1");
    EXPECT_EQ(bench.Mode(), ChipMode::kLoader);
}

TEST(EntryDetectorTest, TckHighWhenRstRisesStartsTheApplication) {
    ChipBench bench;
    bench.Drive("rst0 tck0 tck1 tck0 tck1 rst1 tck0 tck1");
    EXPECT_EQ(bench.Mode(), ChipMode::kApplication);
}

TEST(EntryDetectorTest, FallsBeforeResetDoNotCount) {
    ChipBench bench;
    bench.Drive("tck0 tck1 tck0 tck1 rst0 tck0 rst1 tck1");
    EXPECT_EQ(bench.Mode(), ChipMode::kApplication);
}

TEST(EntryDetectorTest, FallsWhileTheBoardHoldsTheChipDoNotCount) {
    ChipBench bench;
    bench.Drive("hold rst0 tck0 tck1 tck0 tck1");
    EXPECT_EQ(bench.chip.State().tckFalls, 0);
    bench.Drive("free tck0 rst1 tck1");
    EXPECT_EQ(bench.Mode(), ChipMode::kApplication);
}

TEST(EntryDetectorTest, HoldingTheChipStartsTheCountAnew) {
    ChipBench bench;
    bench.Drive("rst0 tck0 tck1 hold free tck0 rst1 tck1");
    EXPECT_EQ(bench.Mode(), ChipMode::kApplication);
}

TEST(EntryDetectorTest, FallsWithoutPowerDoNotCount) {
    ChipBench bench;
    bench.Drive("rst0");
    bench.chip.SetPower(false);
    bench.Drive("tck0 tck1 tck0");
    bench.chip.SetPower(true);
    bench.Drive("rst1 tck1");
    EXPECT_EQ(bench.Mode(), ChipMode::kApplication);
}

TEST(EntryDetectorTest, LettingGoOfTheHoldWithRstHighStartsTheApplication) {
    ChipBench bench;
    bench.Drive("hold");
    EXPECT_EQ(bench.Mode(), ChipMode::kReset);
    bench.Drive("free");
    EXPECT_EQ(bench.Mode(), ChipMode::kApplication);
}

TEST(EntryDetectorTest, ResetFromArmedForgetsTheRequest) {
    ChipBench bench;
    bench.Drive("rst0 tck0 tck1 tck0 rst1 rst0 rst1 tck1");
    EXPECT_EQ(bench.Mode(), ChipMode::kApplication);
}

TEST(EntryDetectorTest, OutOfResetNothingIsCounted) {
    ChipBench bench;
    bench.Drive("rst0 tck0 tck1 tck0");
    EXPECT_EQ(bench.chip.State().tckFalls, 2);
    bench.Drive("rst1");
    EXPECT_EQ(bench.chip.State().tckFalls, 0);
    bench.Drive("tck1 tck0 tck1");
    EXPECT_EQ(bench.chip.State().tckFalls, 0);
}

TEST(EntryDetectorTest, EdgesOfTckDoNotDisturbARunningLoader) {
    ChipBench bench;
    bench.EnterLoader().Unlock().Drive("tck0 tck1 tck0 tck1");
    EXPECT_TRUE(bench.chip.State().loaderUnlocked);
}

TEST(EntryDetectorTest, TheSameLevelAgainIsNoEdge) {
    ChipBench bench;
    bench.Drive("rst0 rst0 tck0 tck0 tck0 rst1 tck1");
    EXPECT_EQ(bench.Mode(), ChipMode::kApplication);
}

TEST(EntryDetectorTest, AKeptCountGoesOnFromWhereItWas) {
    ChipBench bench;
    bench.chip.Restore(
        {ChipMode::kReset, PinLevel::kLow, PinLevel::kLow, PinLevel::kHigh, 1, false});
    bench.Drive("tck0 rst1 tck1");
    EXPECT_EQ(bench.Mode(), ChipMode::kLoader);
}

TEST(EntryDetectorTest, ACountFromOutsideThatIsTooLargeSaturates) {
    EntryDetector detector;
    detector.Restore({PinLevel::kLow, PinLevel::kLow, PinLevel::kHigh, true, 255, false});
    EXPECT_EQ(detector.Now().tckFalls, 2);
}

TEST(PulseFilterTest, AFallOfTckShorterThanTheMinimumIsNotSeen) {
    ChipBench bench(bench::ChipSetup().Option("minimum-pulse-us", "100"));
    bench.Drive("rst0 tck0 tck1");
    bench.clock.Pass(std::chrono::milliseconds{1});
    bench.chip.SetPin(Pin::kTck, PinLevel::kLow);
    bench.clock.Pass(std::chrono::microseconds{99});
    bench.chip.SetPin(Pin::kTck, PinLevel::kHigh);
    bench.Drive("tck0");
    EXPECT_EQ(bench.chip.State().tckFalls, 1) << "the long pulse only; the last is on its way";
    bench.Drive("rst1 tck1");
    bench.Settle();
    EXPECT_EQ(bench.Mode(), ChipMode::kLoader);
}

TEST(PulseFilterTest, APulseOfExactlyTheMinimumIsSeen) {
    ChipBench bench(bench::ChipSetup().Option("minimum-pulse-us", "1000"));
    bench.Drive("rst0 tck0 tck1 tck0 rst1 tck1");
    bench.Settle();
    EXPECT_EQ(bench.Mode(), ChipMode::kLoader);
}

TEST(PulseFilterTest, AShortRiseOfRstDoesNotEndReset) {
    ChipBench bench(bench::ChipSetup().Option("minimum-pulse-us", "100"));
    bench.Drive("rst0");
    bench.Settle();
    bench.probe.Clear();
    bench.chip.SetPin(Pin::kRstNmi, PinLevel::kHigh);
    bench.clock.Pass(std::chrono::microseconds{50});
    bench.chip.SetPin(Pin::kRstNmi, PinLevel::kLow);
    bench.Settle();
    EXPECT_EQ(bench.Mode(), ChipMode::kReset);
    EXPECT_EQ(bench.probe.Text(), "chip_rst_nmi=1; chip_rst_nmi=0") << "the pin did move";
}

}  // namespace
