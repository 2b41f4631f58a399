// SPDX-License-Identifier: MIT
#include "vboard/chip/LoaderCommands.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "support/ChipBench.h"
#include "vboard/chip/CommandWords.h"

namespace {

using bench::Bytes;
using bench::ChipBench;
using bench::ChipSetup;
using bench::Frame;
using bench::FromHex;
using bench::MassEraseFrame;
using bench::PasswordFrame;
using bench::Repeat;
using bench::VersionRequestFrame;
using bench::WriteFrame;
using vboard::ChipMode;
using vboard::Instant;
using namespace std::chrono_literals;

using Words = std::vector<std::uint16_t>;

Bytes ErasedPassword() {
    return Repeat(0xFF, 32);
}

ChipSetup Programmed() {
    return ChipSetup().Holding(0xFFE0, Repeat(0x11, 32));
}

class LoaderCommandsTest : public testing::Test {
protected:
    LoaderCommandsTest() : m_bench(Programmed()) { m_bench.EnterLoader(); }
    ChipBench m_bench;
};

TEST_F(LoaderCommandsTest, ThePublishedReadIsAnsweredWithThePublishedFrame) {
    ChipBench bench(
        Programmed().Holding(0x0F00, FromHex("f2 13 40 40 00 00 00 00 00 00 02 01 01 01")));
    bench.EnterLoader().Unlock();
    EXPECT_EQ(bench.Ask(FromHex("80 14 04 04 00 0f 0e 00 75 e0")),
              "80 00 0e 0e f2 13 40 40 00 00 00 00 00 00 02 01 01 01 c0 a2");
}

TEST_F(LoaderCommandsTest, TheVersionAnswerHasItsFixedLayoutAndNeedsNoPassword) {
    EXPECT_EQ(m_bench.Ask(VersionRequestFrame()),
              "80 00 10 10 f2 49 00 00 00 00 00 00 00 00 01 61 00 00 00 00 9c c7");
    EXPECT_EQ(m_bench.probe.Only("1e"), "1e loader version -> 80");
}

TEST_F(LoaderCommandsTest, LoadersBefore150AndFrom2OnKnowNeitherVersionNorEraseCheck) {
    for (const char* part : {"msp430-56k-v110", "msp430-56k-v202", "msp430-56k-key"}) {
        ChipBench bench(Programmed().Part(part));
        bench.EnterLoader().Unlock();
        EXPECT_EQ(bench.Ask(VersionRequestFrame()), "a0") << part;
        EXPECT_EQ(bench.probe.Only("1e"), "1e loader version: not a command of this loader -> a0");
        EXPECT_EQ(bench.Ask(Frame(0x1C, 0x3000, 2)), "a0") << part;
        EXPECT_EQ(bench.probe.Only("1c"),
                  "1c erase check of 2 bytes at 0x3000: not a command of this loader -> a0");
    }
}

TEST_F(LoaderCommandsTest, TheBootRomTellsChipIdAndLoaderVersionOnEveryPartOnceUnlocked) {
    const Bytes published = FromHex("80 14 04 04 f0 0f 0e 00 85 e0");
    for (const auto& [part, answer] : std::vector<std::pair<const char*, const char*>>{
             {"msp430-56k", "80 00 0e 0e f2 49 00 00 00 00 00 00 00 00 01 61 00 00 82 d9"},
             {"msp430-56k-v110", "80 00 0e 0e f1 49 00 00 00 00 00 00 00 00 01 10 00 00 81 a8"},
             {"msp430-56k-v202", "80 00 0e 0e f2 6f 00 00 00 00 00 00 00 00 02 02 00 00 81 9c"},
             {"msp430-56k-key", "80 00 0e 0e f2 6f 00 00 00 00 00 00 00 00 02 12 00 00 81 8c"}}) {
        ChipBench bench(Programmed().Part(part));
        bench.EnterLoader();
        EXPECT_EQ(bench.Ask(published), "a0") << part;
        bench.Unlock();
        EXPECT_EQ(bench.Ask(published), answer) << part;
        EXPECT_EQ(bench.Ask(WriteFrame(0x0FFA, {0, 0})), "a0") << part;
        EXPECT_EQ(bench.Ask(published), answer) << part;
    }
}

TEST_F(LoaderCommandsTest, AHeaderFrom80To8FIsTaken) {
    m_bench.Unlock();
    for (int header = 0x80; header <= 0x8F; ++header) {
        Bytes frame = WriteFrame(0x3000, {1, 2});
        frame[0] = static_cast<std::uint8_t>(header);
        EXPECT_EQ(m_bench.Ask(bench::Sealed(frame)), "90") << header;
    }
}

TEST_F(LoaderCommandsTest, OnlyFourCommandsAreTakenWhileLocked) {
    std::string taken;
    for (int command = 0; command < 256; ++command) {
        ChipBench bench(Programmed());
        bench.EnterLoader();
        const auto code = static_cast<std::uint8_t>(command);
        const Bytes frame = code == 0x10   ? PasswordFrame(Repeat(0x11, 32))
                            : code == 0x12 ? WriteFrame(0x3000, {1, 2})
                            : code == 0x16 ? Frame(code, 0x3000, bench::kSegmentWord)
                            : code == 0x18 ? MassEraseFrame()
                                           : Frame(code, 0x3000, 0x0002);
        if (bench.Ask(frame) != "a0") {
            taken += bench::Hex({&code, 1}) + " ";
        }
    }
    EXPECT_EQ(taken, "10 18 1e 20 ");
}

TEST_F(LoaderCommandsTest, TenCommandsAreTakenWhileUnlocked) {
    std::string taken;
    for (int command = 0; command < 256; ++command) {
        ChipBench bench(Programmed());
        bench.EnterLoader().Unlock();
        const auto code = static_cast<std::uint8_t>(command);
        const Bytes frame = code == 0x10   ? PasswordFrame(Repeat(0x11, 32))
                            : code == 0x12 ? WriteFrame(0x3000, {1, 2})
                            : code == 0x16 ? Frame(code, 0x3000, bench::kSegmentWord)
                            : code == 0x18 ? MassEraseFrame()
                                           : Frame(code, 0x3000, 0x0002);
        if (bench.Ask(frame) != "a0") {
            taken += bench::Hex({&code, 1}) + " ";
        }
    }
    EXPECT_EQ(taken, "10 12 14 16 18 1a 1c 1e 20 21 ");
}

TEST_F(LoaderCommandsTest, ALockedCommandChangesNothing) {
    EXPECT_EQ(m_bench.Ask(WriteFrame(0x3000, {1, 2})), "a0");
    EXPECT_EQ(m_bench.Ask(Frame(0x16, 0x2100, bench::kAreaWord)), "a0");
    EXPECT_EQ(m_bench.At(0x3000, 2), "ff ff");
    EXPECT_EQ(m_bench.At(0x2100, 2), "00 01");
    EXPECT_EQ(m_bench.probe.Only("12"), "12 write 2 bytes at 0x3000: locked -> a0");
}

TEST_F(LoaderCommandsTest, ThePasswordIsTheVectorTable) {
    m_bench.probe.Clear();
    EXPECT_EQ(m_bench.Ask(PasswordFrame(Repeat(0x11, 32))), "90");
    EXPECT_EQ(m_bench.probe.Only("10"), "10 password -> 90");
    EXPECT_EQ(m_bench.probe.Only("loader_locked"), "loader_locked=0");
    EXPECT_EQ(m_bench.Ask(WriteFrame(0x3000, {1, 2})), "90");
}

TEST_F(LoaderCommandsTest, EveryByteOfThePasswordCounts) {
    for (std::size_t i = 0; i < 32; ++i) {
        Bytes password = Repeat(0x11, 32);
        password[i] = 0x10;
        (void)m_bench.Ask(PasswordFrame(password));
        EXPECT_FALSE(m_bench.chip.State().loaderUnlocked) << i;
    }
}

TEST_F(LoaderCommandsTest, AfterAMassEraseThePasswordIsAllOnes) {
    EXPECT_EQ(m_bench.Ask(PasswordFrame(ErasedPassword())), "90");
    EXPECT_FALSE(m_bench.chip.State().loaderUnlocked);
    EXPECT_EQ(m_bench.Ask(MassEraseFrame()), "90");
    EXPECT_EQ(m_bench.Ask(PasswordFrame(ErasedPassword())), "90");
    EXPECT_TRUE(m_bench.chip.State().loaderUnlocked);
}

TEST_F(LoaderCommandsTest, AWrongPasswordIsAcknowledgedAndLockedByDefault) {
    EXPECT_EQ(m_bench.Ask(PasswordFrame(ErasedPassword())), "90");
    EXPECT_EQ(m_bench.probe.Only("10"), "10 password: wrong -> 90");
    EXPECT_EQ(m_bench.Ask(WriteFrame(0x3000, {1, 2})), "a0");
}

TEST_F(LoaderCommandsTest, AWrongPasswordIsAcknowledgedByEveryPart) {
    for (const auto& model : vboard::AllChipModels()) {
        ChipBench bench(Programmed().Part(model.name));
        bench.EnterLoader();
        EXPECT_EQ(bench.Ask(PasswordFrame(Repeat(0x12, 32))), "90") << model.name;
        EXPECT_FALSE(bench.chip.State().loaderUnlocked) << model.name;
    }
}

TEST_F(LoaderCommandsTest, AWrongPasswordIsRefusedWhereTheOptionSaysSo) {
    ChipBench bench(Programmed().Option("wrong-password", "nak"));
    bench.EnterLoader();
    EXPECT_EQ(bench.Ask(PasswordFrame(ErasedPassword())), "a0");
    EXPECT_EQ(bench.probe.Only("10"), "10 password: wrong -> a0");
    EXPECT_EQ(bench.At(0x2100, 2), "00 01");
}

TEST_F(LoaderCommandsTest, TheOptionGoesBeforeThePartsRow) {
    ChipBench bench(Programmed().Part("msp430-56k-key").Option("wrong-password", "ack-locked"));
    bench.EnterLoader();
    EXPECT_EQ(bench.Ask(PasswordFrame(ErasedPassword())), "90");
    EXPECT_EQ(bench.At(0x2100, 2), "00 01");
}

TEST_F(LoaderCommandsTest, OnAPartWithALoaderKeyAWrongPasswordErasesTheFlash) {
    ChipBench bench(Programmed().Part("msp430-56k-key").Holding(0x1000, {0x55}));
    bench.EnterLoader();
    bench.Sync();
    bench.Type(PasswordFrame(ErasedPassword()));
    const Instant arrived = bench.clock.Now();
    EXPECT_EQ(bench.probe.Only("chip_busy"), "chip_busy=1");
    bench.Settle();
    EXPECT_EQ(bench.Said(), "90");
    EXPECT_EQ(bench.SaidAt(), arrived + 10593 * 2500ns);
    EXPECT_EQ(bench.At(0x2100, 2) + bench.At(0x1000, 1) + bench.At(0xFFE0, 1), "ff ffffff");
    EXPECT_FALSE(bench.chip.State().loaderUnlocked);
    EXPECT_EQ(bench.probe.Only("10"), "10 password: wrong, flash erased -> 90");
}

TEST_F(LoaderCommandsTest, AnyLoaderKeyButZeroErasesAfterAWrongPassword) {
    for (const auto& [key, left] :
         std::vector<std::pair<Bytes, const char*>>{{{0x00, 0x00}, "00 01"},
                                                    {{0x01, 0x00}, "ff ff"},
                                                    {{0x00, 0x80}, "ff ff"},
                                                    {{0xFF, 0xFF}, "ff ff"}}) {
        ChipBench bench(Programmed().Part("msp430-56k-key").Holding(0xFFDE, key));
        bench.EnterLoader();
        EXPECT_EQ(bench.Ask(PasswordFrame(ErasedPassword())), "90");
        EXPECT_EQ(bench.At(0x2100, 2), left) << bench::Hex(key);
        EXPECT_FALSE(bench.chip.State().loaderUnlocked);
    }
}

TEST_F(LoaderCommandsTest, APasswordOfAnotherLengthIsRefusedAndErasesNothing) {
    ChipBench bench(Programmed().Part("msp430-56k-key"));
    bench.EnterLoader();
    EXPECT_EQ(bench.Ask(PasswordFrame(Repeat(0x11, 30))), "a0");
    EXPECT_EQ(bench.Ask(PasswordFrame(Repeat(0x11, 34))), "a0");
    EXPECT_EQ(bench.At(0x2100, 2), "00 01");
    EXPECT_FALSE(bench.chip.State().loaderUnlocked);
}

TEST_F(LoaderCommandsTest, AWrongPasswordAfterTheRightOneDoesNotLockAgain) {
    m_bench.Unlock();
    EXPECT_EQ(m_bench.Ask(PasswordFrame(ErasedPassword())), "90");
    EXPECT_EQ(m_bench.Ask(WriteFrame(0x3000, {1, 2})), "90");
}

TEST_F(LoaderCommandsTest, AWriteProgramsItsBlock) {
    m_bench.Unlock();
    EXPECT_EQ(m_bench.Ask(WriteFrame(0x2102, FromHex("34 12"))), "90");
    EXPECT_EQ(m_bench.At(0x2100, 6), "00 01 34 12 ff ff");
    EXPECT_EQ(m_bench.probe.Only("12"), "12 write 2 bytes at 0x2102 -> 90");
}

TEST_F(LoaderCommandsTest, TheLargestBlockAndTheEmptyOneAreTaken) {
    m_bench.Unlock();
    EXPECT_EQ(m_bench.Ask(WriteFrame(0x3000, Repeat(0x5A, 250))), "90");
    EXPECT_EQ(m_bench.At(0x30F8, 3), "5a 5a ff");
    EXPECT_EQ(m_bench.Ask(WriteFrame(0x4000, {})), "90");
}

TEST_F(LoaderCommandsTest, AnOddAddressOrLengthOfAWriteIsRefused) {
    m_bench.Unlock();
    EXPECT_EQ(m_bench.Ask(WriteFrame(0x3001, {1, 2})), "a0");
    EXPECT_EQ(m_bench.Ask(Frame(0x12, 0x3000, 1, {1, 2})), "a0");
    EXPECT_EQ(m_bench.Ask(Frame(0x12, 0x3000, 4, {1, 2})), "a0");
    EXPECT_EQ(m_bench.Ask(Frame(0x12, 0x3000, 0x0102, {1, 2})), "a0");
    EXPECT_EQ(m_bench.At(0x3000, 4), "ff ff ff ff");
}

TEST_F(LoaderCommandsTest, RamCanBeWrittenOverAndOver) {
    m_bench.Unlock();
    m_bench.probe.Clear();
    EXPECT_EQ(m_bench.Ask(WriteFrame(0x1100, FromHex("00 00"))), "90");
    EXPECT_EQ(m_bench.Ask(WriteFrame(0x1100, FromHex("a5 5a"))), "90");
    EXPECT_EQ(m_bench.At(0x1100, 2), "a5 5a");
    EXPECT_EQ(m_bench.probe.Only("chip_busy"), "");
}

TEST_F(LoaderCommandsTest, AWriteElsewhereFailsOnEveryPart) {
    for (const auto& model : vboard::AllChipModels()) {
        ChipBench bench(Programmed().Part(model.name));
        bench.EnterLoader().Unlock();
        EXPECT_EQ(bench.Ask(WriteFrame(0x0200, {1, 2})), "a0") << model.name;
        EXPECT_EQ(bench.Ask(WriteFrame(0x0FFE, {1, 2, 3, 4})), "a0") << model.name;
        EXPECT_EQ(bench.At(0x0FFE, 4), "00 00 03 04") << model.name;
        EXPECT_EQ(bench.Ask(WriteFrame(0xFFFE, {1, 2, 3, 4})), "a0") << model.name;
    }
}

TEST_F(LoaderCommandsTest, AComparingLoaderRefusesBytesThatDoNotReadBack) {
    m_bench.Unlock();
    EXPECT_EQ(m_bench.Ask(WriteFrame(0x3000, FromHex("f0 f0"))), "90");
    EXPECT_EQ(m_bench.Ask(WriteFrame(0x3000, FromHex("0f f0"))), "a0");
    EXPECT_EQ(m_bench.At(0x3000, 2), "00 f0");
    EXPECT_EQ(m_bench.probe.Only("12 write 2 bytes at 0x3000: "),
              "12 write 2 bytes at 0x3000: does not read back -> a0");
}

TEST_F(LoaderCommandsTest, AnOlderLoaderDoesNotCompare) {
    ChipBench bench(Programmed().Part("msp430-56k-v110"));
    bench.EnterLoader().Unlock();
    EXPECT_EQ(bench.Ask(WriteFrame(0x3000, FromHex("f0 f0"))), "90");
    EXPECT_EQ(bench.Ask(WriteFrame(0x3000, FromHex("0f f0"))), "90");
    EXPECT_EQ(bench.At(0x3000, 2), "00 f0");
}

TEST_F(LoaderCommandsTest, ACellThatWillNotProgramIsSeenByTheComparisonOnly) {
    for (const char* part : {"msp430-56k", "msp430-56k-v110"}) {
        ChipBench bench(Programmed().Part(part));
        bench.faults.onProgram = [](std::uint16_t address, std::uint8_t old, std::uint8_t wanted) {
            return address == 0x3001 ? old : wanted;
        };
        bench.EnterLoader().Unlock();
        EXPECT_EQ(bench.Ask(WriteFrame(0x3000, FromHex("12 34"))),
                  part == std::string("msp430-56k") ? "a0" : "90");
        EXPECT_EQ(bench.At(0x3000, 2), "12 ff");
    }
}

TEST_F(LoaderCommandsTest, ReadsGiveAnyLengthUpTo250FromAnyAddress) {
    m_bench.Unlock();
    for (const std::uint16_t count : Words{1, 2, 3, 249, 250}) {
        const std::string answer = m_bench.Ask(Frame(0x14, 0x2101, count));
        const Bytes frame = FromHex(answer);
        ASSERT_EQ(frame.size(), count + 6U);
        EXPECT_EQ(frame, bench::Sealed(frame));
        EXPECT_EQ(frame[2], count);
        EXPECT_EQ(frame[3], count);
        EXPECT_EQ(frame[4], 0x01);
    }
    for (const std::uint16_t count : Words{0, 251, 256, 0xFFFF}) {
        EXPECT_EQ(m_bench.Ask(Frame(0x14, 0x2100, count)), "a0") << count;
        EXPECT_NE(m_bench.probe.Only("14").find("wrong count of bytes"), std::string::npos);
        m_bench.probe.Clear();
    }
    EXPECT_EQ(m_bench.Ask(Frame(0x14, 0xFFFE, 2)), "80 00 02 02 11 11 6c ec");
    EXPECT_EQ(m_bench.Ask(Frame(0x14, 0xFFFE, 3)), "a0");
}

TEST_F(LoaderCommandsTest, ASegmentEraseErasesTheSegmentOfItsAddress) {
    m_bench.Unlock();
    EXPECT_EQ(m_bench.Ask(WriteFrame(0x2200, {1, 2})), "90");
    m_bench.Sync();
    m_bench.Type(Frame(0x16, 0x21FE, bench::kSegmentWord));
    const Instant arrived = m_bench.clock.Now();
    m_bench.Settle();
    EXPECT_EQ(m_bench.Said(), "90");
    EXPECT_EQ(m_bench.SaidAt(), arrived + 4819 * 2500ns);
    EXPECT_EQ(m_bench.At(0x2100, 2), "ff ff");
    EXPECT_EQ(m_bench.At(0x2200, 2), "01 02");
    EXPECT_EQ(m_bench.probe.Only("16"), "16 erase segment at 0x21fe -> 90");
}

TEST_F(LoaderCommandsTest, TheEraseOfMainOrInfoFollowsTheRegionOfItsAddress) {
    m_bench.memory[0x1000] = 0;
    m_bench.memory[0x1100] = 0;
    m_bench.Unlock();
    EXPECT_EQ(m_bench.Ask(Frame(0x16, 0x1080, bench::kAreaWord)), "90");
    EXPECT_EQ(m_bench.At(0x1000, 1) + m_bench.At(0x2100, 1), "ff00");
    m_bench.memory[0x1000] = 0;
    EXPECT_EQ(m_bench.Ask(FromHex("80 16 04 04 00 21 04 a5 7f 69")), "90");
    EXPECT_EQ(m_bench.At(0x1000, 1) + m_bench.At(0x2100, 1) + m_bench.At(0xFFFE, 2), "00ffff ff");
    EXPECT_EQ(m_bench.At(0x1100, 1), "00") << "RAM is no flash";
}

TEST_F(LoaderCommandsTest, AnEraseElsewhereOddOrWithAnotherControlWordIsRefused) {
    m_bench.Unlock();
    EXPECT_EQ(m_bench.Ask(Frame(0x16, 0x1100, bench::kSegmentWord)), "a0");
    EXPECT_EQ(m_bench.Ask(Frame(0x16, 0x0200, bench::kAreaWord)), "a0");
    EXPECT_EQ(m_bench.Ask(Frame(0x16, 0x2101, bench::kAreaWord)), "a0");
    EXPECT_EQ(m_bench.Ask(Frame(0x16, 0x2100, 0xA506)), "a0");
    EXPECT_EQ(m_bench.Ask(Frame(0x18, 0x2100, bench::kAreaWord)), "a0");
    EXPECT_EQ(m_bench.probe.Only("16"),
              "16 erase segment at 0x1100: no flash there -> a0; "
              "16 erase main or info at 0x0200: no flash there -> a0; "
              "16 erase main or info at 0x2101: odd address -> a0; "
              "16 erase 0xa506 at 0x2100: wrong control word -> a0");
    EXPECT_EQ(m_bench.probe.Only("18"), "18 mass erase: wrong control word -> a0");
    EXPECT_EQ(m_bench.At(0x2100, 2), "00 01");
}

TEST_F(LoaderCommandsTest, AMassEraseNeedsNoPasswordAndTakesThePartsTime) {
    for (const auto& model : vboard::AllChipModels()) {
        ChipBench bench(Programmed().Part(model.name).Holding(0x10FF, {0x00}));
        bench.EnterLoader();
        bench.Sync();
        bench.Type(MassEraseFrame());
        const Instant arrived = bench.clock.Now();
        bench.Settle();
        EXPECT_EQ(bench.Said(), "90");
        EXPECT_EQ(bench.SaidAt(), arrived + model.massErasePeriods * 2500ns);
        EXPECT_EQ(bench.At(0x2100, 2) + bench.At(0x10FF, 1), "ff ffff");
    }
}

TEST_F(LoaderCommandsTest, ASegmentThatIsNotErasedIsSeenFromLoader160On) {
    for (const char* part : {"msp430-56k", "msp430-56k-v110"}) {
        ChipBench bench(Programmed().Part(part).Holding(0x3000, {0x00}));
        bench.faults.onErase = [](std::uint16_t, std::uint8_t old) { return old; };
        bench.EnterLoader().Unlock();
        EXPECT_EQ(bench.Ask(Frame(0x16, 0x3000, bench::kSegmentWord)),
                  part == std::string("msp430-56k") ? "a0" : "90");
        EXPECT_EQ(bench.Ask(Frame(0x16, 0x3000, bench::kAreaWord)), "90");
        EXPECT_EQ(bench.At(0x3000, 1), "00");
    }
}

TEST_F(LoaderCommandsTest, OnThePartWhoseErasesAddUpOneIsEnoughToGoOnAnd18LeaveNoWeakByte) {
    // At the fastest flash clock an erase takes 5297 periods of 2.1 µs, 11.13 ms.
    ChipBench bench(Programmed()
                        .Part("msp430-56k-v110")
                        .Option("flash-clock-hz", "476000")
                        .Holding(0x4000, {0}));
    bench.EnterLoader();
    EXPECT_EQ(bench.Ask(MassEraseFrame()), "90");
    EXPECT_EQ(bench.At(0x2100, 2), "ff ff");
    EXPECT_EQ(bench.Ask(PasswordFrame(ErasedPassword())), "90");
    EXPECT_TRUE(bench.chip.State().loaderUnlocked);
    for (int erases = 1; erases < 17; ++erases) {
        EXPECT_EQ(bench.Weak(), "1280 erased, 0 programmed") << erases;
        EXPECT_EQ(bench.Ask(Frame(0x16, 0x2100, bench::kAreaWord)), "90");
    }
    EXPECT_EQ(bench.Ask(WriteFrame(0x4000, {1, 2})), "90");
    EXPECT_EQ(bench.Weak(), "1278 erased, 2 programmed") << "one erase too few";
    EXPECT_EQ(bench.Ask(Frame(0x16, 0x2100, bench::kAreaWord)), "90");
    EXPECT_EQ(bench.Weak(), "512 erased, 0 programmed") << "what was programmed since";
}

TEST_F(LoaderCommandsTest, AnEraseCheckTellsErasedFromProgrammed) {
    m_bench.Unlock();
    EXPECT_EQ(m_bench.Ask(Frame(0x1C, 0x2102, 0xDEDE)), "90") << "up to the vectors";
    EXPECT_EQ(m_bench.Ask(Frame(0x1C, 0x2102, 0xDEDF)), "a0");
    EXPECT_EQ(m_bench.Ask(Frame(0x1C, 0x2100, 1)), "a0");
    EXPECT_EQ(m_bench.Ask(Frame(0x1C, 0x2100, 0)), "90");
    EXPECT_EQ(m_bench.At(0x0200, 2), "01 21");
    EXPECT_EQ(m_bench.Ask(Frame(0x1C, 0xFFFF, 0xFFFF)), "a0") << "passes the end";
    EXPECT_EQ(m_bench.probe.Only("1c erase check of 65535"),
              "1c erase check of 65535 bytes at 0xffff: beyond the end of memory -> a0");
}

TEST_F(LoaderCommandsTest, AnEraseCheckLeavesTheFirstAddressThatIsNotErasedPlusOne) {
    m_bench.memory[0x3005] = 0xFE;
    m_bench.memory[0x3007] = 0x00;
    m_bench.Unlock();
    EXPECT_EQ(m_bench.Ask(Frame(0x1C, 0x3001, 4)), "90");
    EXPECT_EQ(m_bench.At(0x0200, 2), "ff ff") << "found nothing";
    EXPECT_EQ(m_bench.Ask(Frame(0x1C, 0x3001, 7)), "a0");
    EXPECT_EQ(m_bench.Ask(Frame(0x14, 0x0200, 2)), "80 00 02 02 06 30 7b cd");
}

TEST_F(LoaderCommandsTest, LoadingTheProgramCounterEndsTheLoaderAfterItsAnswer) {
    m_bench.Unlock();
    m_bench.Sync();
    m_bench.Type(Frame(0x1A, 0x2100, 0));
    EXPECT_EQ(m_bench.Said(), "90");
    EXPECT_EQ(m_bench.Mode(), ChipMode::kLoader);
    m_bench.Settle();
    EXPECT_EQ(m_bench.Mode(), ChipMode::kApplication);
    EXPECT_FALSE(m_bench.chip.State().loaderUnlocked);
    EXPECT_TRUE(m_bench.probe.Text().ends_with(
        "loader_state=answering; chip_mode=application; loader_locked=1; loader_state=off"));
    m_bench.chip.ReceiveMessage(FromHex("b4 00"));
    m_bench.Settle();
    EXPECT_EQ(m_bench.Said(), "[b5 01 00]");
    EXPECT_EQ(m_bench.probe.Only("1a"), "1a load program counter with 0x2100 -> 90");
}

TEST_F(LoaderCommandsTest, LoadingTheProgramCounterWithErasedOrForeignMemoryRunsNothing) {
    for (const std::uint16_t address : Words{0x3000, 0x1100, 0x0000}) {
        ChipBench bench(Programmed().Holding(0x1100, {1, 2}).Holding(0x0000, {1, 2}));
        bench.EnterLoader().Unlock();
        EXPECT_EQ(bench.Ask(Frame(0x1A, address, 0)), "90");
        EXPECT_EQ(bench.Mode(), ChipMode::kStopped) << address;
    }
}

TEST_F(LoaderCommandsTest, ABaudChangeIsAnsweredAtTheOldSpeedAndHoldsTenMillisecondsLater) {
    const std::uint32_t speeds[] = {9600, 19200, 38400};
    const std::uint16_t clocks[] = {0x8580, 0x8B00, 0x8C80};
    for (std::uint16_t number = 0; number < 3; ++number) {
        m_bench.EnterLoader();
        m_bench.Sync();
        m_bench.Type(Frame(0x20, clocks[number], number));
        EXPECT_EQ(m_bench.Said(), "90");
        const Instant answered = m_bench.SaidAt();
        EXPECT_EQ(m_bench.chip.Format().bitsPerSecond, 9600U);
        m_bench.Settle();
        EXPECT_EQ(m_bench.clock.Now(), answered + vboard::SerialFormat{}.CharacterTime() + 10ms);
        EXPECT_EQ(m_bench.chip.Format().bitsPerSecond, speeds[number]);
        EXPECT_EQ(m_bench.Ask(VersionRequestFrame()).substr(0, 11), "80 00 10 10");
    }
}

TEST_F(LoaderCommandsTest, WhatComesWhileTheSpeedChangesIsLost) {
    m_bench.Sync();
    m_bench.Type(Frame(0x20, 0x8B00, 1));
    m_bench.Type({0x80, 0x80, 0x80});
    m_bench.Settle();
    EXPECT_EQ(m_bench.Said(), "90");
}

TEST_F(LoaderCommandsTest, AClockThatIsNotTheSpeedsOwnLeavesTheLoaderDeafUntilItIsEnteredAnew) {
    struct Case {
        const char* part;
        std::uint16_t clock;
        std::uint16_t speed;
    };
    for (const Case& asked :
         {Case{"msp430-56k", 0x8C80, 1}, Case{"msp430-56k", 0x86E0, 1}, Case{"msp430-56k", 0, 0},
          Case{"msp430-56k", 0x8B01, 1}, Case{"msp430-56k", 0x8A00, 1},
          Case{"msp430-56k-v110", 0x8B00, 1}, Case{"msp430-56k-v110", 0x8C80, 2}}) {
        ChipBench bench(Programmed().Part(asked.part));
        bench.EnterLoader();
        EXPECT_EQ(bench.Ask(Frame(0x20, asked.clock, asked.speed)), "90") << asked.clock;
        EXPECT_NE(
            bench.probe.Only("20").find(": with a clock that does not fit, deaf from now on -> 90"),
            std::string::npos);
        bench.clock.Pass(1s);
        bench.probe.Clear();
        bench.Type({0x80});
        bench.Settle();
        EXPECT_EQ(bench.Said(), "") << asked.clock;
        EXPECT_EQ(bench.probe.Text(),
                  "note chip: character 0x80 lost: the loader's clock does not fit its speed");
        bench.EnterLoader();
        bench.Sync();
    }
}

TEST_F(LoaderCommandsTest, AnUnknownSpeedIsRefusedAndTheNextEntryIsAt9600Again) {
    EXPECT_EQ(m_bench.Ask(Frame(0x20, 0x8580, 3)), "a0");
    EXPECT_EQ(m_bench.Ask(Frame(0x20, 0x8580, 0xFF)), "a0");
    EXPECT_EQ(m_bench.Ask(Frame(0x20, 0x8C80, 2)), "90");
    EXPECT_EQ(m_bench.chip.Format().bitsPerSecond, 38400U);
    m_bench.Drive("rst0");
    EXPECT_EQ(m_bench.chip.Format().bitsPerSecond, 9600U);
}

TEST_F(LoaderCommandsTest, EveryBitOfAMemoryOffsetCounts) {
    m_bench.Unlock();
    for (int bit = 0; bit < 16; ++bit) {
        const auto offset = static_cast<std::uint16_t>(1U << bit);
        EXPECT_EQ(m_bench.Ask(Frame(0x21, 0, offset)), "90");
        EXPECT_EQ(m_bench.Ask(Frame(0x14, 0x2100, 2)), "a0") << offset;
    }
}

TEST_F(LoaderCommandsTest, BeyondAMemoryOffsetThereIsNothingUntilTheNextEntry) {
    m_bench.Unlock();
    EXPECT_EQ(m_bench.Ask(Frame(0x21, 0, 1)), "90");
    EXPECT_EQ(m_bench.Ask(WriteFrame(0x3000, {1, 2})), "a0");
    EXPECT_EQ(m_bench.Ask(Frame(0x14, 0x2100, 2)), "a0");
    EXPECT_EQ(m_bench.Ask(Frame(0x16, 0x2100, bench::kAreaWord)), "a0");
    EXPECT_EQ(m_bench.Ask(Frame(0x1C, 0x3000, 2)), "a0");
    EXPECT_EQ(m_bench.Ask(Frame(0x20, 0x8580, 0)), "90") << "touches no memory there";
    EXPECT_EQ(m_bench.Ask(PasswordFrame(ErasedPassword())), "90");
    EXPECT_EQ(m_bench.Ask(Frame(0x1E, 0, 0)).substr(0, 11), "80 00 10 10");
    EXPECT_EQ(m_bench.Ask(Frame(0x21, 0, 0)), "90");
    EXPECT_EQ(m_bench.Ask(WriteFrame(0x3000, {1, 2})), "90");
    EXPECT_EQ(m_bench.Ask(Frame(0x21, 0, 1)), "90");
    EXPECT_EQ(m_bench.Ask(Frame(0x1A, 0x2100, 0)), "90");
    EXPECT_EQ(m_bench.Mode(), ChipMode::kStopped);
    m_bench.EnterLoader().Unlock();
    EXPECT_EQ(m_bench.Ask(WriteFrame(0x3002, {1, 2})), "90");
}

TEST(CommandWordsTest, SayOfEachCommandWhatItIsAboutAndWhyItWasRefused) {
    const auto words = [](std::uint8_t command, std::uint16_t address, std::uint16_t length,
                          std::string_view refusal = "") {
        const Bytes data(3);
        return vboard::CommandWords({command, address, length, data}, refusal);
    };
    EXPECT_EQ(words(0x10, 1, 2), "password");
    EXPECT_EQ(words(0x12, 0x210, 2), "write 3 bytes at 0x0210");
    EXPECT_EQ(words(0x14, 0x210, 2), "read 2 bytes at 0x0210");
    EXPECT_EQ(words(0x16, 0x210, 0xA502), "erase segment at 0x0210");
    EXPECT_EQ(words(0x16, 0x210, 0xA504), "erase main or info at 0x0210");
    EXPECT_EQ(words(0x16, 0x210, 0xA506), "erase 0xa506 at 0x0210");
    EXPECT_EQ(words(0x18, 1, 2), "mass erase");
    EXPECT_EQ(words(0x1A, 0x210, 2), "load program counter with 0x0210");
    EXPECT_EQ(words(0x1C, 0x210, 2), "erase check of 2 bytes at 0x0210");
    EXPECT_EQ(words(0x1E, 1, 2), "loader version");
    EXPECT_EQ(words(0x20, 1, 0x1FF), "change baud rate to 255");
    EXPECT_EQ(words(0x21, 1, 2), "set memory offset to 0x0002");
    EXPECT_EQ(words(0x7, 1, 2, "no such"), "command 0x07: no such");
}

TEST_F(LoaderCommandsTest, CommandsWithDataTheyDoNotTakeAreRefused) {
    m_bench.Unlock();
    for (const std::uint8_t command : Bytes{0x14, 0x16, 0x18, 0x1A, 0x1C, 0x1E, 0x20, 0x21}) {
        EXPECT_EQ(m_bench.Ask(Frame(command, 0x2100, 0x0002, {0, 0})), "a0") << int{command};
    }
}

}  // namespace
