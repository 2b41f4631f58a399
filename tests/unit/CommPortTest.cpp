// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "TestFlows.h"

using expected::Pause;
using flows::Message;
using flows::QueryAnswered;
using flows::QueryTalk;
using flows::QueryUnanswered;
using flows::Request;
using flows::Say;
using flows::Select;

namespace {

constexpr unsigned short kUntouched = 0x5555;

class CommPort : public testing::Test {
protected:
    ScriptedHost::DeviceScript& Device() { return m_host.Device("/dev/knxspi"); }

    bool OpenAndForget() {
        const bool opened = m_port.Open("/dev/knxspi");
        m_host.Forget();
        return opened;
    }

    std::string Conversation() {
        EXPECT_EQ(m_host.AnswersLeft(), 0);
        return m_host.Conversation();
    }

    ScriptedHost m_host;
    CMspCommPort m_port;
    std::string m_message = "before";
    unsigned short m_version = kUntouched;
};

const std::string kNoReply = Say("warn", "Error reading current version from MSP");

}  // namespace

TEST_F(CommPort, OpensItsDeviceForReadingAndWritingAlone) {
    EXPECT_TRUE(m_port.Open("/dev/knxspi"));
    EXPECT_EQ(Conversation(), "open /dev/knxspi O_RDWR\n");
}

TEST_F(CommPort, RefusesToOpenTwiceInSilence) {
    EXPECT_TRUE(OpenAndForget());
    EXPECT_FALSE(m_port.Open("/dev/knxspi"));
    EXPECT_EQ(Conversation(), "");
}

TEST_F(CommPort, CannotOpenADeviceThatIsNotThere) {
    EXPECT_FALSE(m_port.Open("/dev/missing"));
    EXPECT_EQ(Conversation(), "open /dev/missing O_RDWR fails\n");
}

TEST_F(CommPort, CallsNobodyBeforeItIsOpen) {
    EXPECT_FALSE(m_port.ReadMessage(200, m_message));
    EXPECT_FALSE(m_port.QueryVersion(m_version));
    EXPECT_EQ(m_message, "before");
    EXPECT_EQ(m_version, kUntouched);
    EXPECT_EQ(Conversation(), "");
}

TEST_F(CommPort, ClosesItsDeviceAtItsEndAndOnlyIfItIsOpen) {
    {
        CMspCommPort port;
        EXPECT_TRUE(port.Open("/dev/knxspi"));
        const CMspCommPort closed;
    }
    EXPECT_EQ(Conversation(), "open /dev/knxspi O_RDWR\nclose /dev/knxspi\n");
}

TEST_F(CommPort, IsOpenAsDescriptorZeroToo) {
    {
        CMspCommPort port;
        port.m_fd = 0;
        EXPECT_FALSE(port.Open("/dev/knxspi"));
    }
    EXPECT_EQ(Conversation(), "close descriptor 0\n");
}

TEST_F(CommPort, TakesAMessageByItsLengthAndThenItsBytes) {
    ASSERT_TRUE(OpenAndForget());
    Device().SendsMessage({0xB5, 0x00, 0x34}).SendsMessage({0x41});
    EXPECT_TRUE(m_port.ReadMessage(200, m_message));
    EXPECT_EQ(m_message, std::string("\xB5\0\x34", 3));
    EXPECT_TRUE(m_port.ReadMessage(200, m_message));
    EXPECT_EQ(m_message, "A");
    EXPECT_EQ(Conversation(), Message({0xB5, 0x00, 0x34}) + Message({0x41}));
}

TEST_F(CommPort, TakesTheLongestMessageThereIs) {
    ASSERT_TRUE(OpenAndForget());
    Device().SendsMessage(Repeat(0x42, 255));
    EXPECT_TRUE(m_port.ReadMessage(200, m_message));
    EXPECT_EQ(m_message, std::string(255, 'B'));
    EXPECT_EQ(Conversation(), Message(Repeat(0x42, 255)));
}

TEST_F(CommPort, StillReadsTheBodyOfAMessageWithoutBytes) {
    ASSERT_TRUE(OpenAndForget());
    Device().SendsMessage({});
    EXPECT_TRUE(m_port.ReadMessage(200, m_message));
    EXPECT_EQ(m_message, "");
    EXPECT_EQ(Conversation(), Select("ready") +
                                  "read /dev/knxspi 1 gets 00\n"
                                  "read /dev/knxspi 0 gets nothing\n");
}

TEST_F(CommPort, WaitsForTheMillisecondsItIsGiven) {
    ASSERT_TRUE(OpenAndForget());
    for (const auto& [milliseconds, shown] :
         std::vector<std::pair<int, std::string>>{{0, "0 s 0 us"},
                                                  {1, "0 s 1000 us"},
                                                  {999, "0 s 999000 us"},
                                                  {1000, "1 s 0 us"},
                                                  {2500, "2 s 500000 us"}}) {
        m_host.Forget();
        EXPECT_FALSE(m_port.ReadMessage(milliseconds, m_message));
        EXPECT_EQ(Conversation(),
                  "select read {/dev/knxspi} write {} except {} timeout " + shown + " times out\n");
    }
    EXPECT_EQ(m_message, "before");
}

TEST_F(CommPort, FailsWhenSelectFails) {
    ASSERT_TRUE(OpenAndForget());
    Device().FailsSelect();
    EXPECT_FALSE(m_port.ReadMessage(200, m_message));
    EXPECT_EQ(m_message, "before");
    EXPECT_EQ(Conversation(), Select("fails"));
}

TEST_F(CommPort, FailsWithoutALengthByte) {
    ASSERT_TRUE(OpenAndForget());
    Device().EndsRead().FailsRead();
    EXPECT_FALSE(m_port.ReadMessage(200, m_message));
    EXPECT_FALSE(m_port.ReadMessage(200, m_message));
    EXPECT_EQ(m_message, "before");
    EXPECT_EQ(Conversation(), Select("ready") + "read /dev/knxspi 1 gets nothing\n" +
                                  Select("ready") + "read /dev/knxspi 1 fails\n");
}

TEST_F(CommPort, FailsOnABodyReadInPartAndDoesNotReadTheRest) {
    ASSERT_TRUE(OpenAndForget());
    Device().Answers({0x03}).Answers({0xB5, 0x12}).Answers({0x03}).FailsRead();
    EXPECT_FALSE(m_port.ReadMessage(200, m_message));
    EXPECT_FALSE(m_port.ReadMessage(200, m_message));
    EXPECT_EQ(m_message, "before");
    EXPECT_EQ(Conversation(), Select("ready") +
                                  "read /dev/knxspi 1 gets 03\n"
                                  "read /dev/knxspi 3 gets B5 12\n" +
                                  Select("ready") +
                                  "read /dev/knxspi 1 gets 03\n"
                                  "read /dev/knxspi 3 fails\n");
}

TEST_F(CommPort, AsksForTheVersionInOneWriteAndTakesItHighByteFirst) {
    ASSERT_TRUE(OpenAndForget());
    Device().SendsMessage({0xB5, 0x12, 0x34});
    EXPECT_TRUE(m_port.QueryVersion(m_version));
    EXPECT_EQ(m_version, 4660);
    EXPECT_EQ(Conversation(),
              "write /dev/knxspi 02 B4 00\n"
              "select read {/dev/knxspi} write {} except {} timeout 0 s 200000 us ready\n"
              "read /dev/knxspi 1 gets 03\n"
              "read /dev/knxspi 3 gets B5 12 34\n");
}

TEST_F(CommPort, IgnoresWhatFollowsTheVersion) {
    ASSERT_TRUE(OpenAndForget());
    Device().SendsMessage({0xB5, 0xFF, 0xFE, 0x99, 0x98});
    EXPECT_TRUE(m_port.QueryVersion(m_version));
    EXPECT_EQ(m_version, 0xFFFE);
    EXPECT_EQ(Conversation(), Request() + Message({0xB5, 0xFF, 0xFE, 0x99, 0x98}));
}

TEST_F(CommPort, DropsEveryMessageThatIsNoVersionReply) {
    ASSERT_TRUE(OpenAndForget());
    const std::vector<Bytes> others{{}, {0xB5}, {0xB5, 0x12}, {0xB4, 0x12, 0x34}, {0x00, 0xB5, 1}};
    std::string talk = Request();
    for (const Bytes& other : others) {
        Device().SendsMessage(other);
        talk += Message(other);
    }
    Device().SendsMessage({0xB5, 0x00, 0x07});
    EXPECT_TRUE(m_port.QueryVersion(m_version));
    EXPECT_EQ(m_version, 7);
    EXPECT_EQ(Conversation(), talk + Message({0xB5, 0x00, 0x07}));
}

TEST_F(CommPort, GoesOnWaitingAsLongAsOtherMessagesKeepComing) {
    ASSERT_TRUE(OpenAndForget());
    std::string talk = Request();
    for (int message = 0; message < 1000; ++message) {
        Device().SendsMessage({0x11, 0x22, 0x33});
        talk += Message({0x11, 0x22, 0x33});
    }
    EXPECT_FALSE(m_port.QueryVersion(m_version));
    EXPECT_EQ(m_version, kUntouched);
    EXPECT_EQ(Conversation(), talk + Select("times out"));
}

TEST_F(CommPort, FailsWhenTheRequestIsNotWrittenInWhole) {
    ASSERT_TRUE(OpenAndForget());
    Device().TakesOnly(2, 0).FailsWrite(1).TakesOnly(0, 2);
    for (int query = 0; query < 3; ++query) {
        EXPECT_FALSE(m_port.QueryVersion(m_version));
    }
    EXPECT_EQ(m_version, kUntouched);
    EXPECT_EQ(Conversation(),
              "write /dev/knxspi 02 B4 00 takes 2\n"
              "write /dev/knxspi 02 B4 00 fails\n"
              "write /dev/knxspi 02 B4 00 takes 0\n");
}

TEST_F(CommPort, FailsOnAClosedDeviceWithoutTouchingIt) {
    EXPECT_FALSE(m_port.QueryVersion(m_version));
    EXPECT_EQ(m_version, kUntouched);
    EXPECT_EQ(Conversation(), "");
}

// ---- the query as the flows make it ----

TEST_F(CommPort, AQueryOpensAsksPausesAndCloses) {
    Device().SendsMessage({0xB5, 0x12, 0x34});
    EXPECT_TRUE(ReadCurrentVersion("/dev/knxspi", m_version));
    EXPECT_EQ(m_version, 4660);
    EXPECT_EQ(Conversation(), "open /dev/knxspi O_RDWR\n" + Request() +
                                  Message({0xB5, 0x12, 0x34}) + Pause(500000) +
                                  "close /dev/knxspi\n");
}

TEST_F(CommPort, AQueryWithoutADeviceFailsWithALine) {
    EXPECT_FALSE(ReadCurrentVersion("/dev/missing", m_version));
    EXPECT_EQ(m_version, kUntouched);
    EXPECT_EQ(Conversation(), "open /dev/missing O_RDWR fails\n" +
                                  Say("error", "Error opening MSP for reading version"));
}

TEST_F(CommPort, AQueryThatNobodyAnswersWarnsLeavesTheVersionAndIsTrue) {
    EXPECT_TRUE(ReadCurrentVersion("/dev/knxspi", m_version));
    EXPECT_EQ(m_version, kUntouched);
    EXPECT_EQ(Conversation(), "open /dev/knxspi O_RDWR\n" + Request() + Select("times out") +
                                  kNoReply + Pause(500000) + "close /dev/knxspi\n");
    EXPECT_EQ(m_host.Conversation(), QueryUnanswered());
}

TEST_F(CommPort, AQueryThatCannotAskWarnsPausesAndIsTrue) {
    Device().FailsWrite();
    EXPECT_TRUE(ReadCurrentVersion("/dev/knxspi", m_version));
    EXPECT_EQ(Conversation(), QueryTalk("write /dev/knxspi 02 B4 00 fails\n" + kNoReply));
}

TEST_F(CommPort, AQueryGoesToTheDeviceItIsGiven) {
    m_host.Device("/dev/other").SendsMessage({0xB5, 0x00, 0x01});
    EXPECT_TRUE(ReadCurrentVersion("/dev/other", m_version));
    EXPECT_EQ(m_version, 1);
    EXPECT_EQ(Conversation(), QueryAnswered({0xB5, 0x00, 0x01}, "/dev/other"));
}
