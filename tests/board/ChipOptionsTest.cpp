// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "vboard/chip/ChipModel.h"

namespace {

using vboard::AllChipOptions;
using vboard::ChipOptionInfo;
using vboard::ChipOptions;
using vboard::SetChipOption;
using vboard::WrongPassword;
using namespace std::chrono_literals;

class ChipOptionsTest : public testing::Test {
protected:
    // The problem, or "" when the option was set.
    std::string Set(std::string_view key, std::string_view value) {
        std::string problem;
        const bool set = SetChipOption(m_options, key, value, problem);
        EXPECT_EQ(set, problem.empty());
        return problem;
    }
    ChipOptions m_options;
};

TEST_F(ChipOptionsTest, EveryNeutralValueIsAcceptedAndIsWhatOneHasWithoutIt) {
    for (const ChipOptionInfo& info : AllChipOptions()) {
        EXPECT_EQ(Set(info.key, info.neutral), "") << info.key;
        EXPECT_FALSE(info.meaning.empty());
        EXPECT_FALSE(info.source.empty());
    }
    const ChipOptions neutral;
    EXPECT_EQ(m_options.flashClockHz, neutral.flashClockHz);
    EXPECT_EQ(m_options.cumulativeErase, neutral.cumulativeErase);
    EXPECT_EQ(m_options.minimumPulse, neutral.minimumPulse);
    EXPECT_EQ(m_options.applicationStart, neutral.applicationStart);
    EXPECT_EQ(m_options.applicationAnswer, neutral.applicationAnswer);
    EXPECT_EQ(m_options.loaderAnswer, neutral.loaderAnswer);
    EXPECT_EQ(m_options.versionAddress, neutral.versionAddress);
    EXPECT_EQ(m_options.silent, neutral.silent);
    EXPECT_EQ(m_options.chatterPeriod, neutral.chatterPeriod);
    EXPECT_EQ(m_options.wrongPassword, neutral.wrongPassword);
}

TEST_F(ChipOptionsTest, EachKeySetsItsOwnField) {
    EXPECT_EQ(Set("flash-clock-hz", "257000"), "");
    EXPECT_EQ(Set("cumulative-erase", "yes"), "");
    EXPECT_EQ(Set("minimum-pulse-us", "1"), "");
    EXPECT_EQ(Set("application-start-us", "2"), "");
    EXPECT_EQ(Set("application-answer-us", "3"), "");
    EXPECT_EQ(Set("loader-answer-us", "4"), "");
    EXPECT_EQ(Set("version-address", "0x2200"), "");
    EXPECT_EQ(Set("silent", "yes"), "");
    EXPECT_EQ(Set("chatter-period-us", "500"), "");
    EXPECT_EQ(Set("wrong-password", "erase"), "");
    EXPECT_EQ(m_options.flashClockHz, 257000U);
    EXPECT_EQ(m_options.cumulativeErase, true);
    EXPECT_EQ(m_options.minimumPulse, 1us);
    EXPECT_EQ(m_options.applicationStart, 2us);
    EXPECT_EQ(m_options.applicationAnswer, 3us);
    EXPECT_EQ(m_options.loaderAnswer, 4us);
    EXPECT_EQ(m_options.versionAddress, 0x2200);
    EXPECT_TRUE(m_options.silent);
    EXPECT_EQ(m_options.chatterPeriod, 500us);
    EXPECT_EQ(m_options.wrongPassword, WrongPassword::kErase);
}

TEST_F(ChipOptionsTest, TheWrongPasswordCanBeLeftToThePartAgain) {
    EXPECT_EQ(Set("wrong-password", "nak"), "");
    EXPECT_EQ(m_options.wrongPassword, WrongPassword::kNak);
    EXPECT_EQ(Set("wrong-password", "ack-locked"), "");
    EXPECT_EQ(m_options.wrongPassword, WrongPassword::kAckLocked);
    EXPECT_EQ(Set("wrong-password", "part"), "");
    EXPECT_EQ(m_options.wrongPassword, std::nullopt);
}

TEST_F(ChipOptionsTest, CumulativeEraseCanBeSetEitherWayAndLeftToThePartAgain) {
    EXPECT_EQ(Set("cumulative-erase", "no"), "");
    EXPECT_EQ(m_options.cumulativeErase, false);
    EXPECT_EQ(Set("cumulative-erase", "yes"), "");
    EXPECT_EQ(m_options.cumulativeErase, true);
    EXPECT_EQ(Set("cumulative-erase", "part"), "");
    EXPECT_EQ(m_options.cumulativeErase, std::nullopt);
    EXPECT_EQ(Set("cumulative-erase", "maybe"),
              "chip option 'cumulative-erase' takes part, no, yes, not 'maybe'");
}

TEST_F(ChipOptionsTest, NumbersAreTakenToTheirLimitsAndNotBeyond) {
    EXPECT_EQ(Set("flash-clock-hz", "476000"), "");
    EXPECT_EQ(Set("flash-clock-hz", "476001"),
              "chip option 'flash-clock-hz' takes 257000..476000, not '476001'");
    EXPECT_NE(Set("flash-clock-hz", "256999"), "");
    EXPECT_EQ(Set("minimum-pulse-us", "10000000"), "");
    EXPECT_NE(Set("minimum-pulse-us", "10000001"), "");
    EXPECT_EQ(Set("version-address", "65534"), "");
    EXPECT_NE(Set("version-address", "0xffff"), "");
    EXPECT_EQ(Set("chatter-period-us", "0"), "");
    EXPECT_EQ(Set("chatter-period-us", "100"), "");
    EXPECT_NE(Set("chatter-period-us", "99"), "");
    EXPECT_EQ(m_options.flashClockHz, 476000U) << "a refused value changes nothing";
}

TEST_F(ChipOptionsTest, WhatIsNoNumberIsRefused) {
    for (const char* text : {"", " ", "0x", "-1", "+1", "1 ", " 1", "1us", "one", "0xg", "1.0",
                             "4294967296", "99999999999999999999", "0x0x1"}) {
        EXPECT_NE(Set("minimum-pulse-us", text), "") << '"' << text << '"';
    }
    EXPECT_EQ(m_options.minimumPulse, 0us);
}

TEST_F(ChipOptionsTest, WordsAreTakenAsTheyAreWritten) {
    for (const char* text : {"", "YES", "true", "1", "yes "}) {
        EXPECT_NE(Set("silent", text), "") << '"' << text << '"';
    }
    EXPECT_EQ(Set("wrong-password", "ack"),
              "chip option 'wrong-password' takes part, ack-locked, nak, erase, not 'ack'");
}

TEST_F(ChipOptionsTest, AnUnknownKeyIsRefusedWithThoseThatThereAre) {
    EXPECT_EQ(Set("colour", "blue"),
              "there is no chip option 'colour'; there are flash-clock-hz, cumulative-erase, "
              "minimum-pulse-us, application-start-us, application-answer-us, loader-answer-us, "
              "version-address, silent, chatter-period-us, wrong-password");
}

}  // namespace
