// SPDX-License-Identifier: MIT
#include "vboard/chip/Application.h"

#include <gtest/gtest.h>

#include <array>

#include "support/ChipBench.h"

namespace {

using bench::Bytes;
using bench::ChipBench;
using bench::ChipSetup;
using vboard::ChipMode;
using vboard::Instant;
using namespace std::chrono_literals;

constexpr std::array<std::uint8_t, 2> kRequest{0xB4, 0x00};

TEST(ApplicationTest, TheVersionIsAnsweredHighByteFirstAfterTheAnswerTime) {
    ChipBench bench(ChipSetup().Holding(0x2100, {0x34, 0x12}));
    bench.chip.ReceiveMessage(kRequest);
    bench.clock.Pass(999us);
    EXPECT_EQ(bench.Said(), "");
    bench.clock.Pass(1us);
    EXPECT_EQ(bench.Said(), "[b5 12 34]");
}

TEST(ApplicationTest, TheAnswerTimeAndTheVersionsPlaceAreOptions) {
    ChipBench bench(ChipSetup()
                        .Option("application-answer-us", "250")
                        .Option("version-address", "0x4000")
                        .Holding(0x4000, {0xCD, 0xAB}));
    bench.chip.ReceiveMessage(kRequest);
    bench.Settle();
    EXPECT_EQ(bench.Said(), "[b5 ab cd]");
    EXPECT_EQ(bench.SaidAt(), Instant(250us));
}

TEST(ApplicationTest, OtherMessagesAreIgnored) {
    ChipBench bench;
    for (const char* message : {"", "b4", "b4 01", "b4 00 00", "b5 00", "00 b4"}) {
        bench.chip.ReceiveMessage(bench::FromHex(message));
    }
    bench.Settle();
    EXPECT_EQ(bench.Said(), "");
    EXPECT_EQ(bench.probe.Only("note chip: application ignores message b4 01"),
              "note chip: application ignores message b4 01");
}

TEST(ApplicationTest, EachRequestGetsItsOwnAnswer) {
    ChipBench bench;
    bench.chip.ReceiveMessage(kRequest);
    bench.clock.Pass(500us);
    bench.chip.ReceiveMessage(kRequest);
    bench.clock.Pass(500us);
    EXPECT_EQ(bench.Said(), "[b5 01 00]");
    bench.clock.Pass(500us);
    EXPECT_EQ(bench.Said(), "[b5 01 00]");
}

TEST(ApplicationTest, AfterAResetTheFirstAnswerWaitsForTheStart) {
    ChipBench bench(ChipSetup().Option("application-start-us", "5000"));
    bench.Drive("rst0 rst1");
    const Instant freed = bench.clock.Now();
    bench.chip.ReceiveMessage(kRequest);
    bench.Settle();
    EXPECT_EQ(bench.Said(), "[b5 01 00]");
    EXPECT_EQ(bench.SaidAt(), freed + 5ms);
}

TEST(ApplicationTest, AResetTakesAnswersUnderWayWithIt) {
    ChipBench bench;
    bench.chip.ReceiveMessage(kRequest);
    bench.chip.SetPin(vboard::Pin::kHold, vboard::PinLevel::kHigh);
    bench.chip.SetPin(vboard::Pin::kHold, vboard::PinLevel::kLow);
    bench.Settle();
    EXPECT_EQ(bench.Said(), "");
    EXPECT_EQ(bench.Mode(), ChipMode::kApplication);
}

TEST(ApplicationTest, WithoutPowerInResetInTheLoaderOrStoppedItDoesNotAnswer) {
    for (const char* pins :
         {"rst0", "hold", "rst0 tck0 tck1 tck0 rst1", "rst0 tck0 tck1 tck0 rst1 tck1"}) {
        ChipBench bench;
        bench.Drive(pins);
        bench.chip.ReceiveMessage(kRequest);
        bench.Settle();
        EXPECT_EQ(bench.Said(), "") << pins;
    }
    ChipBench unpowered;
    unpowered.chip.SetPower(false);
    unpowered.chip.ReceiveMessage(kRequest);
    ChipBench stopped(ChipSetup().Holding(0xFFFE, {0xFF, 0xFF}));
    stopped.Drive("rst0 rst1");
    stopped.chip.ReceiveMessage(kRequest);
    unpowered.Settle();
    stopped.Settle();
    EXPECT_EQ(unpowered.Said() + stopped.Said(), "");
}

TEST(ApplicationTest, AnErasedResetVectorRunsNothing) {
    ChipBench bench(ChipSetup().Erased().Holding(0x2100, {0x34, 0x12}));
    bench.Drive("rst0 rst1");
    EXPECT_EQ(bench.Mode(), ChipMode::kStopped);
    std::uint16_t version = 7;
    EXPECT_FALSE(bench.chip.RunningVersion(version));
    EXPECT_EQ(version, 7);
}

TEST(ApplicationTest, AnyOtherVectorRunsAndItsVersionCanBeAskedFor) {
    for (const Bytes& vector : {Bytes{0xFE, 0xFF}, Bytes{0xFF, 0x00}, Bytes{0x00, 0xFF}}) {
        ChipBench bench(ChipSetup().Erased().Holding(0xFFFE, vector));
        bench.Drive("rst0 rst1");
        std::uint16_t version = 0;
        EXPECT_TRUE(bench.chip.RunningVersion(version));
        EXPECT_EQ(version, 0xFFFF) << "what an erased version word reads as";
    }
}

TEST(ApplicationTest, ASilentChipRunsButNeverAnswers) {
    ChipBench bench(ChipSetup().Option("silent", "yes").Option("chatter-period-us", "100"));
    bench.chip.ReceiveMessage(kRequest);
    bench.Settle();
    EXPECT_EQ(bench.Said(), "");
    std::uint16_t version = 0;
    EXPECT_TRUE(bench.chip.RunningVersion(version));
    EXPECT_EQ(version, 0x0100);
}

TEST(ApplicationTest, AChattererSendsAnUnaskedMessageEveryPeriodUntilReset) {
    ChipBench bench(ChipSetup().Option("chatter-period-us", "300"));
    bench.clock.Pass(299us);
    EXPECT_EQ(bench.Said(), "");
    bench.clock.Pass(1us);
    EXPECT_EQ(bench.Said(), "[b0]");
    bench.clock.Pass(600us);
    EXPECT_EQ(bench.Said(), "[b0][b0]");
    bench.chip.SetPin(vboard::Pin::kRstNmi, vboard::PinLevel::kLow);
    bench.clock.Pass(1ms);
    EXPECT_EQ(bench.Said(), "");
}

TEST(ApplicationTest, WithNobodyOnTheSecondLinkAnswersAreLost) {
    ChipBench bench;
    bench.chip.ConnectMessages(nullptr);
    bench.chip.ReceiveMessage(kRequest);
    bench.Settle();
    EXPECT_EQ(bench.Said(), "");
}

TEST(ApplicationTest, AVersionWordAtTheEndOfMemoryIsReadInBounds) {
    vboard::VirtualClock clock;
    vboard::Probe probe;
    vboard::ChipOptions options;
    options.versionAddress = 0xFFFF;
    std::array<std::uint8_t, vboard::kMemorySizeBytes> memory{};
    memory[0xFFFF] = 0x34;
    memory[0x0000] = 0x12;
    const vboard::Application application(clock, probe, options, memory);
    EXPECT_EQ(application.Version(), 0x1234);
}

}  // namespace
