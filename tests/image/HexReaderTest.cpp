// SPDX-License-Identifier: MIT
#include "image/HexReader.h"

#include <gtest/gtest.h>

namespace image {
namespace {

/// Below and above what the images here are for.
HexReader Reader() {
    return {{{0x1000, 0x10FF}, {0x2100, 0xFFFF}}, "flash"};
}

HexReader Read(std::string_view text) {
    HexReader reader = Reader();
    reader.Take(text);
    reader.Finish();
    return reader;
}

/// Every finding: its line, '!' for a refusal, what is wrong.
std::string FoundIn(std::string_view text) {
    std::string lines;
    const HexReader reader = Read(text);
    for (const Finding& finding : reader.Found().Kept()) {
        EXPECT_FALSE(finding.remedy.empty());
        lines +=
            std::to_string(finding.line) + (finding.refused ? "! " : " ") + finding.what + "\n";
    }
    return lines;
}

const std::string kEnd = ":00000001FF\n";

TEST(AStrictReader, TakesBothCasesAllLineEndsAndBlanksBehindARecordWithoutAWord) {
    for (const std::string_view end : {"\n", "\r\n", "\r", " \n", "\t \r\n", "  \r"}) {
        std::string text;
        for (const std::string_view record :
             {":02210000abCD65", ":020000040000fA", ":0400000300002102D6", ":0400000500002102D4",
              ":00230000DD", "", ":00000001FF"}) {
            text += std::string(record) + std::string(record.empty() ? "\n" : end);
        }
        EXPECT_EQ(FoundIn(text), "") << text;
        EXPECT_EQ(Read(text).Image().CoveredBytes(), 2U);
        EXPECT_EQ(Read(text).Image().At(0x2100), 0xAB);
        EXPECT_EQ(Read(text).Image().At(0x2101), 0xCD);
    }
}

TEST(AStrictReader, CountsLinesAlikeForAllLineEnds) {
    for (const std::string_view lineEnd : {"\n", "\r\n", "\r"}) {
        const std::string end(lineEnd);
        EXPECT_EQ(
            FoundIn(":012100005589" + end + end + ":012101000000" + end + ":00000001FF" + end),
            "3! the checksum is DD, not 00\n");
    }
}

TEST(AStrictReader, FindsEverythingAtOnce) {
    EXPECT_EQ(FoundIn(":012100005589\n"
                      ":012101000000\n"
                      "0121010000DD\n"
                      ":0121\n"
                      ":0G2101000000\n"
                      ":012102000\n"
                      ":00000006FA\n"
                      ":020000050102F6\n"
                      " :0121010000DD\n"
                      "  \n"
                      ":00000001FF\n"
                      "# over\n"
                      "# and out\n"),
              "2! the checksum is DD, not 00\n"
              "3! a record begins with ':'\n"
              "4! the record's length is not the one it states\n"
              "5! '0G' are not two hexadecimal digits\n"
              "6! the number of digits is odd\n"
              "7! there is no record type 06\n"
              "8! a record of type 05 holds 4 bytes\n"
              "9! there are blanks before the record\n"
              "10! there is nothing but blanks in the line\n"
              "12! there is text after the end\n");
}

TEST(AStrictReader, TakesNothingOfARecordOfAnotherLengthThanItStates) {
    const HexReader reader = Read(":0121000055AADF\n" + kEnd);
    EXPECT_TRUE(reader.Found().Refused());
    EXPECT_EQ(reader.LineOf(0x2100), 0U);
}

TEST(AStrictReader, RefusesWhatIsNoRecordBetweenRecords) {
    const std::string good = ":012100005589\n";
    EXPECT_EQ(FoundIn("\xEF\xBB\xBF" + good + kEnd), "1! a record begins with ':'\n");
    EXPECT_EQ(FoundIn("firmware\n" + good + kEnd), "1! a record begins with ':'\n");
    EXPECT_EQ(FoundIn("\n" + good + kEnd), "1! the file begins with an empty line\n");
    EXPECT_EQ(FoundIn(good + std::string("\0\n", 2) + kEnd), "2! a record begins with ':'\n");
    EXPECT_EQ(FoundIn(good + " " + good + kEnd), "2! there are blanks before the record\n");
    EXPECT_EQ(FoundIn(good + "\t\n" + kEnd), "2! there is nothing but blanks in the line\n");
    EXPECT_EQ(FoundIn(good + "\n\r\n\r" + kEnd), "");
    EXPECT_EQ(FoundIn(good + kEnd + "\n\r\n"), "");
    EXPECT_EQ(FoundIn(good + kEnd + " \n"), "3! there is text after the end\n");
    EXPECT_EQ(FoundIn(good + kEnd + good + good), "3! there is text after the end\n");
    EXPECT_EQ(FoundIn(":0121000 5589\n" + kEnd), "1! '0 ' are not two hexadecimal digits\n");
    EXPECT_EQ(FoundIn(":01210000\x01\x80"
                      "89\n" +
                      kEnd),
              "1! '\\x01\\x80' are not two hexadecimal digits\n");
    EXPECT_EQ(FoundIn(":\x1F!\n" + kEnd), "1! '\\x1F!' are not two hexadecimal digits\n");
    EXPECT_EQ(FoundIn(":~\x7F\n" + kEnd), "1! '~\\x7F' are not two hexadecimal digits\n");
}

TEST(AStrictReader, RefusesALineThatIsLongerThanARecordCanBe) {
    EXPECT_EQ(FoundIn(":" + std::string(520, '0') + "\n" + kEnd),
              "1! the record's length is not the one it states\n");
    EXPECT_EQ(FoundIn(":" + std::string(521, '0') + "\n" + kEnd),
              "1! the line is longer than a record can be\n");
    EXPECT_EQ(FoundIn(":00" + std::string(600, ' ') + "0\n" + kEnd),
              "1! the line is longer than a record can be\n");
    EXPECT_EQ(FoundIn(":00000001FF" + std::string(600, ' ')), "");
    EXPECT_EQ(FoundIn(":" + std::string(20, ' ') + std::string(30, '0') + "\n" + kEnd),
              "1! '  ' are not two hexadecimal digits\n");
}

TEST(AStrictReader, RefusesAddressesOutsideOfTheMemoryThatItIsTold) {
    EXPECT_EQ(FoundIn(":0120FF00558B\n" + kEnd), "1! 0x20FF is beyond flash\n");
    EXPECT_EQ(FoundIn(":0210FF00558B0F\n" + kEnd), "1! 0x1100 is beyond flash\n");
    EXPECT_EQ(FoundIn(":020000040001F9\n:012100005589\n" + kEnd), "2! 0x12100 is beyond flash\n");
    EXPECT_EQ(FoundIn(":020000021000EC\n:012100005589\n" + kEnd), "2! 0x12100 is beyond flash\n");
    EXPECT_EQ(FoundIn(":020000020F00ED\n:012100005589\n" + kEnd), "2! 0x11100 is beyond flash\n");
    EXPECT_EQ(FoundIn(":020000040000FA\n:02FFFF00558B20\n" + kEnd), "2! 0x10000 is beyond flash\n");
    EXPECT_EQ(FoundIn(":02FFFF001122CD\n" + kEnd), "1! 0x10000 is beyond flash\n");
    EXPECT_EQ(Read(":020000020010EC\n" + kEnd).LineOf(0x2200), 0U);
    EXPECT_EQ(Read(":020000020010EC\n:012100005589\n" + kEnd).LineOf(0x2200), 2U);
}

TEST(AStrictReader, SaysEqualBytesThatAreGivenAgainAndRefusesOthers) {
    EXPECT_EQ(FoundIn(":02210000123497\n:0121000012CC\n" + kEnd),
              "2 0x2100 is given again with the same value\n");
    EXPECT_EQ(FoundIn(":02210000123497\n:02210000123497\n" + kEnd),
              "2 0x2100 is given again with the same value, and 1 more bytes\n");
    EXPECT_EQ(FoundIn(":02210000123497\n\n:0121010035A8\n" + kEnd),
              "3! 0x2101 is given twice with two values, before in line 1\n");
}

TEST(AStrictReader, GivesTheSameForEveryCutOfTheFile) {
    const std::string text =
        ":02210000123497 \r\n:0121000012CC\r\n\r:0121010035A8\n:00000001FF\n\nx";
    const std::string whole = FoundIn(text);
    for (std::size_t size = 1; size < 8; ++size) {
        HexReader reader = Reader();
        for (std::size_t place = 0; place < text.size(); place += size) {
            reader.Take(std::string_view(text).substr(place, size));
        }
        reader.Finish();
        EXPECT_EQ(reader.Found().Kept(), Read(text).Found().Kept()) << size;
    }
    EXPECT_EQ(whole,
              "2 0x2100 is given again with the same value\n"
              "4! 0x2101 is given twice with two values, before in line 1\n"
              "7! there is text after the end\n");
}

TEST(AStrictReader, EndsWithoutAnEndRecordInTheLineWhereItIsMissing) {
    EXPECT_EQ(FoundIn(""), "1! the end record is missing\n");
    EXPECT_EQ(FoundIn(":012100005589"), "1! the end record is missing\n");
    EXPECT_EQ(FoundIn(":012100005589\n"), "2! the end record is missing\n");
}

TEST(AStrictReader, KeepsTheFirstHundredFindingsAndThenLooksForNoMore) {
    std::string text;
    for (int line = 0; line < 1000; ++line) {
        text += "x\n";
    }
    const HexReader reader = Read(text);
    EXPECT_EQ(reader.Found().Kept().size(), Findings::kMostKept);
    EXPECT_EQ(reader.Found().Kept().back().line, 100U);
    EXPECT_TRUE(reader.Found().Enough());
}

TEST(AStrictReader, ShowsARefusalBehindAHundredThingsThatAreOnlySaid) {
    std::string text = ":012100005589\n";
    for (int line = 0; line < 150; ++line) {
        text += ":012100005589\n";
    }
    const HexReader taken = Read(text + ":00000001FF\n");
    EXPECT_FALSE(taken.Found().Refused());
    EXPECT_EQ(taken.Found().Kept().size(), Findings::kMostKept);
    EXPECT_EQ(taken.Found().Kept().back().line, 101U);
    const HexReader reader = Read(text);
    EXPECT_EQ(reader.Found().Kept().size(), Findings::kMostKept);
    ASSERT_NE(reader.Found().FirstRefusal(), nullptr);
    EXPECT_EQ(reader.Found().FirstRefusal()->what, "the end record is missing");
}

}  // namespace
}  // namespace image
