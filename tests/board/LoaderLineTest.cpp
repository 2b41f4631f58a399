// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "support/ChipBench.h"
#include "vboard/chip/BootLoader.h"

// The loader on its line: sync, frame, answer, and all that can come in between. What the commands
// do is tried in LoaderCommandsTest.

namespace {

using bench::Bytes;
using bench::ChipBench;
using bench::ChipSetup;
using bench::Frame;
using bench::FromHex;
using bench::MassEraseFrame;
using bench::VersionRequestFrame;
using bench::WriteFrame;
using vboard::AnswerFault;
using vboard::ChipMode;
using vboard::Duration;
using vboard::Instant;
using namespace std::chrono_literals;

constexpr Duration kCharacterTime = vboard::SerialFormat{}.CharacterTime();

class LoaderLineTest : public testing::Test {
protected:
    LoaderLineTest() {
        m_bench.EnterLoader();
        m_bench.probe.Clear();
    }
    ChipBench m_bench;
};

TEST_F(LoaderLineTest, ASyncIsAnsweredAtTheInstantItHasArrived) {
    m_bench.Type({0x80});
    EXPECT_EQ(m_bench.Said(), "90");
    EXPECT_EQ(m_bench.SaidAt(), m_bench.clock.Now());
}

TEST_F(LoaderLineTest, OneSyncAndOneFrameGoThroughTheStatesInOrder) {
    m_bench.Sync();
    m_bench.Type(FromHex("80 18 04 04 00 ff 06 a5 7d b9"));
    m_bench.Settle();
    EXPECT_EQ(m_bench.probe.Text(),
              "80 sync -> 90; loader_state=answering; loader_state=frame; "
              "loader_state=working; chip_busy=1; chip_busy=0; 18 mass erase -> 90; "
              "loader_state=answering; loader_state=sync");
}

TEST_F(LoaderLineTest, TheTimesOfAWriteAreThoseOfTheLineAndTheFlash) {
    m_bench.Unlock();
    m_bench.Said();
    m_bench.clock.Pass(10ms);
    const Instant start = m_bench.clock.Now();
    m_bench.Sync();
    EXPECT_EQ(m_bench.clock.Now(), start + 2 * kCharacterTime) << "0x80 there, 0x90 back";
    m_bench.Type(WriteFrame(0x3000, FromHex("01 02 03 04")));
    m_bench.Settle();
    EXPECT_EQ(m_bench.SaidAt(), start + (2 + 14) * kCharacterTime + 2 * 87500ns);
    EXPECT_EQ(m_bench.clock.Now(), m_bench.SaidAt() + kCharacterTime);
}

TEST_F(LoaderLineTest, WhatIsNoSyncIsIgnoredAndNoted) {
    for (int value = 0; value < 256; ++value) {
        if (value != 0x80) {
            m_bench.Type({static_cast<std::uint8_t>(value)});
        }
    }
    EXPECT_EQ(m_bench.Said(), "");
    EXPECT_TRUE(m_bench.probe.Text().starts_with("note chip: character 0x00 ignored: no sync; "));
    m_bench.Sync();
}

TEST_F(LoaderLineTest, ADamagedSyncIsNotAnswered) {
    m_bench.TypeDamaged(0x80);
    m_bench.clock.Pass(kCharacterTime);
    m_bench.Arrives({0x80, false, true});
    EXPECT_EQ(m_bench.Said(), "");
    EXPECT_EQ(m_bench.probe.Text(),
              "note chip: character 0x80 damaged in place of a sync: not answered; "
              "note chip: character 0x80 damaged in place of a sync: not answered");
    m_bench.Sync();
}

TEST_F(LoaderLineTest, AFrameWithoutASyncIsTakenForASyncAndLosesItsSecondCharacter) {
    m_bench.Type(VersionRequestFrame());
    m_bench.Settle();
    EXPECT_EQ(m_bench.Said(), "90 a0");
    EXPECT_EQ(m_bench.probe.Only("note"),
              "note chip: character 0x1e lost: the loader was busy or answering; "
              "note chip: character 0x04 lost: the loader was busy or answering; "
              "note chip: character 0xff ignored: no sync; "
              "note chip: character 0xff ignored: no sync; "
              "note chip: character 0xff ignored: no sync; "
              "note chip: character 0xff ignored: no sync; "
              "note chip: character 0x7b ignored: no sync; "
              "note chip: character 0xe5 ignored: no sync");
}

TEST_F(LoaderLineTest, ASecondSyncIsTakenForTheHeaderOfAFrame) {
    m_bench.Sync();
    m_bench.Type({0x80});
    m_bench.Settle();
    EXPECT_EQ(m_bench.Said(), "");
    m_bench.Type(FromHex("1e 04 04 ff ff ff ff 7b e5"));
    EXPECT_EQ(m_bench.Said().substr(0, 11), "80 00 10 10");
}

TEST_F(LoaderLineTest, ADamagedFrameIsRefusedAtOnceAndTheNextSyncIsTaken) {
    struct Row {
        const char* characters;
        const char* announced;
    };
    for (const Row& row :
         {Row{"90", "00 bad header -> a0"}, Row{"80 12 06 04", "12 bad lengths -> a0"},
          Row{"80 18 04 04 00 ff 06 a5 7d b8", "18 bad checksum -> a0"}}) {
        m_bench.Sync();
        m_bench.probe.Clear();
        m_bench.Type(FromHex(row.characters));
        EXPECT_EQ(m_bench.Said(), "a0");
        EXPECT_EQ(m_bench.SaidAt(), m_bench.clock.Now());
        m_bench.Settle();
        EXPECT_EQ(m_bench.probe.Text(),
                  std::string(row.announced) + "; loader_state=answering; loader_state=sync");
    }
    m_bench.Sync();
}

TEST_F(LoaderLineTest, ADamagedCharacterInAFrameIsRefusedAtOnce) {
    m_bench.Sync();
    m_bench.Type(FromHex("80 18 04"));
    m_bench.TypeDamaged(0x04);
    EXPECT_EQ(m_bench.Said(), "a0");
    m_bench.Settle();
    EXPECT_EQ(m_bench.probe.Only("18"), "18 parity error in a frame -> a0");
    m_bench.Sync();
    m_bench.clock.Pass(kCharacterTime);
    m_bench.Arrives({0x80, false, true});
    EXPECT_EQ(m_bench.Said(), "a0");
}

TEST_F(LoaderLineTest, AFrameThatStopsInTheMiddleIsWaitedForAndFilled) {
    m_bench.Sync();
    m_bench.Type(FromHex("80 18 04 04 00"));
    m_bench.clock.Pass(1h);
    EXPECT_EQ(m_bench.Said(), "");
    m_bench.Type(FromHex("ff 06 a5 7d b9"));
    m_bench.Settle();
    EXPECT_EQ(m_bench.Said(), "90");
}

TEST_F(LoaderLineTest, ACharacterWhoseStartBitFallsIntoAnAnswerIsLost) {
    m_bench.Type({0x80});
    m_bench.clock.Pass(2 * kCharacterTime - 1ns);
    m_bench.Arrives({0x80, false, false});
    EXPECT_EQ(m_bench.probe.Only("note"),
              "note chip: character 0x80 lost: the loader was busy or answering");
    m_bench.Type(MassEraseFrame());
    m_bench.Settle();
    EXPECT_EQ(m_bench.Said(), "90 90");
}

TEST_F(LoaderLineTest, ACharacterThatStartsAsTheAnswerEndsIsHeard) {
    m_bench.Type({0x80});
    m_bench.clock.Pass(2 * kCharacterTime);
    m_bench.Arrives({0x90, false, false});
    EXPECT_EQ(m_bench.Said(), "90 a0");
}

TEST_F(LoaderLineTest, ACharacterOfAFasterHostIsHeardWhenItStartsAfterTheAnswer) {
    m_bench.Type({0x80});
    m_bench.clock.Pass(kCharacterTime);
    EXPECT_EQ(m_bench.Said(), "90");
    const Instant answered = m_bench.clock.Now();
    m_bench.clock.Pass(vboard::TimeOfBits(11, 9700));
    m_bench.Arrives({0x90, false, false}, answered);
    EXPECT_EQ(m_bench.Said(), "a0");
}

TEST_F(LoaderLineTest, WhatComesWhileFlashIsErasedIsLost) {
    m_bench.Sync();
    m_bench.Type(MassEraseFrame());
    m_bench.Type({0x80, 0x80, 0x80});
    m_bench.Settle();
    EXPECT_EQ(m_bench.Said(), "90");
    EXPECT_EQ(m_bench.probe.Only("80"), "80 sync -> 90");
}

TEST_F(LoaderLineTest, OutsideTheLoaderCharactersAreLostAndNoted) {
    ChipBench bench;
    bench.Type({0x80});
    bench.Drive("rst0");
    bench.Type({0x80});
    bench.Settle();
    EXPECT_EQ(bench.Said(), "");
    EXPECT_EQ(bench.probe.Only("note"),
              "note chip: character 0x80 lost: the loader does not run; "
              "note chip: character 0x80 lost: the loader does not run");
}

TEST_F(LoaderLineTest, WithNobodyListeningNoTextIsComposedButCommandsAreTold) {
    m_bench.probe.StopListening();
    m_bench.Type({0x55});
    m_bench.Sync();
    m_bench.Type(MassEraseFrame());
    m_bench.Settle();
    EXPECT_EQ(m_bench.probe.Only("note"), "");
    EXPECT_EQ(m_bench.probe.Only("80"), "80  -> 90");
    EXPECT_EQ(m_bench.probe.Only("18"), "18  -> 90");
}

TEST_F(LoaderLineTest, ADelayBeforeEachAnswerIsAnOption) {
    ChipBench bench(ChipSetup().Option("loader-answer-us", "400"));
    bench.EnterLoader();
    bench.probe.Clear();
    bench.Type({0x80});
    const Instant arrived = bench.clock.Now();
    EXPECT_EQ(bench.Said(), "");
    bench.Settle();
    EXPECT_EQ(bench.Said(), "90");
    EXPECT_EQ(bench.SaidAt(), arrived + 400us);
    EXPECT_EQ(bench.probe.Text(),
              "loader_state=working; 80 sync -> 90; loader_state=answering; loader_state=frame");
}

TEST_F(LoaderLineTest, ASilentChipDoesItsWorkAndSaysNothing) {
    ChipBench bench(ChipSetup().Option("silent", "yes"));
    bench.EnterLoader();
    bench.Type({0x80});
    bench.Type(MassEraseFrame());
    bench.Settle();
    EXPECT_EQ(bench.Said(), "");
    EXPECT_EQ(bench.At(0x2100, 2), "ff ff");
}

TEST_F(LoaderLineTest, WithNobodyAtTheTransmitPinAnswersAreLost) {
    m_bench.chip.ConnectSerial(nullptr);
    m_bench.Type({0x80});
    m_bench.Settle();
    m_bench.Type(MassEraseFrame());
    m_bench.Settle();
    EXPECT_EQ(m_bench.Said(), "");
    EXPECT_EQ(m_bench.At(0x2100, 2), "ff ff");
}

TEST_F(LoaderLineTest, AFaultMayReplaceAnAnswerAndWhatWasDoneStaysDone) {
    m_bench.faults.onAnswer = [](std::uint8_t command, std::uint16_t address,
                                 std::span<const std::uint8_t> answer) -> AnswerFault {
        if (command != 0x18) {
            return {};
        }
        EXPECT_EQ(address, 0xFF00);
        EXPECT_EQ(bench::Hex(answer), "90");
        return {AnswerFault::Kind::kReplaced, {0xA0, 0xA0}, {}};
    };
    EXPECT_EQ(m_bench.Ask(MassEraseFrame()), "a0 a0");
    EXPECT_EQ(m_bench.At(0x2100, 2), "ff ff");
    EXPECT_EQ(m_bench.probe.Only("18"), "18 mass erase -> 90") << "what is true";
    m_bench.Sync();
}

TEST_F(LoaderLineTest, AnAnswerReplacedByNothingIsSilenceAndTheLoaderGoesOn) {
    m_bench.faults.onAnswer = [](std::uint8_t, std::uint16_t, std::span<const std::uint8_t>) {
        return AnswerFault{AnswerFault::Kind::kReplaced, {}, {}};
    };
    m_bench.Type({0x80});
    EXPECT_EQ(m_bench.Said(), "");
    m_bench.faults.onAnswer = nullptr;
    m_bench.Type(MassEraseFrame());
    m_bench.Settle();
    EXPECT_EQ(m_bench.Said(), "90");
}

TEST_F(LoaderLineTest, AFaultMayPutGarbageBeforeAnAnswer) {
    m_bench.faults.onAnswer = [](std::uint8_t, std::uint16_t, std::span<const std::uint8_t>) {
        return AnswerFault{AnswerFault::Kind::kPreceded, {0x00, 0xFE}, {}};
    };
    m_bench.Type({0x80});
    const Instant arrived = m_bench.clock.Now();
    m_bench.Settle();
    EXPECT_EQ(m_bench.Said(), "00 fe 90");
    EXPECT_EQ(m_bench.clock.Now(), arrived + 3 * kCharacterTime);
}

TEST_F(LoaderLineTest, AFaultMayMakeAnAnswerLate) {
    m_bench.faults.onAnswer = [](std::uint8_t, std::uint16_t, std::span<const std::uint8_t>) {
        return AnswerFault{AnswerFault::Kind::kLate, {}, 7ms};
    };
    m_bench.Type({0x80});
    const Instant arrived = m_bench.clock.Now();
    m_bench.Settle();
    EXPECT_EQ(m_bench.Said(), "90");
    EXPECT_EQ(m_bench.SaidAt(), arrived + 7ms);
}

TEST_F(LoaderLineTest, AResetEndsAnAnswerThatIsStillDue) {
    m_bench.faults.onAnswer = [](std::uint8_t, std::uint16_t, std::span<const std::uint8_t>) {
        return AnswerFault{AnswerFault::Kind::kLate, {}, 7ms};
    };
    m_bench.Type({0x80});
    m_bench.Drive("rst0");
    m_bench.Settle();
    EXPECT_EQ(m_bench.Said(), "");
    EXPECT_EQ(m_bench.Mode(), ChipMode::kReset);
}

TEST_F(LoaderLineTest, AResetInTheMiddleOfAFrameForgetsIt) {
    m_bench.Sync();
    m_bench.Type(FromHex("80 18 04 04"));
    m_bench.EnterLoader();
    EXPECT_EQ(m_bench.Ask(VersionRequestFrame()).substr(0, 11), "80 00 10 10");
}

TEST_F(LoaderLineTest, AResetInTheMiddleOfABlockLeavesTheBytesWhoseTimeHadCome) {
    m_bench.Unlock();
    m_bench.Sync();
    m_bench.Type(WriteFrame(0x3000, FromHex("01 02 03 04")));
    m_bench.clock.Pass(140us);
    EXPECT_EQ(m_bench.At(0x3000, 4), "ff ff ff ff") << "not put there before somebody looks";
    m_bench.chip.UpdateMemory();
    EXPECT_EQ(m_bench.At(0x3000, 4), "01 02 03 ff");
    m_bench.probe.Clear();
    m_bench.chip.SetPin(vboard::Pin::kRstNmi, vboard::PinLevel::kLow);
    m_bench.Settle();
    EXPECT_EQ(m_bench.At(0x3000, 4), "01 02 03 ff");
    EXPECT_EQ(m_bench.Said(), "");
    EXPECT_EQ(m_bench.probe.Text(),
              "chip_rst_nmi=0; chip_mode=reset; chip_busy=0; loader_locked=1; loader_state=off");
}

TEST_F(LoaderLineTest, APowerCutInTheMiddleOfAnEraseLeavesItsShareErased) {
    m_bench.Unlock();
    for (std::size_t address = 0x3000; address < 0x3200; ++address) {
        m_bench.memory[address] = 0;
    }
    m_bench.Sync();
    m_bench.Type(Frame(0x16, 0x3000, bench::kSegmentWord));
    m_bench.clock.Pass(4819 * 2500ns / 2);
    m_bench.chip.SetPower(false);
    EXPECT_EQ(m_bench.At(0x30FE, 4), "ff ff 00 00");
    EXPECT_EQ(m_bench.Mode(), ChipMode::kUnpowered);
    EXPECT_FALSE(m_bench.chip.State().loaderUnlocked);
    m_bench.Settle();
    EXPECT_EQ(m_bench.At(0x30FE, 4), "ff ff 00 00");
}

TEST_F(LoaderLineTest, AnUnlockLastsUntilTheNextEntry) {
    m_bench.Unlock();
    EXPECT_EQ(m_bench.Ask(MassEraseFrame()), "90");
    EXPECT_EQ(m_bench.Ask(WriteFrame(0x3000, {1, 2})), "90");
    m_bench.EnterLoader();
    EXPECT_FALSE(m_bench.chip.State().loaderUnlocked);
    EXPECT_EQ(m_bench.Ask(WriteFrame(0x3002, {1, 2})), "a0");
    EXPECT_EQ(m_bench.probe.Only("loader_locked"), "loader_locked=0; loader_locked=1");
}

TEST_F(LoaderLineTest, AFrameWhoseCommandIsTheSyncByteIsAFrame) {
    EXPECT_EQ(m_bench.Ask(Frame(0x80, 0, 0)), "a0");
    EXPECT_EQ(m_bench.probe.Only("80 command"),
              "80 command 0x80: not a command of this loader -> a0");
    m_bench.Sync();
}

TEST_F(LoaderLineTest, ARestoredLoaderHearsASyncAtOnceAndKeepsItsLock) {
    ChipBench bench;
    bench.chip.Restore({ChipMode::kLoader, vboard::PinLevel::kLow, vboard::PinLevel::kHigh,
                        vboard::PinLevel::kHigh, 0, true});
    bench.Arrives({0x80, false, false});
    bench.Settle();
    EXPECT_EQ(bench.Said(), "90");
    bench.Type(WriteFrame(0x3000, {1, 2}));
    bench.Settle();
    EXPECT_EQ(bench.Said(), "90");
}

TEST_F(LoaderLineTest, ARestoredLoaderHearsWhatBeganBeforeIt) {
    m_bench.chip.Restore({ChipMode::kLoader, vboard::PinLevel::kLow, vboard::PinLevel::kHigh,
                          vboard::PinLevel::kHigh, 0, false});
    m_bench.Arrives({0x80, false, false}, Instant{});
    EXPECT_EQ(m_bench.Said(), "90");
}

TEST_F(LoaderLineTest, ALongNoiseNeverStopsItFromTakingACommandAfterAReset) {
    std::uint32_t state = 12345;
    for (int i = 0; i < 20'000; ++i) {
        state = state * 1664525 + 1013904223;
        m_bench.clock.Pass(kCharacterTime);
        const auto value = static_cast<std::uint8_t>((state >> 28) < 4 ? 0x80 : state >> 24);
        m_bench.Arrives({value, (state & 0xF000) == 0, (state & 0xF0000) == 0});
    }
    m_bench.Settle();
    m_bench.Said();
    m_bench.EnterLoader();
    EXPECT_EQ(m_bench.Ask(VersionRequestFrame()).substr(0, 11), "80 00 10 10");
}

}  // namespace
