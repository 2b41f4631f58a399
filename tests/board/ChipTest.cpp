// SPDX-License-Identifier: MIT
#include "vboard/chip/Chip.h"

#include <gtest/gtest.h>

#include <string>

#include "support/ChipBench.h"

namespace {

using bench::ChipBench;
using bench::ChipSetup;
using vboard::ChipMode;
using vboard::ChipState;
using vboard::Pin;
using vboard::PinLevel;
using namespace std::chrono_literals;

constexpr PinLevel kLow = PinLevel::kLow;
constexpr PinLevel kHigh = PinLevel::kHigh;

TEST(ChipTest, TheWayIntoTheLoaderAndOutAgainIsAnnouncedInOrder) {
    ChipBench bench;
    bench.Drive("hold tck0 rst0 free tck1 tck0 tck1 tck0 rst1 tck1 rst0 rst1");
    EXPECT_EQ(bench.probe.TimedText(),
              "1000 chip_hold=1; 1000 chip_mode=reset; 2000 chip_tck=0; 3000 chip_rst_nmi=0; "
              "4000 chip_hold=0; 5000 chip_tck=1; 6000 chip_tck=0; 7000 chip_tck=1; "
              "8000 chip_tck=0; 9000 chip_rst_nmi=1; 9000 chip_mode=armed; 10000 chip_tck=1; "
              "10000 chip_mode=loader; 10000 loader_state=sync; 11000 chip_rst_nmi=0; "
              "11000 chip_mode=reset; 11000 loader_state=off; 12000 chip_rst_nmi=1; "
              "12000 chip_mode=application");
}

TEST(ChipTest, TheSameLevelAgainIsNotAnnounced) {
    ChipBench bench;
    bench.chip.SetPin(Pin::kHold, kLow);
    bench.chip.SetPin(Pin::kRstNmi, kHigh);
    bench.chip.SetPin(Pin::kTck, kHigh);
    EXPECT_EQ(bench.probe.Text(), "");
}

TEST(ChipTest, BothResetInputsEndTheLoader) {
    for (const char* edge : {"hold", "rst0"}) {
        ChipBench bench;
        bench.EnterLoader().Drive(edge);
        EXPECT_EQ(bench.Mode(), ChipMode::kReset) << edge;
        bench.Type({0x80});
        EXPECT_EQ(bench.Said(), "") << edge;
    }
}

TEST(ChipTest, RestoringAnnouncesEverySignalOnce) {
    ChipBench bench;
    bench.chip.Restore({ChipMode::kLoader, kLow, kHigh, kHigh, 0, true});
    EXPECT_EQ(bench.probe.Text(),
              "chip_hold=0; chip_rst_nmi=1; chip_tck=1; chip_mode=loader; loader_state=sync; "
              "loader_locked=0; chip_busy=0");
}

TEST(ChipTest, EveryKeptStateComesBackAsItWas) {
    const ChipState states[] = {
        {ChipMode::kApplication, kLow, kHigh, kHigh, 0, false},
        {ChipMode::kApplication, kLow, kHigh, kLow, 0, false},
        {ChipMode::kLoader, kLow, kHigh, kHigh, 0, false},
        {ChipMode::kLoader, kLow, kHigh, kHigh, 0, true},
        {ChipMode::kArmed, kLow, kHigh, kLow, 0, false},
        {ChipMode::kStopped, kLow, kHigh, kHigh, 0, false},
        {ChipMode::kReset, kHigh, kHigh, kHigh, 0, false},
        {ChipMode::kReset, kLow, kLow, kLow, 2, false},
        {ChipMode::kUnpowered, kLow, kHigh, kHigh, 0, false},
    };
    for (const ChipState& state : states) {
        ChipBench bench;
        bench.chip.Restore(state);
        EXPECT_EQ(bench.chip.State(), state) << static_cast<int>(state.mode);
    }
}

TEST(ChipTest, AKeptStateThatItsPinsContradictIsPutRightByThePins) {
    const auto restored = [](const ChipState& state, const ChipSetup& setup = {}) {
        ChipBench bench(setup);
        bench.chip.Restore(state);
        return bench.Mode();
    };
    EXPECT_EQ(restored({ChipMode::kApplication, kHigh, kHigh, kHigh, 0, false}), ChipMode::kReset);
    EXPECT_EQ(restored({ChipMode::kLoader, kLow, kLow, kHigh, 0, true}), ChipMode::kReset);
    EXPECT_EQ(restored({ChipMode::kReset, kLow, kHigh, kHigh, 2, false}), ChipMode::kApplication);
    EXPECT_EQ(restored({ChipMode::kArmed, kLow, kHigh, kHigh, 2, false}), ChipMode::kApplication);
    EXPECT_EQ(restored({ChipMode::kReset, kLow, kHigh, kHigh, 0, false}, ChipSetup().Erased()),
              ChipMode::kStopped);
}

TEST(ChipTest, AKeptCountOfFallsIsOfAChipInResetByItsPinAlone) {
    const auto kept = [](const ChipState& state) {
        ChipBench bench;
        bench.chip.Restore(state);
        return int{bench.chip.State().tckFalls};
    };
    EXPECT_EQ(kept({ChipMode::kReset, kLow, kLow, kHigh, 1, false}), 1);
    EXPECT_EQ(kept({ChipMode::kReset, kLow, kLow, kHigh, 7, false}), 2);
    EXPECT_EQ(kept({ChipMode::kReset, kHigh, kLow, kHigh, 2, false}), 0);
    EXPECT_EQ(kept({ChipMode::kUnpowered, kLow, kLow, kHigh, 2, false}), 0);
    EXPECT_EQ(kept({ChipMode::kApplication, kLow, kHigh, kLow, 2, false}), 0);
}

TEST(ChipTest, AKeptArmedChipEntersTheLoaderWithTheRiseOfTck) {
    ChipBench bench;
    bench.chip.Restore({ChipMode::kArmed, kLow, kHigh, kLow, 0, false});
    bench.Drive("tck1");
    EXPECT_EQ(bench.Mode(), ChipMode::kLoader);
}

TEST(ChipTest, BeforeAnythingIsRestoredItRunsNothingAndTakesAnyInput) {
    vboard::VirtualClock clock;
    vboard::Probe probe;
    vboard::Faults faults;
    std::array<std::uint8_t, vboard::kMemorySizeBytes> memory{};
    std::array<std::uint32_t, vboard::kMostSegments> eraseWords{};
    vboard::Chip chip(clock, probe, faults, vboard::DefaultChipModel(), {}, memory, eraseWords);
    chip.Receive({0x80, false, false});
    chip.ReceiveMessage({});
    chip.UpdateMemory();
    chip.SetPower(false);
    chip.SetPower(false);
    EXPECT_EQ(chip.State().mode, ChipMode::kUnpowered);
}

TEST(ChipTest, PowerThatGoesEndsEverythingAndPowerThatComesStartsTheApplication) {
    ChipBench bench;
    bench.EnterLoader().Unlock();
    bench.probe.Clear();
    bench.chip.SetPower(false);
    bench.chip.SetPower(true);
    EXPECT_EQ(bench.probe.Text(),
              "chip_mode=unpowered; loader_locked=1; loader_state=off; chip_mode=application");
}

TEST(ChipTest, WithoutPowerNothingMoves) {
    ChipBench bench;
    bench.chip.SetPower(false);
    bench.Drive("rst0 tck0 tck1 tck0 rst1 tck1");
    bench.Type({0x80});
    bench.Settle();
    EXPECT_EQ(bench.Mode(), ChipMode::kUnpowered);
    EXPECT_EQ(bench.Said(), "");
    std::uint16_t version = 0;
    EXPECT_FALSE(bench.chip.RunningVersion(version));
}

TEST(ChipTest, PowerThatComesIntoResetWaitsThere) {
    ChipBench bench;
    bench.chip.SetPower(false);
    bench.Drive("rst0");
    bench.chip.SetPower(true);
    EXPECT_EQ(bench.Mode(), ChipMode::kReset);
    bench.Drive("rst1");
    EXPECT_EQ(bench.Mode(), ChipMode::kApplication);
}

TEST(ChipTest, PowerThatComesToAnErasedChipStopsIt) {
    ChipBench bench(ChipSetup().Erased());
    bench.chip.SetPower(false);
    bench.chip.SetPower(true);
    EXPECT_EQ(bench.Mode(), ChipMode::kStopped);
}

TEST(ChipTest, PowerThatIsThereAlreadyChangesNothing) {
    ChipBench bench;
    bench.EnterLoader();
    bench.chip.SetPower(true);
    EXPECT_EQ(bench.Mode(), ChipMode::kLoader);
}

TEST(ChipTest, AChipThatIsTakenAwayLeavesNothingBehindOnTheClock) {
    vboard::VirtualClock clock;
    {
        vboard::Probe probe;
        vboard::Faults faults;
        std::array<std::uint8_t, vboard::kMemorySizeBytes> memory{};
        std::array<std::uint32_t, vboard::kMostSegments> eraseWords{};
        vboard::ChipOptions options;
        options.chatterPeriod = 1ms;
        options.minimumPulse = 1ms;
        vboard::Chip chip(clock, probe, faults, vboard::DefaultChipModel(), options, memory,
                          eraseWords);
        chip.Restore({});
        chip.ReceiveMessage(bench::FromHex("b4 00"));
        chip.SetPin(Pin::kTck, kLow);
        vboard::Chip loader(clock, probe, faults, vboard::DefaultChipModel(), {}, memory,
                            eraseWords);
        loader.Restore({ChipMode::kLoader, kLow, kHigh, kHigh, 0, false});
        loader.Receive({0x80, false, false});
    }
    EXPECT_EQ(clock.RunUntil([] { return false; }, std::nullopt),
              vboard::VirtualClock::Waited::kNothingLeft);
    EXPECT_EQ(clock.Now(), vboard::Instant{});
}

TEST(ChipTest, AWholeReprogrammingLeavesTheNewFirmwareRunning) {
    ChipBench bench(ChipSetup().Holding(0xFFE0, bench::Repeat(0x42, 30)));
    bench.EnterLoader();
    EXPECT_EQ(bench.Ask(bench::MassEraseFrame()), "90");
    bench.Drive("rst0 rst1");
    EXPECT_EQ(bench.Mode(), ChipMode::kStopped);
    bench.EnterLoader();
    EXPECT_EQ(bench.Ask(bench::PasswordFrame(bench::Repeat(0xFF, 32))), "90");
    for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(bench.Ask(bench::FromHex("80 16 04 04 00 21 04 a5 7f 69")), "90");
    }
    EXPECT_EQ(bench.Ask(bench::FromHex("80 12 06 06 00 21 02 00 34 12 4f d8")), "90");
    EXPECT_EQ(bench.Ask(bench::WriteFrame(0xFFFE, {0x02, 0x21})), "90");
    bench.Drive("rst0 rst1");
    std::uint16_t version = 0;
    EXPECT_TRUE(bench.chip.RunningVersion(version));
    EXPECT_EQ(version, 0x1234);
}

}  // namespace
