// SPDX-License-Identifier: MIT

// Harness, message wire, serial lane: what of the host's side reaches the chip.

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <utility>

#include "tests/host/HostBench.h"
#include "vboard/text/HexText.h"
#include "vboard/wires/UartReceiver.h"

namespace host {
namespace {

using vboard::Drive;
using vboard::HostLine;
using vboard::Parity;
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

/// What has come for the host when everything is over, "03 b5 01 00".
std::string Received(HostBench& bench, vboard::DeviceFile& device) {
    bench.clock.Pass(100ms);
    Bytes answer(16);
    const auto count = device.Read(answer, true);
    answer.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return vboard::HexText(answer);
}

TEST(CommDevice, TheTristateSwitchCutsTheLinkBothWays) {
    HostBench bench;
    const auto opened = bench.comm.Open(O_RDWR);
    int on = 1;
    EXPECT_EQ(opened.file->Ioctl(vboard::kTristateRequest, &on), 0);
    EXPECT_EQ(opened.file->Write(Bytes{2, 0xB4, 0x00}, false), 3);
    EXPECT_EQ(Received(bench, *opened.file), "");
    EXPECT_EQ(opened.file->Ioctl(vboard::kTristateRequest, &on), 0);
    int off = 0;
    EXPECT_EQ(opened.file->Ioctl(vboard::kTristateRequest, &off), 0);
    EXPECT_EQ(opened.file->Write(Bytes{2, 0xB4, 0x00}, false), 3);
    EXPECT_EQ(Received(bench, *opened.file), "03 b5 01 00");
    EXPECT_EQ(bench.scribe.Take(),
              "tristate=1; message >b4 00; tristate=0; message >b4 00; message <b5 01 00");
}

TEST(MessageWire, LosesWhatTheHostSendsWhileItIsCutThoughItIsJoinedBeforeTheAnswer) {
    HostBench bench;
    const auto opened = bench.comm.Open(O_RDWR);
    bench.messageWire.Cut(true);
    bench.messageWire.SendToChip(Bytes{0xB4, 0x00});
    bench.messageWire.Cut(false);
    EXPECT_EQ(Received(bench, *opened.file), "");
    EXPECT_EQ(bench.scribe.Take(), "message >b4 00");
}

TEST(MessageWire, LosesTheAnswerThatComesWhileItIsCut) {
    HostBench bench;
    const auto opened = bench.comm.Open(O_RDWR);
    bench.messageWire.SendToChip(Bytes{0xB4, 0x00});
    bench.messageWire.Cut(true);
    bench.clock.Pass(100ms);
    bench.messageWire.Cut(false);
    EXPECT_EQ(Received(bench, *opened.file), "");
    EXPECT_EQ(bench.scribe.Take(), "message >b4 00; message <b5 01 00");
}

TEST(Harness, RestoresTheCutOfTheSecondLinkAndItsEnd) {
    HostBench bench;
    const auto opened = bench.comm.Open(O_RDWR);
    std::array<Drive, vboard::kHostLineCount> released{};
    released.fill(Drive::kReleased);
    bench.harness.Restore(released, true);
    EXPECT_TRUE(bench.harness.Tristate());
    EXPECT_EQ(bench.scribe.Take(), "reset_gpio=0; rxd_nmi_gpio=1; msp_tck_gpio=1; tristate=1");
    bench.messageWire.SendToChip(Bytes{0xB4, 0x00});
    EXPECT_EQ(Received(bench, *opened.file), "");
    static_cast<void>(bench.scribe.Take());
    bench.harness.Restore(released, false);
    EXPECT_EQ(bench.scribe.Take(), "reset_gpio=0; rxd_nmi_gpio=1; msp_tck_gpio=1; tristate=0");
    bench.messageWire.SendToChip(Bytes{0xB4, 0x00});
    EXPECT_EQ(Received(bench, *opened.file), "03 b5 01 00");
}

TEST(CommDevice, AMessageThatComesWhileNobodyHasItOpenIsLost) {
    HostBench bench;
    bench.messageWire.SendToChip(Bytes{0xB4, 0x00});
    bench.clock.Pass(100ms);
    EXPECT_EQ(bench.scribe.Take(), "message >b4 00; message <b5 01 00");
    EXPECT_EQ(Received(bench, *bench.comm.Open(O_RDWR).file), "");
}

TEST(CommDevice, AnyTristateArgumentButZeroCutsTheLink) {
    for (const int state : {1, 2, -1, 0x100, 0}) {
        HostBench bench;
        const auto opened = bench.comm.Open(O_RDWR);
        int argument = state;
        EXPECT_EQ(opened.file->Ioctl(vboard::kTristateRequest, &argument), 0);
        EXPECT_EQ(bench.harness.Tristate(), state != 0) << state;
    }
}

TEST(CommDevice, KnowsOneRequestAndNeedsItsArgument) {
    HostBench bench;
    const auto opened = bench.comm.Open(O_RDWR);
    int value = 0;
    EXPECT_EQ(opened.file->Ioctl(0x5401, &value), -ENOTTY);
    EXPECT_EQ(opened.file->Ioctl(vboard::kTristateRequest, nullptr), -EFAULT);
    EXPECT_FALSE(opened.file->IsTerminal());
    value = 2;
    EXPECT_EQ(opened.file->Describe(vboard::kTristateRequest, &value), "tristate 2");
    EXPECT_EQ(opened.file->Describe(0x5401, &value), "0x5401");
    EXPECT_NE(opened.file->Describe(vboard::kTristateRequest, nullptr).find("0x"),
              std::string::npos);
}

TEST(CommDevice, IsNoTerminalAndHasNoPlaceToSeek) {
    HostBench bench;
    const auto file = bench.comm.Open(O_RDWR).file;
    termios settings{};
    EXPECT_EQ(file->GetAttributes(settings), -ENOTTY);
    EXPECT_EQ(file->SetAttributes(TCSANOW, settings), -ENOTTY);
    EXPECT_EQ(file->Drain(), -ENOTTY);
    EXPECT_EQ(file->Flush(TCIFLUSH), -ENOTTY);
    EXPECT_EQ(file->SendBreak(), -ENOTTY);
    EXPECT_EQ(file->ControlFlow(TCOON), -ENOTTY);
    EXPECT_EQ(file->Seek(0, 0), -ESPIPE);
}

TEST(CommDevice, AReadThatMayNotWaitTakesAMillisecondAndOneOfNothingNone) {
    HostBench bench;
    const auto file = bench.comm.Open(O_RDWR).file;
    Bytes answer(16);
    EXPECT_EQ(file->Read({}, false), 0);
    EXPECT_EQ(bench.clock.Now().time_since_epoch(), 0ms);
    EXPECT_EQ(file->Read(answer, true), -EAGAIN);
    EXPECT_EQ(bench.clock.Now().time_since_epoch(), 1ms);
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

/// A lane between two ends with formats of their own.
class LaneBench {
public:
    explicit LaneBench(const SerialFormat& receiver) : m_receiver(receiver) {}

    LaneBench& Send(const Bytes& values, const SerialFormat& sender) {
        for (const std::uint8_t value : values) {
            lane.Send(value, sender);
        }
        return *this;
    }
    void SetReceiver(const SerialFormat& format) { m_receiver = format; }
    /// What has been received, "66 framing, e6".
    std::string Got() {
        clock.Settle(vboard::Instant::max());
        std::string text;
        for (const auto& character : received) {
            text += (text.empty() ? "" : ", ") + vboard::HexText({&character.value, 1}) +
                    (character.parityError ? " parity" : "") +
                    (character.framingError ? " framing" : "");
        }
        return text;
    }

    vboard::VirtualClock clock;
    std::vector<vboard::ReceivedCharacter> received;
    std::vector<vboard::Instant> receivedAt;
    Scribe scribe;

private:
    vboard::Faults m_faults;
    SerialFormat m_receiver;

public:
    vboard::SerialLane lane{clock,
                            scribe,
                            m_faults,
                            vboard::Direction::kHostToChip,
                            [this]() -> const SerialFormat& { return m_receiver; },
                            [this](const vboard::ReceivedCharacter& character) {
                                received.push_back(character);
                                receivedAt.push_back(clock.Now());
                            }};
};

vboard::ReceivedCharacter Received(std::uint8_t value, const SerialFormat& sender,
                                   const SerialFormat& receiver) {
    LaneBench bench(receiver);
    bench.Send({value}, sender).Got();
    EXPECT_FALSE(bench.received.empty());
    return bench.received.empty() ? vboard::ReceivedCharacter{} : bench.received.front();
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

TEST(SerialLane, ASlowSendersCharacterIsReadAsTwoWhereItsLineFallsTwice) {
    const SerialFormat slow{4800, 8, Parity::kNone, 1};
    const SerialFormat fast{9600, 8, Parity::kNone, 1};
    // In bits of the receiver 00 11 00 11 00 11 00 11 00 11: the first stop bit falls on a low one,
    // and the next fall after it begins another character.
    LaneBench bench(fast);
    EXPECT_EQ(bench.Send({0x55}, slow).Got(), "66 framing, e6");
    EXPECT_EQ(bench.received[0].start, vboard::Instant{});
    EXPECT_EQ(bench.received[1].start, vboard::Instant{vboard::TimeOfBits(12, 9600)});
    EXPECT_EQ(LaneBench(fast).Send({0x00}, slow).Got(), "00 framing") << "nothing falls again";
}

TEST(SerialLane, AFastSendersCharactersAreReadAsFewer) {
    const SerialFormat slow{9600, 8, Parity::kNone, 1};
    const SerialFormat fast{28800, 8, Parity::kNone, 1};
    // Three bits of the sender for one of the receiver, which looks at the middle one of them.
    EXPECT_EQ(LaneBench(slow).Send({0x38, 0xC7, 0xFF}, fast).Got(), "e9");
    EXPECT_EQ(LaneBench(slow).Send({0x00, 0x00, 0x00, 0xFF}, fast).Got(), "20 framing");
}

TEST(SerialLane, OfAnEdgeInTheMiddleOfABitWhatFollowsIsRead) {
    const SerialFormat slow{9600, 8, Parity::kNone, 1};
    // At twice the speed every edge of the sender's is in the middle of a bit, or between two.
    EXPECT_EQ(LaneBench(slow).Send({0xAA}, {19200, 8, Parity::kNone, 1}).Got(), "f8");
    EXPECT_EQ(LaneBench(slow).Send({0x55}, {19200, 8, Parity::kNone, 1}).Got(), "")
        << "what follows the edge in the start bit is high";
}

TEST(SerialLane, AFallThatDoesNotLastForHalfABitBeginsNothing) {
    const SerialFormat slow{9600, 8, Parity::kEven, 1};
    const SerialFormat fast{38400, 8, Parity::kNone, 1};
    EXPECT_EQ(LaneBench(slow).Send({0xFF, 0xFF, 0xFF}, fast).Got(), "");
}

TEST(SerialLane, AfterCharactersOfAnotherSpeedTheNextOneIsReadAsItIs) {
    const SerialFormat format{9600, 8, Parity::kEven, 1};
    for (const std::uint32_t bitsPerSecond : {300U, 4800U, 28800U, 115200U}) {
        LaneBench bench(format);
        bench.Send({0x13, 0x37}, {bitsPerSecond, 8, Parity::kEven, 2}).Got();
        bench.clock.Pass(10ms);
        bench.received.clear();
        EXPECT_EQ(bench.Send({0x5A, 0x80}, format).Got(), "5a, 80") << bitsPerSecond;
    }
}

TEST(SerialLane, ABreakIsAZeroWithAFramingErrorAndWhatIsQueuedWaitsForItsEnd) {
    const SerialFormat format{9600, 8, Parity::kEven, 1};
    LaneBench bench(format);
    bench.Send({0x80}, format).lane.SetBreak(true);
    bench.Send({0x12}, format).clock.Pass(250ms);
    EXPECT_EQ(bench.Got(), "80, 00 framing");
    EXPECT_EQ(bench.received[1].start, vboard::Instant{format.CharacterTime()});
    bench.lane.SetBreak(false);
    EXPECT_EQ(bench.Got(), "80, 00 framing, 12");
    EXPECT_EQ(bench.scribe.Take(), ">80; > low; > high; >12");
}

TEST(SerialLane, ABreakOfHalfACharacterIsReadAsItsBits) {
    const SerialFormat format{9600, 8, Parity::kNone, 1};
    LaneBench bench(format);
    bench.lane.SetBreak(true);
    bench.clock.Pass(vboard::TimeOfBits(5, 9600));
    bench.lane.SetBreak(false);
    bench.clock.Pass(10ms);
    EXPECT_EQ(bench.Send({0x5A}, format).Got(), "f0, 5a") << "and begins nothing later";
}

TEST(SerialLane, ACharacterOfAnotherFormatIsThereAtTheEndOfItsFirstStopBit) {
    const SerialFormat sender{9600, 7, Parity::kNone, 1};
    for (const auto& [receiver, bits] : {std::pair(SerialFormat{9600, 8, Parity::kNone, 2}, 10U),
                                         {SerialFormat{9600, 8, Parity::kEven, 1}, 11U}}) {
        LaneBench bench(receiver);
        EXPECT_EQ(bench.Send({0x55}, sender).received.size(), 0U);
        static_cast<void>(bench.Got());
        ASSERT_EQ(bench.receivedAt.size(), 1U);
        EXPECT_EQ(bench.receivedAt[0], vboard::Instant{vboard::TimeOfBits(bits, 9600)});
    }
}

TEST(SerialLane, AFallBeforeTheMiddleOfAStopBitIsAFramingErrorAndOneAfterItBeginsACharacter) {
    // Low for five bits, high for a while, and low for two bits: the stop bit is the tenth.
    using Ns = vboard::Duration;
    const Ns middle = vboard::TimeOfHalfBits(19, 9600) - vboard::TimeOfBits(5, 9600);
    for (const auto& [high, got] : {std::pair(vboard::TimeOfBits(4, 9600), "f0 framing"),
                                    {middle - Ns{20'000}, "f0 framing"},
                                    {middle + Ns{3}, "f0 framing"},
                                    {middle + Ns{4}, "f0, fe"},
                                    {middle + Ns{20'000}, "f0, fe"},
                                    {vboard::TimeOfBits(5, 9600), "f0, fe"}}) {
        LaneBench bench({9600, 8, Parity::kNone, 1});
        bench.lane.SetBreak(true);
        bench.clock.Pass(vboard::TimeOfBits(5, 9600));
        bench.lane.SetBreak(false);
        bench.clock.Pass(high);
        bench.lane.SetBreak(true);
        bench.clock.Pass(vboard::TimeOfBits(2, 9600));
        bench.lane.SetBreak(false);
        EXPECT_EQ(bench.Got(), got) << high.count();
    }
}

TEST(SerialLane, BehindAFallThatWasTooShortTheNextOneIsLookedForFromTheMiddleOfItsBit) {
    LaneBench bench({9600, 8, Parity::kNone, 1});
    // In tenths of a bit, low and high by turns: high in the middle of the first bit.
    bool low = true;
    for (const unsigned tenths : {2U, 1U, 2U, 1U, 14U}) {
        bench.lane.SetBreak(low);
        bench.clock.Pass(vboard::TimeOfBits(tenths, 96'000));
        low = !low;
    }
    bench.lane.SetBreak(false);
    EXPECT_EQ(bench.Got(), "ff");
}

TEST(SerialLane, WhereBothEndsAgreeACharacterIsThereWhenItsSenderEndsIt) {
    const SerialFormat format{9600, 8, Parity::kNone, 2};
    LaneBench bench(format);
    EXPECT_EQ(bench.Send({0x55}, format).Got(), "55");
    EXPECT_EQ(bench.receivedAt[0], vboard::Instant{vboard::TimeOfBits(11, 9600)});
}

TEST(SerialLane, ACharacterIsReadInTheFormatThatItsReceiverHasAtItsEnd) {
    const SerialFormat slow{9600, 8, Parity::kNone, 1};
    const SerialFormat fast{19200, 8, Parity::kNone, 1};
    for (const bool becomesSlow : {true, false}) {
        LaneBench bench(becomesSlow ? fast : slow);
        bench.Send({0x55}, slow).clock.Pass(vboard::TimeOfBits(3, 9600));
        bench.SetReceiver(becomesSlow ? slow : fast);
        EXPECT_EQ(bench.Got(), becomesSlow ? "55" : "66 framing, e6");
        EXPECT_EQ(bench.receivedAt[0], vboard::Instant{vboard::TimeOfBits(10, 9600)});
    }
}

TEST(UartReceiver, LeavesNothingBehindOnTheClock) {
    vboard::VirtualClock clock;
    const SerialFormat format;
    {
        vboard::UartReceiver receiver(
            clock, [&format]() -> const SerialFormat& { return format; }, [](const auto&) {});
        receiver.SetBreak(true);
        EXPECT_TRUE(clock.NextAction().has_value());
    }
    EXPECT_FALSE(clock.NextAction().has_value());
}

TEST(SerialLane, CarriesMoreThanItKeepsAndStartsAnewOnceItHasForgotten) {
    const SerialFormat format{9600, 8, Parity::kNone, 1};
    LaneBench bench(format);
    Bytes many(3000);
    for (std::size_t at = 0; at < many.size(); ++at) {
        many[at] = static_cast<std::uint8_t>(at * 7);
    }
    static_cast<void>(bench.Send(many, format).Got());
    ASSERT_EQ(bench.received.size(), many.size());
    for (std::size_t at = 0; at < many.size(); ++at) {
        ASSERT_EQ(bench.received[at].value, many[at]) << at;
    }
    bench.received.clear();
    bench.Send({1, 2, 3, 4}, format).clock.Pass(format.CharacterTime() * 5 / 2);
    bench.clock.CancelAll();
    bench.lane.Forget();
    EXPECT_EQ(bench.Send({0x44}, format).Got(), "01, 02, 44");
    bench.lane.SetBreak(true);
    bench.clock.CancelAll();
    bench.lane.Forget();
    EXPECT_EQ(bench.Send({0x45, 0x46}, format).Got(), "01, 02, 44, 45, 46") << "nor of a break";
}

TEST(SerialLane, AnEdgeRightInTheMiddleOfABitCountsAsBeforeItWithRoundingForgiven) {
    using Ns = vboard::Duration;
    const SerialFormat format{9600, 8, Parity::kNone, 1};
    // A break that ends about the middle of the last data bit.
    const Ns middle = vboard::TimeOfHalfBits(17, 9600);
    for (const auto& [length, read] :
         {std::pair(middle - Ns{1}, "80"), {middle + Ns{3}, "80"}, {middle + Ns{4}, "00"}}) {
        LaneBench bench(format);
        bench.lane.SetBreak(true);
        bench.clock.Pass(length);
        bench.lane.SetBreak(false);
        EXPECT_EQ(bench.Got(), read) << length.count();
    }
    // At this speed the sender's sixth edge is exactly there in the receiver's third data bit.
    constexpr std::uint32_t kAtTheEdge = 16'457;
    ASSERT_EQ(vboard::TimeOfBits(6, kAtTheEdge), vboard::TimeOfHalfBits(7, 9600) + Ns{3});
    EXPECT_EQ(LaneBench(format).Send({0x20}, {kAtTheEdge, 8, Parity::kNone, 1}).Got(), "f4");
}

TEST(SerialLane, TheTimeOfABitIsRoundedOnceACharacter) {
    using Ns = vboard::Duration;
    EXPECT_EQ((SerialFormat{9600, 8, Parity::kEven, 1}.CharacterTime()), Ns{1'145'833});
    EXPECT_EQ((SerialFormat{9600, 8, Parity::kNone, 2}.CharacterTime()), Ns{1'145'833});
    EXPECT_EQ((SerialFormat{38400, 8, Parity::kEven, 1}.CharacterTime()), Ns{286'458});
    EXPECT_EQ((SerialFormat{4'000'000, 5, Parity::kNone, 1}.CharacterTime()), Ns{1'750});
    EXPECT_EQ(vboard::TimeOfBits(1, 9600), Ns{104'167});
    EXPECT_EQ(vboard::TimeOfHalfBits(1, 9600), Ns{52'083});
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

TEST(SerialWire, ALoaderThatIsResetInItsAnswerStopsBehindTheCharacterOnTheWire) {
    HostBench bench(vboard::ChipMode::kLoader);
    const auto port = bench.port.Open(O_RDWR).file;
    bench.serialWire.SetHostFormat({9600, 8, Parity::kEven, 1});
    EXPECT_EQ(port->Write(Bytes{0x80}, false), 1);
    bench.clock.Pass(5ms);
    EXPECT_EQ(port->Write(Bytes{0x80, 0x1E, 4, 4, 0xFF, 0xFF, 0xFF, 0xFF, 0x7B, 0xE5}, false), 10);
    bench.clock.Pass(SerialFormat{}.CharacterTime() * 25 / 2);
    bench.harness.Set(HostLine::kReset, Drive::kHigh);
    EXPECT_EQ(vboard::HexText(bench.ReadPort(*port)), "90 80 00 10");
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
