// SPDX-License-Identifier: MIT
#include "image/IntelHex.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <utility>

namespace image {
namespace {

MemoryImage ImageOf(std::initializer_list<std::pair<std::uint16_t, std::uint8_t>> bytes) {
    MemoryImage image;
    for (const auto& [address, value] : bytes) {
        image.Set(address, value);
    }
    return image;
}

MemoryImage ImageIn(std::string_view text) {
    MemoryImage image;
    std::string problem;
    EXPECT_TRUE(ReadIntelHex(text, image, problem)) << problem;
    return image;
}

std::string ProblemOf(std::string_view text) {
    const MemoryImage before = ImageOf({{7, 7}});
    MemoryImage image = before;
    std::string problem;
    EXPECT_FALSE(ReadIntelHex(text, image, problem));
    EXPECT_EQ(image, before) << "a refused file must leave the image alone";
    return problem;
}

TEST(AnIntelHexFile, WithTwoDataRecordsCoversTheirBytesAndNoOther) {
    EXPECT_EQ(ImageIn(":0321000001020ACF\n:01FFFF008081\n:00000001FF\n"),
              ImageOf({{0x2100, 1}, {0x2101, 2}, {0x2102, 10}, {0xFFFF, 0x80}}));
}

TEST(AnIntelHexFile, WithCarriageReturnsEmptyLinesLowerCaseAndNoLastLineEndIsRead) {
    EXPECT_EQ(ImageIn(":0321000001020acf\r\n\r\n:00000001ff"),
              ImageOf({{0x2100, 1}, {0x2101, 2}, {0x2102, 10}}));
}

TEST(AnIntelHexFile, WithASegmentBaseAddsSixteenTimesTheBase) {
    EXPECT_EQ(ImageIn(":020000020FFFEE\n:01000F00559B\n:00000001FF\n"), ImageOf({{0xFFFF, 0x55}}));
}

TEST(AnIntelHexFile, WithASegmentStartsOverAtTheEndOfTheSegment) {
    EXPECT_EQ(ImageIn(":020000020000FC\n:02FFFF001122CD\n:00000001FF\n"),
              ImageOf({{0xFFFF, 0x11}, {0x0000, 0x22}}));
}

TEST(AnIntelHexFile, WithEmptyAndStartRecordsCoversNothing) {
    EXPECT_EQ(ImageIn(":0000000000\n:0400000300002102D6\n:0400000500002102D4\n:020000040000FA\n"
                      ":00000001FF\n"),
              MemoryImage{});
}

TEST(AnIntelHexFile, ThatGivesAByteTwiceWithOneValueIsRead) {
    EXPECT_EQ(ImageIn(":0321000001020ACF\n:0121010002DB\n:00000001FF\n").CoveredBytes(), 3U);
}

TEST(AnIntelHexFile, IsRefusedWithTheLineThatIsToBlame) {
    EXPECT_EQ(ProblemOf(":0321000001020ACF\n:0121010003DA\n:00000001FF\n"),
              "line 2: 0x2101 is given twice with two values, before in line 1");
    EXPECT_EQ(ProblemOf(":0321000001020ACE\n"), "line 1: the checksum is CF, not CE");
    EXPECT_EQ(ProblemOf("0321000001020ACF\n"), "line 1: a record begins with ':'");
    EXPECT_EQ(ProblemOf(":032100000102OACF\n"), "line 1: 'OA' are not two hexadecimal digits");
    EXPECT_EQ(ProblemOf(":0321000001020A-1\n"), "line 1: '-1' are not two hexadecimal digits");
    EXPECT_EQ(ProblemOf(":0321000001020AC\n"), "line 1: the number of digits is odd");
    EXPECT_EQ(ProblemOf(":0421000001020ACE\n"),
              "line 1: the record's length is not the one it states");
    EXPECT_EQ(ProblemOf(":000000\n"), "line 1: the record's length is not the one it states");
    EXPECT_EQ(ProblemOf(":00000006FA\n"), "line 1: there is no record type 06");
    EXPECT_EQ(ProblemOf(":020000050102F6\n"), "line 1: a record of type 05 holds 4 bytes");
    EXPECT_EQ(ProblemOf(":0100000101FD\n"), "line 1: a record of type 01 holds 0 bytes");
}

TEST(AnIntelHexFile, IsRefusedWhereItGoesBeyondTheChipsMemory) {
    EXPECT_EQ(ProblemOf(":02FFFF001122CD\n:00000001FF\n"),
              "line 1: 0x10000 is beyond the chip's memory");
    EXPECT_EQ(ProblemOf(":020000040001F9\n:0100000055AA\n"),
              "line 2: 0x10000 is beyond the chip's memory");
    EXPECT_EQ(ProblemOf(":020000021000EC\n:0100000055AA\n"),
              "line 2: 0x10000 is beyond the chip's memory");
}

TEST(AnIntelHexFile, IsRefusedWithoutItsEndOrWithTextAfterIt) {
    EXPECT_EQ(ProblemOf(""), "line 1: the end record is missing");
    EXPECT_EQ(ProblemOf(":0321000001020ACF\n"), "line 2: the end record is missing");
    EXPECT_EQ(ProblemOf(":00000001FF\n:00000001FF\n"), "line 2: there is text after the end");
}

TEST(AnImage, IsWrittenInRowsThatEndAtGapsAndAtMultiplesOfSixteen) {
    MemoryImage image = ImageOf({{0x210E, 14}, {0x210F, 15}, {0x2123, 0xAB}});
    for (std::uint8_t value = 0; value < 16; ++value) {
        image.Set(static_cast<std::uint16_t>(0x2110 + value), value);
    }
    EXPECT_EQ(WriteIntelHex(image),
              ":02210E000E0FB2\n"
              ":10211000000102030405060708090A0B0C0D0E0F47\n"
              ":01212300AB10\n"
              ":00000001FF\n");
}

TEST(AnImage, InWholeWordsHasTheOtherHalfOfALoneByteErased) {
    EXPECT_EQ(Canonical(ImageOf(
                  {{0, 0}, {0x2101, 1}, {0x2102, 2}, {0x2104, 4}, {0x2105, 5}, {0xFFFF, 6}})),
              ImageOf({{0, 0},
                       {1, 0xFF},
                       {0x2100, 0xFF},
                       {0x2101, 1},
                       {0x2102, 2},
                       {0x2103, 0xFF},
                       {0x2104, 4},
                       {0x2105, 5},
                       {0xFFFE, 0xFF},
                       {0xFFFF, 6}}));
}

TEST(AnImage, ThatCoversAllMemoryIsTheSameAfterWritingAndReading) {
    MemoryImage image;
    for (std::size_t address = 0; address < MemoryImage::kSizeBytes; ++address) {
        image.Set(static_cast<std::uint16_t>(address), static_cast<std::uint8_t>(address * 7 / 5));
    }
    EXPECT_EQ(ImageIn(WriteIntelHex(image)), image);
}

TEST(AnImage, ThatCoversNothingIsTheEndRecordAlone) {
    EXPECT_EQ(WriteIntelHex(MemoryImage{}), ":00000001FF\n");
}

}  // namespace
}  // namespace image
