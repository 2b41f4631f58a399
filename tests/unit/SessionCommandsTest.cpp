// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "TestBoard.h"
#include "tests/support/Expected.h"
#include "tests/support/LoaderFrames.h"

using expected::Direction;
using expected::Directions;
using expected::Exchange;
using expected::Got;
using expected::LoaderEntry;
using expected::Log;
using expected::LogOf;
using expected::NoRxdNmiDirection;
using expected::NoTckDirection;
using expected::NoTriState;
using expected::NoValue;
using expected::Pause;
using expected::PortClosed;
using expected::PortOpened;
using expected::Preparation;
using expected::Release;
using expected::Sent;
using expected::Sync;
using expected::TriState;
using expected::Value;
using loader::kAck;
using loader::kNak;

namespace {

const Bytes kPassword = FromText(
    "01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F 10 11 12 13 14 15 16 17 18 19 1A 1B 1C 1D 1E 1F "
    "20");

const Bytes kPasswordFrame = loader::Frame(0x10, 0, 0, kPassword);

// The replies that are no acknowledgement, and how each shows in the conversation.
struct BadReply {
    const char* name;
    void (*script)(ScriptedHost::DeviceScript&);
    const char* read;
};

const BadReply kBadReplies[] = {
    {"nothing", [](auto& port) { port.EndsRead(); }, "read /dev/ttyS1 300 gets nothing\n"},
    {"an error", [](auto& port) { port.FailsRead(); }, "read /dev/ttyS1 300 fails\n"},
    {"a NAK", [](auto& port) { port.Answers({0xA0}); }, "read /dev/ttyS1 300 gets A0\n"},
    {"another byte", [](auto& port) { port.Answers({0x91}); }, "read /dev/ttyS1 300 gets 91\n"},
    {"a zero", [](auto& port) { port.Answers({0x00}); }, "read /dev/ttyS1 300 gets 00\n"},
    {"two bytes",
     [](auto& port) {
         port.Answers({0x90, 0x90});
     },
     "read /dev/ttyS1 300 gets 90 90\n"},
};

class SessionCommands : public TargetTest {
protected:
    // One operation against every reply that is no acknowledgement.
    template <typename Operation>
    void ExpectFailsOnEveryBadReply(const Bytes& sent, Operation operation) {
        OpenPort();
        for (const BadReply& bad : kBadReplies) {
            m_host.Forget();
            bad.script(Port());
            EXPECT_FALSE(operation()) << bad.name;
            EXPECT_EQ(Conversation(), Sent(sent) + bad.read) << bad.name;
        }
    }

    // One operation whose write is cut short, fails, or reports too much; no read follows.
    template <typename Operation>
    void ExpectFailsOnEveryBadWrite(const Bytes& sent, Operation operation) {
        OpenPort();
        const int whole = static_cast<int>(sent.size());
        for (const int count : {whole - 1, 0, -1, whole + 1}) {
            m_host.Forget();
            Port().TakesOnly(count);
            EXPECT_FALSE(operation());
            const std::string line = "write /dev/ttyS1 " + ToText(sent);
            EXPECT_EQ(Conversation(),
                      line + (count < 0 ? " fails\n" : " takes " + std::to_string(count) + "\n"));
        }
    }

    static std::string SyncFailed(int round) {
        return Log("error", "bool CFWUMsp::EraseMainFlashSegment() send sync failed in round " +
                                std::to_string(round));
    }

    static std::string EraseFailed(int round) {
        return Log("error", "bool CFWUMsp::EraseMainFlashSegment() failed in round " +
                                std::to_string(round));
    }

    static std::string EraseRounds(int count) {
        std::string rounds;
        for (int round = 0; round < count; ++round) {
            rounds += Sync() + Exchange(loader::EraseMainFrame(), kAck);
        }
        return rounds;
    }
};

}  // namespace

TEST_F(SessionCommands, SyncIsOneByteAnsweredByOneAck) {
    OpenPort();
    std::fill_n(m_target.m_frameBuffer, 300, static_cast<unsigned char>(0xEE));
    Port().Answers({kAck});
    EXPECT_TRUE(m_target.SendSync());
    EXPECT_EQ(Conversation(), "write /dev/ttyS1 80\nread /dev/ttyS1 300 gets 90\n");
}

TEST_F(SessionCommands, SyncFailsOnEveryOtherReply) {
    ExpectFailsOnEveryBadReply({0x80}, [this] { return m_target.SendSync(); });
}

TEST_F(SessionCommands, SyncFailsWhenItsByteIsNotWritten) {
    ExpectFailsOnEveryBadWrite({0x80}, [this] { return m_target.SendSync(); });
}

TEST_F(SessionCommands, SyncOnAClosedPortTouchesNothing) {
    EXPECT_FALSE(m_target.SendSync());
    EXPECT_EQ(Conversation(), "");
}

TEST_F(SessionCommands, PasswordGoesOutAsOneFrame) {
    OpenPort();
    std::fill_n(m_target.m_frameBuffer, 300, static_cast<unsigned char>(0xEE));
    Port().Answers({kAck});
    EXPECT_TRUE(m_target.SendPassword(kPassword.data()));
    EXPECT_EQ(Conversation(), Exchange(kPasswordFrame, kAck));
}

TEST_F(SessionCommands, AnAbsentPasswordIsTheErasedDevicesWithANotice) {
    OpenPort();
    Port().Answers({kAck});
    EXPECT_TRUE(m_target.SendPassword(nullptr));
    EXPECT_EQ(Conversation(),
              LogOf("MSPCommands", "info", "CMSPBSLCommand::BuildPasswordFrame using default pwd") +
                  Exchange(loader::ErasedPasswordFrame(), kAck));
}

TEST_F(SessionCommands, PasswordFailsOnEveryReplyButAnAck) {
    ExpectFailsOnEveryBadReply(kPasswordFrame,
                               [this] { return m_target.SendPassword(kPassword.data()); });
}

TEST_F(SessionCommands, PasswordFailsWhenItsFrameIsNotWritten) {
    ExpectFailsOnEveryBadWrite(kPasswordFrame,
                               [this] { return m_target.SendPassword(kPassword.data()); });
}

TEST_F(SessionCommands, PasswordOnAClosedPortTouchesNothing) {
    EXPECT_FALSE(m_target.SendPassword(kPassword.data()));
    EXPECT_EQ(Conversation(), "");
}

TEST_F(SessionCommands, ABlockGoesOutAsOneWriteFrame) {
    OpenPort();
    std::fill_n(m_target.m_frameBuffer, 300, static_cast<unsigned char>(0xEE));
    Port().Answers({kAck}).Answers({kAck});
    EXPECT_TRUE(m_target.WriteDataBlock(kPassword.data(), 2, 0x2100));
    EXPECT_TRUE(m_target.WriteDataBlock(kPassword.data(), 31, 0xFFE0));
    EXPECT_EQ(Conversation(), Exchange(loader::WriteFrame(0x2100, {0x01, 0x02}), kAck) +
                                  Exchange(loader::WriteFrame(0xFFE0, kPassword), kAck));
}

TEST_F(SessionCommands, ABlockFailsOnEveryReplyButAnAck) {
    ExpectFailsOnEveryBadReply(loader::WriteFrame(0x2100, {0x01, 0x02}), [this] {
        return m_target.WriteDataBlock(kPassword.data(), 2, 0x2100);
    });
}

TEST_F(SessionCommands, ABlockFailsWhenItsFrameIsNotWritten) {
    ExpectFailsOnEveryBadWrite(loader::WriteFrame(0x2100, {0x01, 0x02}), [this] {
        return m_target.WriteDataBlock(kPassword.data(), 2, 0x2100);
    });
}

TEST_F(SessionCommands, ABlockOnAClosedPortTouchesNothing) {
    EXPECT_FALSE(m_target.WriteDataBlock(kPassword.data(), 2, 0x2100));
    EXPECT_EQ(Conversation(), "");
}

TEST_F(SessionCommands, ABlockThatTheBuilderRefusesIsNotWritten) {
    OpenPort();
    const Bytes data(300);
    EXPECT_FALSE(m_target.WriteDataBlock(data.data(), 251, 0x2100));
    EXPECT_FALSE(m_target.WriteDataBlock(nullptr, 2, 0x2100));
    const std::string builder = "CMSPBSLCommand::BuildWriteDataFrame ";
    EXPECT_EQ(Conversation(),
              LogOf("MSPCommands", "error",
                    builder + "buff == null or bufflen < datalen + 10. Given Bufflen =  300 "
                              "datalen = 252") +
                  LogOf("MSPCommands", "error",
                        builder + "buff == null or bufflen < datalen + 10. Given Bufflen =  300 "
                                  "datalen = 2") +
                  LogOf("MSPCommands", "error",
                        builder + "data == null or datalen > 250. Given datalen =  2"));
}

TEST_F(SessionCommands, EraseSendsTheSameFrameInTwentyRounds) {
    OpenPort();
    Port().AnswersTimes(40, {kAck});
    EXPECT_TRUE(m_target.EraseMainFlashSegment());
    std::string rounds;
    for (int round = 0; round < 20; ++round) {
        rounds +=
            "write /dev/ttyS1 80\n"
            "read /dev/ttyS1 300 gets 90\n"
            "write /dev/ttyS1 80 16 04 04 00 21 04 A5 7F 69\n"
            "read /dev/ttyS1 300 gets 90\n";
    }
    EXPECT_EQ(Conversation(), rounds);
}

TEST_F(SessionCommands, EraseWhoseEverySyncIsRefusedSendsNoFrameAndIsStillTrue) {
    OpenPort();
    Port().AnswersTimes(20, {kNak});
    EXPECT_TRUE(m_target.EraseMainFlashSegment());
    std::string rounds;
    for (int round = 0; round < 20; ++round) {
        rounds += Sync(kNak) + SyncFailed(round);
    }
    EXPECT_EQ(Conversation(), rounds);
}

TEST_F(SessionCommands, EraseOnAClosedPortLogsTwentySyncsAndIsStillTrue) {
    EXPECT_TRUE(m_target.EraseMainFlashSegment());
    std::string rounds;
    for (int round = 0; round < 20; ++round) {
        rounds += SyncFailed(round);
    }
    EXPECT_EQ(Conversation(), rounds);
}

TEST_F(SessionCommands, AFailedSyncCostsTheEraseOnlyItsRound) {
    OpenPort();
    Port().AnswersTimes(2, {kAck}).EndsRead().AnswersTimes(36, {kAck});
    EXPECT_TRUE(m_target.EraseMainFlashSegment());
    EXPECT_EQ(Conversation(), EraseRounds(1) + Sent({0x80}) + "read /dev/ttyS1 300 gets nothing\n" +
                                  SyncFailed(1) + EraseRounds(18));
}

TEST_F(SessionCommands, EraseEndsAtOnceWithEveryReplyThatIsNoAck) {
    OpenPort();
    for (const BadReply& bad : kBadReplies) {
        m_host.Forget();
        Port().AnswersTimes(7, {kAck});
        bad.script(Port());
        EXPECT_FALSE(m_target.EraseMainFlashSegment()) << bad.name;
        EXPECT_EQ(Conversation(), EraseRounds(3) + Sync() + Sent(loader::EraseMainFrame()) +
                                      bad.read + EraseFailed(3))
            << bad.name;
    }
}

TEST_F(SessionCommands, EraseEndsAtOnceWhenItsFrameIsNotWritten) {
    OpenPort();
    for (const int count : {9, 0, -1, 11}) {
        m_host.Forget();
        Port().AnswersTimes(1, {kAck}).TakesOnly(count, 1);
        EXPECT_FALSE(m_target.EraseMainFlashSegment());
        EXPECT_EQ(Conversation(),
                  Sync() + "write /dev/ttyS1 " + ToText(loader::EraseMainFrame()) +
                      (count < 0 ? " fails\n" : " takes " + std::to_string(count) + "\n") +
                      EraseFailed(0));
    }
}

TEST_F(SessionCommands, EraseCanFailInItsLastRound) {
    OpenPort();
    Port().AnswersTimes(39, {kAck}).Answers({kNak});
    EXPECT_FALSE(m_target.EraseMainFlashSegment());
    EXPECT_EQ(Conversation(), EraseRounds(19) + Sync() + Exchange(loader::EraseMainFrame(), kNak) +
                                  EraseFailed(19));
}

namespace {

// The whole session for the loader's version. The write of the request must fall short for the
// reply to be read at all.
class LoaderVersion : public SessionCommands {
protected:
    bool Get() { return m_target.GetBSLVersion(&m_family, &m_version, kPassword.data()); }

    // What is said up to the version request, with the port already open.
    static std::string SessionOpened() { return Preparation() + LoaderEntry() + PortOpened(); }
    static std::string Unlocked() { return Sync() + Exchange(kPasswordFrame, kAck) + Sync(); }
    // The clean-up of a failure after the port was opened.
    static std::string CleanedUp() { return PortClosed() + Release() + Directions("in"); }

    void ExpectUntouched() const {
        EXPECT_EQ(m_family, 0x5555);
        EXPECT_EQ(m_version, 0x5555);
    }

    static Bytes VersionReply() {
        Bytes reply(22);
        reply[4] = 0xF2;
        reply[5] = 0x48;
        reply[18] = 0x01;
        reply[19] = 0x60;
        return reply;
    }

    static std::string RequestTakes(int count) {
        return "write /dev/ttyS1 80 1E 04 04 FF FF FF FF 7B E5 " +
               (count < 0 ? std::string("fails\n") : "takes " + std::to_string(count) + "\n");
    }

    unsigned short m_family = 0x5555;
    unsigned short m_version = 0x5555;
};

}  // namespace

TEST_F(LoaderVersion, IsReadAfterARequestThatFallsShortAndLeavesThePortOpen) {
    Port().AnswersTimes(3, {kAck}).Answers(VersionReply()).TakesOnly(9, 3);
    EXPECT_TRUE(Get());
    EXPECT_EQ(m_family, 62024);
    EXPECT_EQ(m_version, 352);
    EXPECT_GE(m_target.m_serialFd, 0);
    EXPECT_EQ(Conversation(),
              SessionOpened() + Unlocked() + RequestTakes(9) + Got(VersionReply()) +
                  Log("info", "CFWUMsp::GetBSLVersion DeviceFamily: 62024 BSL: 352"));
}

TEST_F(LoaderVersion, IsReadAfterARequestThatFails) {
    Bytes reply = Repeat(0xFF, 22);
    reply[4] = 0x00;
    reply[5] = 0x01;
    Port().AnswersTimes(3, {kAck}).Answers(reply).FailsWrite(3);
    EXPECT_TRUE(Get());
    EXPECT_EQ(m_family, 1);
    EXPECT_EQ(m_version, 65535);
    EXPECT_EQ(Conversation(), SessionOpened() + Unlocked() + RequestTakes(-1) + Got(reply) +
                                  Log("info", "CFWUMsp::GetBSLVersion DeviceFamily: 1 BSL: 65535"));
}

TEST_F(LoaderVersion, IsNotReadWhenTheWholeRequestWasTaken) {
    Port().AnswersTimes(3, {kAck});
    EXPECT_FALSE(Get());
    EXPECT_EQ(m_target.m_serialFd, -1);
    ExpectUntouched();
    EXPECT_EQ(Conversation(),
              SessionOpened() + Unlocked() + Sent(loader::VersionRequestFrame()) + CleanedUp());
}

TEST_F(LoaderVersion, WithAnEmptyPortTouchesNothing) {
    CFWUMsp target(&kBoardWithoutPort);
    m_host.Forget();
    EXPECT_FALSE(target.GetBSLVersion(&m_family, &m_version, kPassword.data()));
    ExpectUntouched();
    EXPECT_EQ(Conversation(), Log("error", "CFWUMsp::GetBSLVersion -> No comport specified!"));
}

TEST_F(LoaderVersion, IgnoresATristateSwitchAndAResetLineThatAreNotThere) {
    m_host.Without("/dev/knxspi").Without("/sys/class/gpio/gpio90/value");
    Port().EndsRead();
    EXPECT_FALSE(Get());
    EXPECT_EQ(Conversation(),
              NoTriState() + NoValue("90") + Pause(100000) + Directions("out") + NoValue("90") +
                  Pause(500000) + Value("91", '0') + Value("86", '0') + NoValue("90") +
                  Pause(100000) + NoTriState() + Pause(100000) + Value("91", '1') + Pause(50000) +
                  Value("91", '0') + Pause(50000) + Value("91", '1') + Pause(100000) +
                  Value("91", '0') + Pause(50000) + Value("86", '1') + Pause(50000) +
                  Value("91", '1') + Pause(50000) + PortOpened() + Sent({0x80}) +
                  "read /dev/ttyS1 300 gets nothing\n" + CleanedUp());
}

TEST_F(LoaderVersion, WithDirectionsThatFailTurnsTheLinesToInputAndGivesUp) {
    m_host.Without("/sys/class/gpio/gpio91/direction");
    EXPECT_FALSE(Get());
    ExpectUntouched();
    EXPECT_EQ(Conversation(),
              TriState(1) + Value("90", '1') + Pause(100000) + NoTckDirection() + NoTckDirection());
}

TEST_F(LoaderVersion, WithOneDirectionThatFailsTurnsTheOtherLineBackToInput) {
    m_host.Without("/sys/class/gpio/gpio86/direction");
    EXPECT_FALSE(Get());
    ExpectUntouched();
    EXPECT_EQ(Conversation(), TriState(1) + Value("90", '1') + Pause(100000) +
                                  Direction("91", "out") + NoRxdNmiDirection() +
                                  Direction("91", "in") + NoRxdNmiDirection());
}

TEST_F(LoaderVersion, WithAPortThatCannotBeOpenedReleasesTheLines) {
    Port().CannotBeOpened(ENOENT);
    EXPECT_FALSE(Get());
    EXPECT_EQ(Conversation(), Preparation() + LoaderEntry() +
                                  "open /dev/ttyS1 O_RDWR|O_NOCTTY fails\n" +
                                  Log("error", "TalSerial::Open failed errno: 2") +
                                  Log("error", "CFWUMsp::GetBSLVersion -> error opening comport") +
                                  Release() + Directions("in"));
}

TEST_F(LoaderVersion, WithAPortThatRefusesItsSettingsReleasesTheLines) {
    Port().RefusesSettings();
    EXPECT_FALSE(Get());
    EXPECT_EQ(m_target.m_serialFd, -1);
    std::string opened = PortOpened();
    opened.insert(opened.size() - 1, " fails");
    EXPECT_EQ(Conversation(), Preparation() + LoaderEntry() + opened + PortClosed() +
                                  Log("error", "CFWUMsp::GetBSLVersion -> error opening comport") +
                                  Release() + Directions("in"));
}

TEST_F(LoaderVersion, AskedForAgainFailsSinceThePortIsStillOpen) {
    Port().AnswersTimes(3, {kAck}).Answers(VersionReply()).TakesOnly(9, 3);
    EXPECT_TRUE(Get());
    const int descriptor = m_target.m_serialFd;
    m_host.Forget();
    EXPECT_FALSE(Get());
    EXPECT_EQ(m_target.m_serialFd, descriptor);
    EXPECT_EQ(Conversation(), Preparation() + LoaderEntry() +
                                  Log("error", "CFWUMsp::GetBSLVersion -> error opening comport") +
                                  Release() + Directions("in"));
    m_host.Forget();
    m_target.CloseSerial();
    Port().AnswersTimes(3, {kAck}).Answers(VersionReply()).TakesOnly(9, 3);
    EXPECT_TRUE(Get());
}

TEST_F(LoaderVersion, AFailedFirstSyncIsSilentAndCleansUp) {
    Port().Answers({kNak});
    EXPECT_FALSE(Get());
    EXPECT_EQ(m_target.m_serialFd, -1);
    EXPECT_EQ(Conversation(), SessionOpened() + Sync(kNak) + CleanedUp());
}

TEST_F(LoaderVersion, AFailedPasswordIsSilentAndCleansUp) {
    Port().Answers({kAck}).Answers({kNak});
    EXPECT_FALSE(Get());
    EXPECT_EQ(m_target.m_serialFd, -1);
    EXPECT_EQ(Conversation(),
              SessionOpened() + Sync() + Exchange(kPasswordFrame, kNak) + CleanedUp());
}

TEST_F(LoaderVersion, AFailedSecondSyncIsSilentAndCleansUp) {
    Port().Answers({kAck}).Answers({kAck}).Answers({kNak});
    EXPECT_FALSE(Get());
    EXPECT_EQ(m_target.m_serialFd, -1);
    EXPECT_EQ(Conversation(),
              SessionOpened() + Sync() + Exchange(kPasswordFrame, kAck) + Sync(kNak) + CleanedUp());
}

TEST_F(LoaderVersion, AReplyOfAnyCountBut22IsWrong) {
    const std::string wrong =
        Log("error", "CFWUMsp::GetBSLVersion Respond has a wrong count of bytes");
    for (const std::size_t count : {1U, 21U, 23U, 300U}) {
        m_host.Forget();
        Port().AnswersTimes(3, {kAck}).Answers(Repeat(0x33, count)).TakesOnly(0, 3);
        EXPECT_FALSE(Get());
        EXPECT_EQ(m_target.m_serialFd, -1);
        ExpectUntouched();
        EXPECT_EQ(Conversation(), SessionOpened() + Unlocked() + RequestTakes(0) +
                                      Got(Repeat(0x33, count)) + wrong + CleanedUp());
    }
    m_host.Forget();
    Port().AnswersTimes(3, {kAck}).FailsRead().TakesOnly(0, 3);
    EXPECT_FALSE(Get());
    EXPECT_EQ(Conversation(), SessionOpened() + Unlocked() + RequestTakes(0) +
                                  "read /dev/ttyS1 300 fails\n" + wrong + CleanedUp());
}

TEST_F(LoaderVersion, WithoutAPasswordTakesTheErasedDevices) {
    Port().Answers({kAck}).Answers({kNak});
    EXPECT_FALSE(m_target.GetBSLVersion(&m_family, &m_version, nullptr));
    EXPECT_EQ(Conversation(), SessionOpened() + Sync() +
                                  LogOf("MSPCommands", "info",
                                        "CMSPBSLCommand::BuildPasswordFrame using default pwd") +
                                  Exchange(loader::ErasedPasswordFrame(), kNak) + CleanedUp());
}
