// SPDX-License-Identifier: MIT

// Harness, message wire, serial lane: what of the host's side reaches the chip.

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>

#include "tests/host/HostBench.h"

namespace host {
namespace {

using vboard::CharacterBits;
using vboard::Drive;
using vboard::Encode;
using vboard::HostLine;
using vboard::Parity;
using vboard::Sample;
using vboard::SerialFormat;
using std::chrono_literals::operator""ms;

TEST(Harness, EachLineReachesItsPin) {
    HostBench bench;
    bench.harness.Set(HostLine::kReset, Drive::kHigh);
    EXPECT_EQ(bench.scribe.Take(), "reset_gpio=1; chip_hold=1; chip_mode=reset");
    bench.harness.Set(HostLine::kRxdNmi, Drive::kLow);
    EXPECT_EQ(bench.scribe.Take(), "rxd_nmi_gpio=0; chip_rst_nmi=0");
    bench.harness.Set(HostLine::kMspTck, Drive::kLow);
    EXPECT_EQ(bench.scribe.Take(), "msp_tck_gpio=0; chip_tck=0");
}

TEST(Harness, AReleasedLineGoesWhereItsResistorPullsIt) {
    HostBench bench;
    EXPECT_FALSE(bench.harness.IsHigh(HostLine::kReset));
    EXPECT_TRUE(bench.harness.IsHigh(HostLine::kRxdNmi));
    EXPECT_TRUE(bench.harness.IsHigh(HostLine::kMspTck));
    bench.harness.Set(HostLine::kMspTck, Drive::kLow);
    bench.harness.Set(HostLine::kMspTck, Drive::kReleased);
    EXPECT_EQ(bench.scribe.Take(), "msp_tck_gpio=0; chip_tck=0; msp_tck_gpio=1; chip_tck=1");
}

TEST(Harness, TheSameLevelDrivenAnotherWayIsNoEdge) {
    HostBench bench;
    bench.harness.Set(HostLine::kRxdNmi, Drive::kHigh);
    bench.harness.Set(HostLine::kRxdNmi, Drive::kReleased);
    EXPECT_EQ(bench.scribe.Take(), "");
}

TEST(CommDevice, AsksTheApplicationAndGetsItsVersion) {
    HostBench bench;
    const auto opened = bench.comm.Open(O_RDWR);
    EXPECT_EQ(opened.file->Write(Bytes{2, 0xB4, 0x00}, false), 3);
    Bytes answer(16);
    EXPECT_EQ(opened.file->Read(answer, false), 4);
    answer.resize(4);
    EXPECT_EQ(answer, (Bytes{3, 0xB5, 0x01, 0x00}));
    EXPECT_EQ(bench.scribe.Take(), "message >b4 00; message <b5 01 00");
}

TEST(CommDevice, AMessageIsReadInPieces) {
    HostBench bench;
    const auto opened = bench.comm.Open(O_RDWR);
    EXPECT_EQ(opened.file->Write(Bytes{2, 0xB4, 0x00}, false), 3);
    Bytes two(2);
    EXPECT_EQ(opened.file->Read(two, false), 2);
    EXPECT_EQ(two, (Bytes{3, 0xB5}));
    EXPECT_TRUE(opened.file->Ready().readable);
    EXPECT_EQ(opened.file->Read(two, false), 2);
    EXPECT_EQ(two, (Bytes{0x01, 0x00}));
    EXPECT_FALSE(opened.file->Ready().readable);
}

TEST(CommDevice, RefusesAWriteThatIsNotOneWholeMessage) {
    HostBench bench;
    const auto opened = bench.comm.Open(O_RDWR);
    EXPECT_EQ(opened.file->Write(Bytes{}, false), -EINVAL);
    EXPECT_EQ(opened.file->Write(Bytes{3, 0xB4, 0x00}, false), -EINVAL);
    EXPECT_EQ(opened.file->Write(Bytes{1, 0xB4, 0x00}, false), -EINVAL);
    EXPECT_EQ(bench.scribe.Take(), "");
}

TEST(CommDevice, TheTristateSwitchCutsTheLinkBothWays) {
    HostBench bench;
    const auto opened = bench.comm.Open(O_RDWR);
    int on = 1;
    EXPECT_EQ(opened.file->Ioctl(vboard::kTristateRequest, &on), 0);
    EXPECT_EQ(opened.file->Write(Bytes{2, 0xB4, 0x00}, false), 3);
    Bytes answer(16);
    EXPECT_EQ(opened.file->Read(answer, true), -EAGAIN);
    int off = 0;
    EXPECT_EQ(opened.file->Ioctl(vboard::kTristateRequest, &off), 0);
    EXPECT_EQ(opened.file->Write(Bytes{2, 0xB4, 0x00}, false), 3);
    EXPECT_EQ(opened.file->Read(answer, false), 4);
}

TEST(CommDevice, KnowsOneRequestAndNeedsItsArgument) {
    HostBench bench;
    const auto opened = bench.comm.Open(O_RDWR);
    int value = 0;
    EXPECT_EQ(opened.file->Ioctl(0x5401, &value), -ENOTTY);
    EXPECT_EQ(opened.file->Ioctl(vboard::kTristateRequest, nullptr), -EFAULT);
    EXPECT_FALSE(opened.file->IsTerminal());
}

TEST(CommDevice, WhatNobodyReadIsGoneWithTheLastClose) {
    HostBench bench;
    {
        const auto first = bench.comm.Open(O_RDWR);
        EXPECT_EQ(first.file->Write(Bytes{2, 0xB4, 0x00}, false), 3);
        bench.clock.Pass(100ms);
        EXPECT_TRUE(first.file->Ready().readable);
    }
    EXPECT_FALSE(bench.comm.Open(O_RDWR).file->Ready().readable);
}

TEST(CommDevice, AReadThatNothingCanAnswerIsSaidToBeOne) {
    HostBench bench(vboard::ChipMode::kLoader);
    const auto opened = bench.comm.Open(O_RDWR);
    EXPECT_EQ(opened.file->Write(Bytes{2, 0xB4, 0x00}, false), 3);
    Bytes answer(16);
    EXPECT_EQ(opened.file->Read(answer, false), vboard::kWouldWaitForEver);
}

vboard::ReceivedCharacter Received(std::uint8_t value, const SerialFormat& sender,
                                   const SerialFormat& receiver) {
    return Sample(Encode(value, sender), sender.BitTime(), receiver);
}

TEST(SerialLane, EqualFormatsCarryEveryByte) {
    for (const Parity parity : {Parity::kNone, Parity::kEven, Parity::kOdd}) {
        for (const std::uint8_t stopBits : {std::uint8_t{1}, std::uint8_t{2}}) {
            const SerialFormat format{9600, 8, parity, stopBits};
            for (unsigned value = 0; value < 256; ++value) {
                const auto got = Received(static_cast<std::uint8_t>(value), format, format);
                EXPECT_EQ(got.value, value);
                EXPECT_FALSE(got.parityError);
                EXPECT_FALSE(got.framingError);
            }
        }
    }
}

TEST(SerialLane, TheOtherParityIsAnErrorForEveryByte) {
    const SerialFormat even{9600, 8, Parity::kEven, 1};
    const SerialFormat odd{9600, 8, Parity::kOdd, 1};
    for (unsigned value = 0; value < 256; ++value) {
        const auto got = Received(static_cast<std::uint8_t>(value), even, odd);
        EXPECT_EQ(got.value, value);
        EXPECT_TRUE(got.parityError) << value;
        EXPECT_FALSE(got.framingError) << value;
    }
}

TEST(SerialLane, NoParityReadAsParityIsAnErrorForHalfOfTheBytes) {
    const SerialFormat none{9600, 8, Parity::kNone, 1};
    const SerialFormat even{9600, 8, Parity::kEven, 1};
    // The stop bit is taken for the parity bit, so a byte with an odd count of ones passes.
    EXPECT_TRUE(Received(0x00, none, even).parityError);
    EXPECT_FALSE(Received(0x01, none, even).parityError);
}

TEST(SerialLane, ParityReadAsNoneIsAFramingErrorWhereThatBitIsLow) {
    const SerialFormat even{9600, 8, Parity::kEven, 1};
    const SerialFormat none{9600, 8, Parity::kNone, 1};
    EXPECT_TRUE(Received(0x00, even, none).framingError);
    EXPECT_FALSE(Received(0x01, even, none).framingError);
}

TEST(SerialLane, TwiceTheSpeedReadsTheFirstHalfTwice) {
    const SerialFormat slow{9600, 8, Parity::kNone, 1};
    const SerialFormat fast{19200, 8, Parity::kNone, 1};
    // Each sent bit counts for two, and the start bit's second half is the first data bit.
    const auto got = Received(0b0000'0101, slow, fast);
    EXPECT_EQ(got.value, 0b0110'0110);
    EXPECT_TRUE(got.framingError);
    const auto low = Received(0x00, slow, fast);
    EXPECT_EQ(low.value, 0);
    EXPECT_TRUE(low.framingError);
}

TEST(SerialLane, HalfTheSpeedSeesTheIdleLineBehindTheCharacter) {
    const SerialFormat slow{9600, 8, Parity::kNone, 1};
    const SerialFormat fast{19200, 8, Parity::kNone, 1};
    const auto got = Received(0x00, fast, slow);
    // The nine low bits last as long as a start bit and three data bits; the rest is idle line.
    EXPECT_EQ(got.value, 0xF8);
    EXPECT_FALSE(got.framingError);
}

TEST(SerialLane, ASmallDifferenceOfSpeedIsForgiven) {
    for (const std::uint32_t bitsPerSecond : {9250U, 9950U}) {
        const auto got =
            Received(0xA5, {bitsPerSecond, 8, Parity::kEven, 1}, {9600, 8, Parity::kEven, 1});
        EXPECT_EQ(got.value, 0xA5) << bitsPerSecond;
        EXPECT_FALSE(got.parityError || got.framingError) << bitsPerSecond;
    }
}

TEST(SerialLane, SevenBitsDropTheEighth) {
    const SerialFormat seven{9600, 7, Parity::kNone, 1};
    EXPECT_EQ(Received(0xFF, seven, seven).value, 0x7F);
}

TEST(SerialWire, CharactersFollowEachOtherWithoutAGap) {
    HostBench bench(vboard::ChipMode::kLoader);
    bench.serialWire.SetHostFormat({9600, 8, Parity::kEven, 1});
    bench.serialWire.SendToChip(0x01);
    bench.serialWire.SendToChip(0x02);
    EXPECT_EQ(bench.serialWire.PendingToChip(), 2U);
    const vboard::Duration character = SerialFormat{}.CharacterTime();
    bench.clock.Pass(character);
    EXPECT_EQ(bench.serialWire.PendingToChip(), 1U);
    bench.clock.Pass(character);
    EXPECT_EQ(bench.serialWire.PendingToChip(), 0U);
}

TEST(SerialWire, DroppingTheQueueLetsTheCharacterOnTheWireGoOn) {
    HostBench bench(vboard::ChipMode::kLoader);
    bench.serialWire.SetHostFormat({9600, 8, Parity::kEven, 1});
    for (const std::uint8_t value : std::vector<std::uint8_t>{0x80, 0x01, 0x02}) {
        bench.serialWire.SendToChip(value);
    }
    bench.clock.Pass(1ms);
    bench.serialWire.DropQueuedToChip();
    bench.clock.Pass(1ms);
    EXPECT_NE(bench.scribe.Take().find("<90"), std::string::npos);
    EXPECT_EQ(bench.serialWire.PendingToChip(), 0U);
}

}  // namespace
}  // namespace host
