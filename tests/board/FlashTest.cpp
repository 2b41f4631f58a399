// SPDX-License-Identifier: MIT
#include "vboard/chip/Flash.h"

#include <gtest/gtest.h>

#include <array>

#include "support/ChipBench.h"

namespace {

using bench::Bytes;
using bench::FromHex;
using bench::Hex;
using vboard::ChipModel;
using vboard::ChipOptions;
using vboard::Duration;
using vboard::Flash;
using vboard::Region;
using namespace std::chrono_literals;

// 400 kHz: a period is 2.5 µs, a word 87.5 µs, a byte half of it.
constexpr Duration kWordTime = 87500ns;
constexpr Duration kByteTime = kWordTime / 2;
constexpr Duration kSegmentTime = 4819 * 2500ns;
constexpr Duration kMassTime = 10593 * 2500ns;

class FlashTest : public testing::Test {
protected:
    FlashTest() { m_memory.fill(0xFF); }

    Flash Make(const ChipModel& model = vboard::DefaultChipModel()) {
        return {model, m_options, m_faults, m_memory, m_eraseWords};
    }
    void Fill(std::uint8_t value) { m_memory.fill(value); }
    void Program(Flash& flash, std::uint16_t address, const Bytes& data) {
        (void)flash.BeginProgramming(address, data);
        flash.Finish();
    }
    // "3 erased, 2 programmed": the bytes that lack margin.
    [[nodiscard]] std::string Weak(const ChipModel& model = vboard::DefaultChipModel()) {
        const auto weak =
            vboard::EraseMargins(vboard::Segments(model), m_eraseWords).Count(m_memory);
        return std::to_string(weak.erased) + " erased, " + std::to_string(weak.programmed) +
               " programmed";
    }
    [[nodiscard]] std::string At(std::size_t address, std::size_t count) const {
        return Hex(std::span(m_memory).subspan(address, count));
    }
    // "1000-10ff 2100-ffff": where the memory holds the value.
    [[nodiscard]] std::string Where(std::uint8_t value) const {
        std::string text;
        for (std::size_t i = 0; i < m_memory.size(); ++i) {
            const bool begins = m_memory[i] == value && (i == 0 || m_memory[i - 1] != value);
            const bool ends =
                m_memory[i] == value && (i + 1 == m_memory.size() || m_memory[i + 1] != value);
            if (begins) {
                text += (text.empty() ? "" : " ") + Word(i) + "-";
            }
            if (ends) {
                text += Word(i);
            }
        }
        return text;
    }
    static std::string Word(std::size_t value) {
        const Bytes bytes{static_cast<std::uint8_t>(value >> 8),
                          static_cast<std::uint8_t>(value & 0xFF)};
        std::string text = Hex(bytes);
        text.erase(2, 1);
        return text;
    }

    std::array<std::uint8_t, vboard::kMemorySizeBytes> m_memory{};
    std::array<std::uint32_t, vboard::kMostSegments> m_eraseWords{};
    bench::BenchFaults m_faults;
    ChipOptions m_options;
};

TEST_F(FlashTest, EveryAddressBelongsToItsRegion) {
    const Flash flash = Make();
    for (std::size_t address = 0; address < vboard::kMemorySizeBytes; ++address) {
        const Region expected = address >= 0x2100   ? Region::kMain
                                : address >= 0x1100 ? Region::kRam
                                : address >= 0x1000 ? Region::kInfo
                                                    : Region::kNone;
        ASSERT_EQ(flash.Layout().RegionAt(address), expected) << address;
    }
    EXPECT_EQ(flash.Layout().RegionAt(0x10000), Region::kNone);
}

TEST_F(FlashTest, HoldsWhatLiesInMemoryFromItsFirstByteToItsLast) {
    const Flash flash = Make();
    EXPECT_FALSE(flash.Holds(0x0FFF, 1));
    EXPECT_FALSE(flash.Holds(0x0FFF, 2));
    EXPECT_TRUE(flash.Holds(0x1000, 0x100));
    EXPECT_TRUE(flash.Holds(0xFF00, 0x100));
    EXPECT_FALSE(flash.Holds(0xFF00, 0x101));
}

TEST_F(FlashTest, SegmentsTileMainMemoryOnMultiplesOfTheirSize) {
    const Flash flash = Make();
    EXPECT_EQ(flash.Layout().SegmentOf(0x2100).first, 0x2100) << "the lowest is cut by the range";
    EXPECT_EQ(flash.Layout().SegmentOf(0x2100).last, 0x21FF);
    EXPECT_EQ(flash.Layout().SegmentOf(0x2200).first, 0x2200);
    EXPECT_EQ(flash.Layout().SegmentOf(0x23FF).last, 0x23FF);
    EXPECT_EQ(flash.Layout().SegmentOf(0xFFFF).first, 0xFE00);
    EXPECT_EQ(flash.Layout().SegmentOf(0xFFFF).last, 0xFFFF);
    for (std::size_t address = 0x2100; address < vboard::kMemorySizeBytes; ++address) {
        const auto segment = flash.Layout().SegmentOf(static_cast<std::uint16_t>(address));
        ASSERT_TRUE(segment.Contains(static_cast<std::uint16_t>(address)));
        ASSERT_EQ(segment.last / 512, static_cast<int>(address / 512));
    }
}

TEST_F(FlashTest, InformationSegmentsHave64BytesAnd128OnTheOlderPart) {
    EXPECT_EQ(Make().Layout().SegmentOf(0x1041).first, 0x1040);
    EXPECT_EQ(Make().Layout().SegmentOf(0x1041).last, 0x107F);
    const Flash older = Make(*vboard::FindChipModel("msp430-56k-v110"));
    EXPECT_EQ(older.Layout().SegmentOf(0x1041).first, 0x1000);
    EXPECT_EQ(older.Layout().SegmentOf(0x1041).last, 0x107F);
}

TEST_F(FlashTest, ProgrammingClearsBitsAndNeverSetsThem) {
    Flash flash = Make();
    for (int old = 0; old < 256; ++old) {
        for (int value = 0; value < 256; ++value) {
            m_memory[0x3000] = static_cast<std::uint8_t>(old);
            Program(flash, 0x3000, {static_cast<std::uint8_t>(value)});
            ASSERT_EQ(m_memory[0x3000], old & value);
        }
    }
}

TEST_F(FlashTest, RamTakesAnyValueAtOnce) {
    Flash flash = Make();
    Fill(0x00);
    EXPECT_EQ(flash.BeginProgramming(0x1100, FromHex("a5 5a")), Duration::zero());
    flash.Finish();
    EXPECT_EQ(At(0x1100, 2), "a5 5a");
}

TEST_F(FlashTest, BytesElsewhereAreLeftAlone) {
    Flash flash = Make();
    Program(flash, 0x0FFE, FromHex("11 22 33 44"));
    EXPECT_EQ(At(0x0FFE, 4), "00 00 33 44") << "boot ROM, then flash";
    EXPECT_FALSE(flash.Holds(0x0FFE, 4));
    EXPECT_TRUE(flash.Holds(0x1000, 250));
    EXPECT_TRUE(flash.Holds(0x20F0, 250)) << "from RAM into main memory";
}

TEST_F(FlashTest, ABlockThatPassesTheEndOfMemoryStopsThere) {
    Flash flash = Make();
    Program(flash, 0xFFFE, FromHex("11 22 33 44"));
    EXPECT_EQ(At(0xFFFE, 2), "11 22");
    EXPECT_EQ(At(0x0000, 2), "ff ff");
    EXPECT_FALSE(flash.Holds(0xFFFE, 4));
    EXPECT_TRUE(flash.Block(0xFFFE, 4).empty());
    EXPECT_FALSE(flash.IsErased(0xFFFE, 4));
}

TEST_F(FlashTest, EachWordTakes35PeriodsOfTheFlashClock) {
    Flash flash = Make();
    EXPECT_EQ(flash.BeginProgramming(0x2100, Bytes(250, 0)), 125 * kWordTime);
    m_options.flashClockHz = 257'000;
    EXPECT_EQ(Make().BeginProgramming(0x2100, Bytes(2, 0)), Duration{35'000'000'000 / 257'000});
}

TEST_F(FlashTest, BytesAreThereFromTheirOwnInstantOn) {
    Flash flash = Make();
    (void)flash.BeginProgramming(0x2100, FromHex("01 02 03 04"));
    flash.Progress(kByteTime - 1ns);
    EXPECT_EQ(At(0x2100, 4), "ff ff ff ff");
    flash.Progress(kByteTime);
    EXPECT_EQ(At(0x2100, 4), "01 ff ff ff");
    flash.Progress(3 * kByteTime);
    EXPECT_EQ(At(0x2100, 4), "01 02 03 ff");
    flash.Progress(4 * kByteTime);
    EXPECT_EQ(At(0x2100, 4), "01 02 03 04");
}

TEST_F(FlashTest, AnAbortedProgrammingKeepsExactlyTheBytesWhoseTimeHasCome) {
    for (int done = 0; done <= 8; ++done) {
        Fill(0xFF);
        Flash flash = Make();
        (void)flash.BeginProgramming(0x2100, Bytes(8, 0x00));
        flash.Abort(done * kByteTime);
        flash.Finish();
        for (int i = 0; i < 8; ++i) {
            EXPECT_EQ(m_memory[0x2100U + static_cast<unsigned>(i)], i < done ? 0x00 : 0xFF);
        }
    }
}

TEST_F(FlashTest, RamInTheMiddleOfABlockTakesNoTime) {
    Flash flash = Make();
    EXPECT_EQ(flash.BeginProgramming(0x10FE, FromHex("01 02 03 04")), kWordTime);
    flash.Progress(0ns);
    EXPECT_EQ(At(0x10FE, 4), "ff ff ff ff") << "in the order of the addresses";
    flash.Progress(kWordTime);
    EXPECT_EQ(At(0x10FE, 4), "01 02 03 04");
}

TEST_F(FlashTest, TheFaultDecidesWhatACellTakesOnAndIsAskedForTheAndOfBoth) {
    m_memory[0x2100] = 0xF0;
    m_faults.onProgram = [](std::uint16_t address, std::uint8_t old, std::uint8_t wanted) {
        EXPECT_EQ(address, 0x2100);
        EXPECT_EQ(old, 0xF0);
        EXPECT_EQ(wanted, 0x30);
        return std::uint8_t{0x70};
    };
    Flash flash = Make();
    Program(flash, 0x2100, {0x3C});
    EXPECT_EQ(m_memory[0x2100], 0x70);
}

TEST_F(FlashTest, ASegmentEraseChangesItsSegmentOnlyAndAtItsEnd) {
    Fill(0x00);
    Flash flash = Make();
    EXPECT_EQ(flash.BeginSegmentErase(0x2346), kSegmentTime);
    flash.Progress(kSegmentTime - 1ns);
    EXPECT_EQ(Where(0xFF), "");
    flash.Finish();
    EXPECT_EQ(Where(0xFF), "2200-23ff");
}

TEST_F(FlashTest, AreaErasesClearMainOrInformationMemory) {
    Fill(0x00);
    Flash flash = Make();
    EXPECT_EQ(flash.BeginAreaErase(Region::kInfo), kMassTime);
    flash.Finish();
    EXPECT_EQ(Where(0xFF), "1000-10ff");
    Fill(0x00);
    EXPECT_EQ(flash.BeginAreaErase(Region::kMain), kMassTime);
    flash.Finish();
    EXPECT_EQ(Where(0xFF), "2100-ffff");
}

TEST_F(FlashTest, AMassEraseClearsBothAndTakesThePartsTime) {
    Fill(0x00);
    Flash flash = Make();
    EXPECT_EQ(flash.BeginMassErase(), kMassTime);
    flash.Finish();
    EXPECT_EQ(Where(0xFF), "1000-10ff 2100-ffff");
    EXPECT_EQ(Make(*vboard::FindChipModel("msp430-56k-v110")).BeginMassErase(), 5297 * 2500ns);
}

TEST_F(FlashTest, AnAbortedEraseLeavesItsShareOfCellsErasedLowestAddressFirst) {
    Flash flash = Make();
    Fill(0x00);
    (void)flash.BeginSegmentErase(0x2200);
    flash.Abort(kSegmentTime / 4);
    EXPECT_EQ(Where(0xFF), "2200-227f");
    Fill(0x00);
    flash.Abort(kSegmentTime);
    EXPECT_EQ(Where(0xFF), "") << "nothing is under way any more";
    (void)flash.BeginSegmentErase(0x2200);
    flash.Abort(kSegmentTime / 512 + 1us);
    EXPECT_EQ(Where(0xFF), "2200-2200");
    (void)flash.BeginSegmentErase(0x2200);
    flash.Finish();
    Fill(0x00);
    flash.Abort(kSegmentTime);
    EXPECT_EQ(Where(0xFF), "");
    (void)flash.BeginMassErase();
    flash.Abort(kMassTime / 2);
    const std::size_t half = (0x100 + 0xDF00) / 2 - 0x100;
    EXPECT_EQ(Where(0xFF), "1000-10ff 2100-" + Word(0x2100 + half - 1));
    Fill(0x00);
    (void)flash.BeginMassErase();
    flash.Abort(kMassTime - 1ns);
    EXPECT_EQ(Where(0xFF), "1000-10ff 2100-fffe") << "a cell needs the whole of its share";
    Fill(0x00);
    (void)flash.BeginMassErase();
    flash.Abort(0ns);
    EXPECT_EQ(Where(0xFF), "");
}

TEST_F(FlashTest, OfAPartWhoseMainMemoryLiesBelowItsInformationMemoryMainIsErasedFirst) {
    ChipModel model = vboard::DefaultChipModel();
    model.mainMemory = {0x2100, 0x2FFF};
    model.infoMemory = {0x3000, 0x30FF};
    Flash flash = Make(model);
    Fill(0x00);
    (void)flash.BeginMassErase();
    flash.Abort(kMassTime / 4);
    EXPECT_EQ(Where(0xFF), "2100-24ff");
}

TEST_F(FlashTest, WhatAnAbortCutOffIsNotMadeUpForByTheNextWork) {
    Flash flash = Make();
    (void)flash.BeginProgramming(0x2100, Bytes(8, 0x00));
    flash.Abort(kWordTime);
    (void)flash.BeginSegmentErase(0x2200);
    flash.Finish();
    (void)flash.BeginSegmentErase(0x2200);
    flash.Abort(kSegmentTime);
    EXPECT_EQ(At(0x2100, 8), "00 00 ff ff ff ff ff ff");
    EXPECT_EQ(Where(0x00), "0ff2-0ff9 0ffc-0fff 2100-2101");
}

TEST_F(FlashTest, AnAbortOutsideTheWorksTimeStaysInsideTheWork) {
    Flash flash = Make();
    Fill(0x00);
    (void)flash.BeginSegmentErase(0x2200);
    flash.Abort(std::chrono::hours{1});
    EXPECT_EQ(Where(0xFF), "2200-23ff");
    (void)flash.BeginSegmentErase(0x2400);
    flash.Abort(-1s);
    EXPECT_EQ(Where(0xFF), "2200-23ff");
}

TEST_F(FlashTest, TheFaultDecidesWhatAnErasedCellHolds) {
    Fill(0x00);
    m_faults.onErase = [](std::uint16_t address, std::uint8_t old) {
        return address == 0x2201 ? old : std::uint8_t{0xFF};
    };
    Flash flash = Make();
    (void)flash.BeginSegmentErase(0x2200);
    flash.Finish();
    EXPECT_EQ(At(0x2200, 3), "ff 00 ff");
    EXPECT_FALSE(flash.IsErased(0x2200, 2));
    EXPECT_TRUE(flash.IsErased(0x2202, 2));
}

TEST_F(FlashTest, WithCumulativeEraseACellReadsAsErasedAtOnceAndLacksMarginUntil200Milliseconds) {
    m_options.cumulativeErase = true;
    Fill(0x00);
    Flash flash = Make();
    for (int round = 1; round <= 17; ++round) {
        (void)flash.BeginSegmentErase(0x2200);
        flash.Finish();
        ASSERT_EQ(Where(0xFF), "2200-23ff") << round;
        ASSERT_EQ(Weak(), round < 17 ? "512 erased, 0 programmed" : "0 erased, 0 programmed")
            << "16 x 12.0475 ms are 192.76 ms";
    }
}

TEST_F(FlashTest, WithCumulativeEraseExactly200MillisecondsAreEnough) {
    m_options.cumulativeErase = true;
    Fill(0x00);
    Flash flash = Make();
    for (int round = 0; round < 16; ++round) {
        (void)flash.BeginSegmentErase(0x2200);
        flash.Finish();
    }
    (void)flash.BeginSegmentErase(0x2200);
    flash.Abort(200ms - 16 * kSegmentTime - 1ns);
    EXPECT_EQ(Weak(), "512 erased, 0 programmed");
    (void)flash.BeginSegmentErase(0x2200);
    flash.Abort(1ns);
    EXPECT_EQ(Weak(), "0 erased, 0 programmed");
}

TEST_F(FlashTest, WithCumulativeEraseWhatIsProgrammedOnWeakCellsIsWeakAndEraseTimeCountsAnew) {
    m_options.cumulativeErase = true;
    Flash flash = Make();
    Program(flash, 0x2200, {0x00});
    EXPECT_EQ(Weak(), "0 erased, 0 programmed") << "on a chip as delivered";
    for (int round = 0; round < 16; ++round) {
        (void)flash.BeginSegmentErase(0x2200);
        flash.Finish();
    }
    Program(flash, 0x2202, FromHex("12 34 ff"));
    EXPECT_EQ(Weak(), "510 erased, 2 programmed");
    (void)flash.BeginSegmentErase(0x2200);
    flash.Finish();
    EXPECT_EQ(Weak(), "512 erased, 0 programmed") << "the first 12 ms since it was programmed";
    for (int round = 0; round < 16; ++round) {
        (void)flash.BeginSegmentErase(0x2200);
        flash.Finish();
    }
    Program(flash, 0x2202, {0x12});
    EXPECT_EQ(Weak(), "0 erased, 0 programmed");
}

TEST_F(FlashTest, WithCumulativeEraseACellThatIsWellErasedLosesNothingByAnotherErase) {
    m_options.cumulativeErase = true;
    m_memory[0x1000] = 0x00;
    Flash flash = Make();
    (void)flash.BeginMassErase();
    flash.Finish();
    EXPECT_EQ(Weak(), "64 erased, 0 programmed") << "only that segment had anything to lose";
}

TEST_F(FlashTest, WithCumulativeEraseACellThatWillNotEraseDoesNotStartTheTimeAnew) {
    m_options.cumulativeErase = true;
    m_memory[0x2200] = 0x00;
    m_faults.onErase = [](std::uint16_t, std::uint8_t old) { return old; };
    Flash flash = Make();
    for (int round = 1; round <= 40; ++round) {
        (void)flash.BeginSegmentErase(0x2200);
        flash.Finish();
        ASSERT_EQ(Weak(), round < 17 ? "511 erased, 1 programmed" : "0 erased, 0 programmed");
    }
}

TEST_F(FlashTest, WithCumulativeEraseTimeSpentByDifferentErasesAddsUp) {
    m_options.cumulativeErase = true;
    Fill(0x00);
    Flash flash = Make();
    for (int round = 0; round < 7; ++round) {
        (void)flash.BeginMassErase();
        flash.Finish();
    }
    EXPECT_EQ(Weak(), "57344 erased, 0 programmed");
    (void)flash.BeginSegmentErase(0x1000);
    flash.Finish();
    (void)flash.BeginSegmentErase(0x1000);
    flash.Abort(kSegmentTime / 2);
    EXPECT_EQ(Weak(), "57280 erased, 0 programmed") << "7 x 26.5 ms and 12 ms and 6 ms";
    (void)flash.BeginAreaErase(Region::kMain);
    flash.Finish();
    EXPECT_EQ(Weak(), "192 erased, 0 programmed");
}

TEST_F(FlashTest, WithCumulativeEraseAnAbortedEraseWeakensTheCellsThatItDidNotReach) {
    m_options.cumulativeErase = true;
    Fill(0x00);
    Flash flash = Make();
    (void)flash.BeginSegmentErase(0x2200);
    flash.Abort(0ns);
    EXPECT_EQ(Weak(), "0 erased, 0 programmed");
    (void)flash.BeginSegmentErase(0x2200);
    flash.Abort(kSegmentTime / 4);
    EXPECT_EQ(Where(0xFF), "2200-227f");
    EXPECT_EQ(Weak(), "128 erased, 384 programmed");
}

TEST_F(FlashTest, OnlyPartsWithCumulativeEraseHaveWeakCells) {
    const ChipModel& older = *vboard::FindChipModel("msp430-56k-v110");
    for (const bool cumulative : {false, true}) {
        Fill(0x00);
        const ChipModel& model = cumulative ? older : vboard::DefaultChipModel();
        Flash flash = Make(model);
        (void)flash.BeginAreaErase(Region::kInfo);
        flash.Finish();
        EXPECT_EQ(Weak(model), cumulative ? "256 erased, 0 programmed" : "0 erased, 0 programmed");
    }
    m_options.cumulativeErase = false;
    m_eraseWords.fill(0);
    Fill(0x00);
    Flash flash = Make(older);
    (void)flash.BeginMassErase();
    flash.Finish();
    EXPECT_EQ(Weak(older), "0 erased, 0 programmed");
}

TEST_F(FlashTest, TheBootRomTellsThePartAndTakesNothing) {
    Fill(0x5A);
    Flash flash = Make();
    const std::string facts = "5a f2 49 00 00 00 00 00 00 00 00 01 61 00 00 00 00 5a";
    EXPECT_EQ(At(0x0FEF, 18), facts);
    Program(flash, 0x0FF0, Bytes(16, 0));
    EXPECT_EQ(At(0x0FEF, 18), facts);
    EXPECT_FALSE(flash.Holds(0x0FF0, 2));
}

TEST_F(FlashTest, WordsAreReadLowByteFirstAndWrapAtTheEnd) {
    m_memory[0xFFFF] = 0x34;
    m_memory[0x0000] = 0x12;
    EXPECT_EQ(Make().WordAt(0xFFFF), 0x1234);
}

TEST_F(FlashTest, NoClockAtAllIsTakenAsTheSlowestThereIs) {
    m_options.flashClockHz = 0;
    EXPECT_EQ(Make().BeginProgramming(0x2100, Bytes(2, 0)), 35s);
}

}  // namespace
