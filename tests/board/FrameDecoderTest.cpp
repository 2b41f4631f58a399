// SPDX-License-Identifier: MIT
#include "vboard/chip/FrameDecoder.h"

#include <gtest/gtest.h>

#include "support/ChipBench.h"

namespace {

using bench::Bytes;
using bench::Frame;
using bench::FromHex;
using bench::Hex;
using vboard::ChecksumOf;
using vboard::FrameDecoder;
using Defect = FrameDecoder::Defect;
using Status = FrameDecoder::Status;

// How many characters the decoder took, and its verdict: "10 whole", "1 bad header", "9 more".
std::string Decode(FrameDecoder& decoder, const Bytes& bytes) {
    std::size_t taken = 0;
    for (const std::uint8_t value : bytes) {
        ++taken;
        const Status status = decoder.Take({value, false, false});
        if (status == Status::kWhole) {
            return std::to_string(taken) + " whole";
        }
        if (status == Status::kDefect) {
            return std::to_string(taken) + " " + std::string(DefectWords(decoder.WhatIsWrong()));
        }
    }
    return std::to_string(taken) + " more";
}

std::string Decode(const Bytes& bytes) {
    FrameDecoder decoder;
    return Decode(decoder, bytes);
}

TEST(FrameChecksumTest, ThePublishedFramesOfHostAndLoaderFit) {
    const Bytes host = FromHex("80 14 04 04 00 0f 0e 00");
    EXPECT_EQ(ChecksumOf(host), (vboard::FrameChecksum{0x75, 0xE0}));
    const Bytes loader = FromHex("80 00 0e 0e f2 13 40 40 00 00 00 00 00 00 02 01 01 01");
    EXPECT_EQ(ChecksumOf(loader), (vboard::FrameChecksum{0xC0, 0xA2}));
}

TEST(FrameChecksumTest, OfNothingIsAllOnes) {
    EXPECT_EQ(ChecksumOf({}), (vboard::FrameChecksum{0xFF, 0xFF}));
}

TEST(FrameDecoderTest, ThePublishedHostFrameIsWhole) {
    FrameDecoder decoder;
    EXPECT_EQ(Decode(decoder, FromHex("80 14 04 04 00 0f 0e 00 75 e0")), "10 whole");
    EXPECT_EQ(decoder.Taken().command, 0x14);
    EXPECT_EQ(decoder.Taken().address, 0x0F00);
    EXPECT_EQ(decoder.Taken().lengthField, 0x000E);
    EXPECT_TRUE(decoder.Taken().data.empty());
}

TEST(FrameDecoderTest, AWriteFrameGivesItsFields) {
    FrameDecoder decoder;
    EXPECT_EQ(Decode(decoder, FromHex("80 12 06 06 00 21 02 00 34 12 4f d8")), "12 whole");
    EXPECT_EQ(decoder.Taken().command, 0x12);
    EXPECT_EQ(decoder.Taken().address, 0x2100);
    EXPECT_EQ(decoder.Taken().lengthField, 2);
    EXPECT_EQ(Hex(decoder.Taken().data), "34 12");
}

TEST(FrameDecoderTest, EveryEvenLengthUpTo250BytesIsWholeAtItsLastCharacter) {
    for (std::size_t count = 0; count <= 250; count += 2) {
        const Bytes frame = Frame(0x12, 0x2100, 0, bench::Repeat(0x5A, count));
        FrameDecoder decoder;
        ASSERT_EQ(Decode(decoder, frame), std::to_string(count + 10) + " whole");
        ASSERT_EQ(decoder.Taken().data.size(), count);
    }
}

TEST(FrameDecoderTest, EveryPairOfLengthBytesIsJudgedAtTheSecond) {
    for (int l1 = 0; l1 < 256; ++l1) {
        for (int l2 = 0; l2 < 256; ++l2) {
            const bool good = l1 == l2 && l1 % 2 == 0 && l1 >= 4 && l1 <= 254;
            const Bytes head{0x80, 0x12, static_cast<std::uint8_t>(l1),
                             static_cast<std::uint8_t>(l2)};
            ASSERT_EQ(Decode(head), good ? "4 more" : "4 bad lengths") << l1 << " " << l2;
        }
    }
}

TEST(FrameDecoderTest, AnyFirstCharacterButTheHeaderIsADefectAtOnce) {
    for (int first = 0; first < 256; ++first) {
        EXPECT_EQ(Decode({static_cast<std::uint8_t>(first)}),
                  first >= 0x80 && first <= 0x8F ? "1 more" : "1 bad header");
    }
}

TEST(FrameDecoderTest, EverySingleChangedBitIsSeen) {
    const Bytes good = FromHex("80 12 06 06 00 21 02 00 34 12 4f d8");
    for (std::size_t bit = 0; bit < good.size() * 8; ++bit) {
        Bytes bad = good;
        bad[bit / 8] = static_cast<std::uint8_t>(bad[bit / 8] ^ (1U << (bit % 8)));
        const std::string verdict = Decode(bad);
        const bool inHeader = bit >= 4 && bit < 8;
        const bool inLengths = bit / 8 == 2 || bit / 8 == 3;
        ASSERT_EQ(verdict, inHeader    ? "1 bad header"
                           : inLengths ? "4 bad lengths"
                                       : "12 bad checksum")
            << bit;
    }
}

TEST(FrameDecoderTest, ExchangedChecksumBytesAreADefect) {
    EXPECT_EQ(Decode(FromHex("80 14 04 04 00 0f 0e 00 e0 75")), "10 bad checksum");
}

TEST(FrameDecoderTest, ADamagedCharacterIsADefectWhereverItIs) {
    const Bytes good = FromHex("80 14 04 04 00 0f 0e 00 75 e0");
    for (std::size_t damaged = 0; damaged < good.size(); ++damaged) {
        FrameDecoder decoder;
        for (std::size_t i = 0; i < damaged; ++i) {
            ASSERT_EQ(decoder.Take({good[i], false, false}), Status::kIncomplete);
        }
        FrameDecoder framing = decoder;
        EXPECT_EQ(decoder.Take({good[damaged], true, false}), Status::kDefect);
        EXPECT_EQ(decoder.WhatIsWrong(), Defect::kParity);
        EXPECT_EQ(framing.Take({good[damaged], false, true}), Status::kDefect);
        EXPECT_EQ(framing.WhatIsWrong(), Defect::kFraming);
    }
}

TEST(FrameDecoderTest, AFrameThatStopsIsFilledByWhatComesNext) {
    FrameDecoder decoder;
    EXPECT_EQ(Decode(decoder, FromHex("80 14 04 04 00")), "5 more");
    EXPECT_EQ(Decode(decoder, FromHex("0f 0e 00 75 e0")), "5 whole");
}

TEST(FrameDecoderTest, FieldsThatHaveNotComeAreZero) {
    FrameDecoder decoder;
    EXPECT_EQ(Decode(decoder, FromHex("80 12 06 06 00 21 02 00 34 12 4f d8")), "12 whole");
    decoder.Reset();
    EXPECT_EQ(Decode(decoder, FromHex("80 14 04 05")), "4 bad lengths");
    EXPECT_EQ(decoder.Taken().command, 0x14);
    EXPECT_EQ(decoder.Taken().address, 0);
    EXPECT_TRUE(decoder.Taken().data.empty());
}

TEST(FrameDecoderDeathTest, NothingIsTakenBehindTheLongestFrameWithoutAReset) {
    FrameDecoder decoder;
    const Bytes longest = Frame(0x12, 0x2100, 250, bench::Repeat(0xFF, 250));
    EXPECT_EQ(Decode(decoder, longest), "260 whole");
    EXPECT_DEATH((void)decoder.Take({0x80, false, false}),
                 "vboard: mistake at .*: a decoder is reset behind its verdict");
}

TEST(FrameDecoderTest, ADroppedCharacterIsNeverAWholeFrameAtItsEnd) {
    const Bytes good = Frame(0x12, 0x2100, 16,
                             bench::FromHex("00 01 02 03 04 05 06 07 08 09 0a "
                                            "0b 0c 0d 0e 0f"));
    for (std::size_t dropped = 0; dropped < good.size(); ++dropped) {
        Bytes bad = good;
        bad.erase(bad.begin() + static_cast<std::ptrdiff_t>(dropped));
        EXPECT_EQ(Decode(bad).find("whole"), std::string::npos) << dropped;
    }
}

TEST(FrameDecoderTest, NoNoiseTakesItOutOfBounds) {
    std::uint32_t draw = 20240607;
    FrameDecoder decoder;
    for (int i = 0; i < 200'000; ++i) {
        draw = draw * 1664525 + 1013904223;
        const auto value = static_cast<std::uint8_t>((draw >> 30) == 0 ? 0x80 : draw >> 22);
        if (decoder.Take({value, (draw >> 14 & 0xFF) == 0, false}) != Status::kIncomplete) {
            ASSERT_LE(decoder.Taken().data.size(), 250U);
            decoder.Reset();
        }
    }
}

TEST(FrameDecoderTest, AfterAResetNothingIsLeftOfTheFrameBefore) {
    FrameDecoder decoder;
    EXPECT_EQ(Decode(decoder, Frame(0x14, 0x2134, 0x5678)), "10 whole");
    decoder.Reset();
    EXPECT_EQ(Decode(decoder, FromHex("80 16 04 04")), "4 more");
    const vboard::Frame begun = decoder.Taken();
    EXPECT_EQ(begun.command, 0x16);
    EXPECT_EQ(begun.address, 0);
    EXPECT_EQ(begun.lengthField, 0);
    EXPECT_TRUE(begun.data.empty());
    EXPECT_EQ(Decode(decoder, FromHex("34 21 78 56 00 00")), "6 bad checksum");
    decoder.Reset();
    EXPECT_EQ(decoder.WhatIsWrong(), Defect::kNone);
}

}  // namespace
