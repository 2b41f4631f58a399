// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <string>
#include <utility>
#include <vector>

#include "TestBoard.h"
#include "tests/support/Expected.h"
#include "tests/support/LoaderFrames.h"

using expected::Got;
using expected::Log;
using expected::PortClosed;
using expected::PortOpened;
using expected::Sent;

namespace {

class SerialLink : public TargetTest {
protected:
    // Opens the port with one setting off the tool's own, closes it, and gives the settings.
    std::string SettingsOf(unsigned baud, unsigned char dataBits, bool parity, bool oddParity,
                           bool twoStopBits, bool rtsCts) {
        m_host.Forget();
        EXPECT_TRUE(m_target.OpenSerial("/dev/ttyS1", baud, dataBits, parity, oddParity,
                                        twoStopBits, rtsCts));
        m_target.CloseSerial();
        return Conversation();
    }

    static std::string Opened(const std::string& speed, const std::string& controlFlags) {
        return "open /dev/ttyS1 O_RDWR|O_NOCTTY\n"
               "tcsetattr /dev/ttyS1 TCSANOW in " +
               speed + " out " + speed + " cflag " + controlFlags +
               " iflag 0 oflag 0 lflag 0 min 1 time 0\n"
               "close /dev/ttyS1\n";
    }
};

}  // namespace

TEST_F(SerialLink, OpensRawAt9600BaudEightBitsEvenParity) {
    EXPECT_TRUE(m_target.OpenSerial("/dev/ttyS1", 9600, 8, true, false, false, false));
    EXPECT_GE(m_target.m_serialFd, 0);
    EXPECT_EQ(Conversation(),
              "open /dev/ttyS1 O_RDWR|O_NOCTTY\n"
              "tcsetattr /dev/ttyS1 TCSANOW in 9600 out 9600 cflag 0x9b0 iflag 0 oflag 0 lflag 0 "
              "min 1 time 0\n");
}

TEST_F(SerialLink, OpensTheDeviceThatItIsGiven) {
    m_host.Device("/dev/ttymxc1");
    EXPECT_TRUE(m_target.OpenSerial("/dev/ttymxc1", 9600, 8, true, false, false, false));
    EXPECT_EQ(Conversation(), PortOpened("/dev/ttymxc1"));
}

TEST_F(SerialLink, KnowsEightSpeedsAndTakesEveryOtherFor9600) {
    const std::vector<std::pair<unsigned, std::string>> speeds{
        {2400, "2400"},     {4800, "4800"},       {9600, "9600"},     {19200, "19200"},
        {38400, "38400"},   {57600, "57600"},     {115200, "115200"}, {230400, "230400"},
        {460800, "460800"}, {12345, "9600"},      {0, "9600"},        {1200, "9600"},
        {921600, "9600"},   {4294967295U, "9600"}};
    for (const auto& [baud, speed] : speeds) {
        EXPECT_EQ(SettingsOf(baud, 8, true, false, false, false), Opened(speed, "0x9b0")) << baud;
    }
}

TEST_F(SerialLink, EndsWithEightBitCharactersWhateverIsAskedFor) {
    for (const unsigned char dataBits : Bytes{0, 4, 5, 6, 7, 8, 9, 255}) {
        EXPECT_EQ(SettingsOf(9600, dataBits, true, false, false, false), Opened("9600", "0x9b0"));
    }
}

TEST_F(SerialLink, SetsOneFlagForEachSwitch) {
    // The lowest bit of c_cflag is clear at this speed and set at those below.
    EXPECT_EQ(SettingsOf(19200, 8, false, false, false, false), Opened("19200", "0x8b0"));
    EXPECT_EQ(SettingsOf(9600, 8, false, false, false, false), Opened("9600", "0x8b0"));
    EXPECT_EQ(SettingsOf(9600, 8, true, true, false, false), Opened("9600", "0xbb0"));
    EXPECT_EQ(SettingsOf(9600, 8, false, true, false, false), Opened("9600", "0xab0"));
    EXPECT_EQ(SettingsOf(9600, 8, true, false, true, false), Opened("9600", "0x9f0"));
    EXPECT_EQ(SettingsOf(9600, 8, true, false, false, true), Opened("9600", "0x800009b0"));
    EXPECT_EQ(SettingsOf(460800, 5, true, true, true, true), Opened("460800", "0x80000bf0"));
}

TEST_F(SerialLink, APortAlreadyOpenIsRefusedInSilenceAndStaysOpen) {
    OpenPort();
    const int descriptor = m_target.m_serialFd;
    EXPECT_FALSE(m_target.OpenSerial("/dev/ttyS1", 9600, 8, true, false, false, false));
    EXPECT_EQ(m_target.m_serialFd, descriptor);
    EXPECT_EQ(Conversation(), "");
}

TEST_F(SerialLink, ADescriptorOfZeroCountsAsOpen) {
    m_target.m_serialFd = 0;
    EXPECT_FALSE(m_target.OpenSerial("/dev/ttyS1", 9600, 8, true, false, false, false));
    EXPECT_EQ(m_target.m_serialFd, 0);
    EXPECT_FALSE(m_target.SendFrameExpectReply(1, nullptr, 0));
    EXPECT_EQ(m_target.ReadReply(), 0);
    m_target.CloseSerial();
    EXPECT_EQ(m_target.m_serialFd, -1);
    EXPECT_EQ(Conversation(),
              "write descriptor 0 00 fails\nread descriptor 0 300 fails\nclose descriptor 0\n");
}

TEST_F(SerialLink, APortThatCannotBeOpenedLogsErrno) {
    for (const int error : {ENOENT, EACCES, EBUSY}) {
        m_host.Forget();
        Port().CannotBeOpened(error);
        EXPECT_FALSE(m_target.OpenSerial("/dev/ttyS1", 9600, 8, true, false, false, false));
        EXPECT_EQ(m_target.m_serialFd, -1);
        EXPECT_EQ(Conversation(),
                  "open /dev/ttyS1 O_RDWR|O_NOCTTY fails\n" +
                      Log("error", "TalSerial::Open failed errno: " + std::to_string(error)));
    }
}

TEST_F(SerialLink, APortThatRefusesItsSettingsIsClosedAgainInSilence) {
    Port().RefusesSettings();
    EXPECT_FALSE(m_target.OpenSerial("/dev/ttyS1", 9600, 8, true, false, false, false));
    EXPECT_EQ(m_target.m_serialFd, -1);
    EXPECT_EQ(Conversation(),
              "open /dev/ttyS1 O_RDWR|O_NOCTTY\n"
              "tcsetattr /dev/ttyS1 TCSANOW in 9600 out 9600 cflag 0x9b0 iflag 0 oflag 0 lflag 0 "
              "min 1 time 0 fails\n"
              "close /dev/ttyS1\n");
}

TEST_F(SerialLink, CloseClosesOnceAndAllowsAnotherOpen) {
    OpenPort();
    m_target.CloseSerial();
    EXPECT_EQ(m_target.m_serialFd, -1);
    m_target.CloseSerial();
    EXPECT_TRUE(m_target.OpenSerial("/dev/ttyS1", 9600, 8, true, false, false, false));
    EXPECT_EQ(Conversation(), PortClosed() + PortOpened());
}

TEST_F(SerialLink, AReplyIsWhateverOneReadGives) {
    OpenPort();
    std::fill_n(m_target.m_frameBuffer, 300, static_cast<unsigned char>(0xEE));
    Port().Answers({0x90, 0x91, 0x92});
    EXPECT_EQ(m_target.ReadReply(), 3);
    EXPECT_EQ(Bytes(m_target.m_frameBuffer, m_target.m_frameBuffer + 300),
              (Bytes{0x90, 0x91, 0x92} + Repeat(0, 297)));
    EXPECT_EQ(Conversation(), "read /dev/ttyS1 300 gets 90 91 92\n");
}

TEST_F(SerialLink, AReplyFillsTheWholeBufferAtMost) {
    OpenPort();
    Port().Answers(Repeat(0x55, 300));
    EXPECT_EQ(m_target.ReadReply(), 300);
    EXPECT_EQ(Bytes(m_target.m_frameBuffer, m_target.m_frameBuffer + 300), Repeat(0x55, 300));
}

TEST_F(SerialLink, AFailedReadCountsAsNoReplyAndLeavesAClearBuffer) {
    OpenPort();
    std::fill_n(m_target.m_frameBuffer, 300, static_cast<unsigned char>(0xEE));
    Port().FailsRead().EndsRead();
    EXPECT_EQ(m_target.ReadReply(), 0);
    EXPECT_EQ(Bytes(m_target.m_frameBuffer, m_target.m_frameBuffer + 300), Repeat(0, 300));
    EXPECT_EQ(m_target.ReadReply(), 0);
    EXPECT_EQ(Conversation(), "read /dev/ttyS1 300 fails\nread /dev/ttyS1 300 gets nothing\n");
}

TEST_F(SerialLink, AClosedPortHasNoReplyAndIsNotTouched) {
    std::fill_n(m_target.m_frameBuffer, 300, static_cast<unsigned char>(0xEE));
    EXPECT_EQ(m_target.ReadReply(), 0);
    EXPECT_EQ(Bytes(m_target.m_frameBuffer, m_target.m_frameBuffer + 300), Repeat(0, 300));
    EXPECT_EQ(Conversation(), "");
}

TEST_F(SerialLink, SendsAFrameAsItStandsInTheBufferAndComparesTheWholeReply) {
    OpenPort();
    m_target.m_frameBuffer[0] = 0x11;
    m_target.m_frameBuffer[1] = 0x22;
    m_target.m_frameBuffer[2] = 0x33;
    Port().Answers({0x0A, 0x0B});
    const Bytes reply{0x0A, 0x0B};
    EXPECT_TRUE(m_target.SendFrameExpectReply(2, reply.data(), 2));
    EXPECT_EQ(Conversation(), "write /dev/ttyS1 11 22 rest not cleared\n" + Got({0x0A, 0x0B}));
}

TEST_F(SerialLink, AReplyThatDiffersInLengthOrInAnyByteIsWrong) {
    OpenPort();
    // Only the first two bytes are expected; a third like the one behind them is one too many.
    const Bytes reply{0x0A, 0x0B, 0x0C};
    for (const Bytes& wrong : {Bytes{0x0A}, Bytes{0x0A, 0x0B, 0x0C}, Bytes{0x0A, 0x0B, 0x00},
                               Bytes{0x0A, 0x0C}, Bytes{0x0C, 0x0B}}) {
        Port().Answers(wrong);
        EXPECT_FALSE(m_target.SendFrameExpectReply(1, reply.data(), 2)) << ToText(wrong);
    }
    Port().FailsRead().EndsRead();
    EXPECT_FALSE(m_target.SendFrameExpectReply(1, reply.data(), 2));
    EXPECT_FALSE(m_target.SendFrameExpectReply(1, reply.data(), 2));
    EXPECT_EQ(m_host.AnswersLeft(), 0);
}

TEST_F(SerialLink, AFrameThatTheBufferCannotHoldIsNotSent) {
    OpenPort();
    const Bytes reply{0x0A};
    for (const int length : {301, 1000000, -1, INT_MAX, INT_MIN}) {
        EXPECT_FALSE(m_target.SendFrameExpectReply(length, reply.data(), 1)) << length;
    }
    EXPECT_EQ(Conversation(), "");
}

TEST_F(SerialLink, AFrameMayFillTheWholeBuffer) {
    OpenPort();
    const Bytes reply{0x0A};
    Port().Answers(reply);
    EXPECT_TRUE(m_target.SendFrameExpectReply(300, reply.data(), 1));
    EXPECT_EQ(Conversation(), Sent(Repeat(0x00, 300)) + Got(reply));
}

TEST_F(SerialLink, AFrameOfNoBytesIsWrittenAndItsReplyRead) {
    OpenPort();
    const Bytes reply{0x0A};
    Port().Answers(reply);
    EXPECT_TRUE(m_target.SendFrameExpectReply(0, reply.data(), 1));
    EXPECT_EQ(Conversation(), Sent({}) + Got(reply));
}

TEST_F(SerialLink, AFailedReadIsTheReplyOfNoBytes) {
    OpenPort();
    Port().FailsRead();
    const Bytes reply{0x0A};
    EXPECT_TRUE(m_target.SendFrameExpectReply(1, reply.data(), 0));
    EXPECT_EQ(Conversation(), Sent({0x00}) + "read /dev/ttyS1 300 fails\n");
}

TEST_F(SerialLink, AFrameNotWrittenInWholeWaitsForNoReply) {
    OpenPort();
    const Bytes reply{0x0A};
    Port().TakesOnly(1, 0).FailsWrite(1).TakesOnly(3, 2);
    EXPECT_FALSE(m_target.SendFrameExpectReply(2, reply.data(), 1));
    EXPECT_FALSE(m_target.SendFrameExpectReply(2, reply.data(), 1));
    EXPECT_FALSE(m_target.SendFrameExpectReply(2, reply.data(), 1));
    EXPECT_EQ(Conversation(),
              "write /dev/ttyS1 00 00 takes 1\n"
              "write /dev/ttyS1 00 00 fails\n"
              "write /dev/ttyS1 00 00 takes 3\n");
}

TEST_F(SerialLink, AClosedPortTakesNoFrame) {
    const Bytes reply{0x0A};
    EXPECT_FALSE(m_target.SendFrameExpectReply(2, reply.data(), 1));
    EXPECT_EQ(Conversation(), "");
}

TEST_F(SerialLink, AReplyLongerThanTheBufferIsNeverEqual) {
    OpenPort();
    const Bytes reply = Repeat(0x55, 400);
    Port().Answers(Repeat(0x55, 300));
    EXPECT_FALSE(m_target.SendFrameExpectReply(1, reply.data(), 400));
    EXPECT_EQ(m_host.AnswersLeft(), 0);
}
