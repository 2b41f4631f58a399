// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "TestBoard.h"
#include "tests/support/Expected.h"
#include "tests/support/HexText.h"
#include "tests/support/LoaderFrames.h"
#include "tests/support/TempFolder.h"

using expected::Direction;
using expected::Directions;
using expected::Exchange;
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

const Bytes kErasedPassword = Repeat(0xFF, 32);

const std::string kStartStep = Log("verbose", "StartBSL()");
const std::string kOpenStep = Log("verbose", "OpenSerial()");
const std::string kSyncStep = Log("verbose", "SendSync()");

std::string PortRefusesSettings() {
    std::string opened = PortOpened();
    return opened.insert(opened.size() - 1, " fails") + PortClosed();
}

const std::string kPortMissing =
    "open /dev/ttyS1 O_RDWR|O_NOCTTY fails\n" + Log("error", "TalSerial::Open failed errno: 2");

// The opening of detection and mass erase with their step lines, up to the open port.
std::string PortReached() {
    return Preparation() + kStartStep + LoaderEntry() + kOpenStep + PortOpened();
}

class Detection : public TargetTest {};
class MassErase : public TargetTest {
protected:
    static std::string Erased(std::uint8_t reply) {
        return kSyncStep + Sync() + Exchange(loader::MassEraseFrame(), reply);
    }
    static std::string CleanedUp() { return PortClosed() + Release() + Directions("in"); }
};

}  // namespace

// ---- detection ----

TEST_F(Detection, OfATargetThatAnswersIsTheWholeConversation) {
    Port().Answers({kAck});
    EXPECT_TRUE(m_target.RunSystemTest());
    EXPECT_EQ(m_target.m_serialFd, -1);
    EXPECT_EQ(Conversation(),
              TriState(1) + Value("90", '1') + Pause(100000) + Direction("91", "out") +
                  Direction("86", "out") + Log("verbose", "StartBSL()") + LoaderEntry() +
                  Log("verbose", "OpenSerial()") + PortOpened() + Log("verbose", "SendSync()") +
                  Sync() + Log("info", "CFWUMsp::RunSystemTest -> SendSync OK -> SystemTest OK") +
                  PortClosed() + Value("86", '0') + Pause(100000) + Direction("91", "in") +
                  Direction("86", "in"));
    EXPECT_EQ(m_host.PausedUs(), 1250000);
}

TEST(DetectionWithoutAPort, TouchesNothing) {
    ScriptedHost host;
    CFWUMsp target(&kBoardWithoutPort);
    host.Forget();
    EXPECT_FALSE(target.RunSystemTest());
    EXPECT_EQ(host.Conversation(), Log("error", "CFWUMsp::RunSystemTest -> No comport specified!"));
}

TEST_F(Detection, WithoutTheTristateDeviceGivesUpAtOnce) {
    m_host.Without("/dev/knxspi");
    EXPECT_FALSE(m_target.RunSystemTest());
    EXPECT_EQ(Conversation(),
              NoTriState() +
                  Log("error", "CFWUMsp::RunSystemTest -> error setting gpio to tristate mode"));
}

TEST_F(Detection, IgnoresAResetLineThatIsNotThere) {
    m_host.Without("/sys/class/gpio/gpio90/value");
    Port().CannotBeOpened(ENOENT);
    EXPECT_FALSE(m_target.RunSystemTest());
    const std::string entry = NoValue("90") + Pause(500000) + Value("91", '0') + Value("86", '0') +
                              NoValue("90") + Pause(100000) + TriState(0) + Pause(100000) +
                              Value("91", '1') + Pause(50000) + Value("91", '0') + Pause(50000) +
                              Value("91", '1') + Pause(100000) + Value("91", '0') + Pause(50000) +
                              Value("86", '1') + Pause(50000) + Value("91", '1') + Pause(50000);
    EXPECT_EQ(Conversation(), TriState(1) + NoValue("90") + Pause(100000) + Directions("out") +
                                  kStartStep + entry + kOpenStep + kPortMissing +
                                  Log("error", "CFWUMsp::RunSystemTest -> error opening comport") +
                                  Release());
}

TEST_F(Detection, WithDirectionsThatFailReleasesTheLinesAndLeavesTheTristateOn) {
    m_host.Without("/sys/class/gpio/gpio91/direction");
    EXPECT_FALSE(m_target.RunSystemTest());
    EXPECT_EQ(Conversation(), TriState(1) + Value("90", '1') + Pause(100000) + NoTckDirection() +
                                  Value("86", '0') + Pause(100000) + NoTckDirection());
}

TEST_F(Detection, WithAPortThatIsNotThereReleasesTheLines) {
    Port().CannotBeOpened(ENOENT);
    EXPECT_FALSE(m_target.RunSystemTest());
    EXPECT_EQ(Conversation(),
              Preparation() + kStartStep + LoaderEntry() + kOpenStep + kPortMissing +
                  Log("error", "CFWUMsp::RunSystemTest -> error opening comport") + Release());
}

TEST_F(Detection, WithAPortThatRefusesItsSettingsReleasesTheLines) {
    Port().RefusesSettings();
    EXPECT_FALSE(m_target.RunSystemTest());
    EXPECT_EQ(m_target.m_serialFd, -1);
    EXPECT_EQ(Conversation(),
              Preparation() + kStartStep + LoaderEntry() + kOpenStep + PortRefusesSettings() +
                  Log("error", "CFWUMsp::RunSystemTest -> error opening comport") + Release());
}

TEST_F(Detection, WithAPortAlreadyOpenFailsAndLeavesItOpen) {
    OpenPort();
    const int descriptor = m_target.m_serialFd;
    EXPECT_FALSE(m_target.RunSystemTest());
    EXPECT_EQ(m_target.m_serialFd, descriptor);
    EXPECT_EQ(Conversation(), Preparation() + kStartStep + LoaderEntry() + kOpenStep +
                                  Log("error", "CFWUMsp::RunSystemTest -> error opening comport") +
                                  Release());
}

TEST_F(Detection, OfATargetThatDoesNotAckIsSilentlyFalse) {
    Port().Answers({kNak});
    EXPECT_FALSE(m_target.RunSystemTest());
    EXPECT_EQ(m_target.m_serialFd, -1);
    EXPECT_EQ(Conversation(), PortReached() + kSyncStep + Sync(kNak) + PortClosed() + Release());
}

TEST_F(Detection, OfATargetWhosePortGivesNothingIsSilentlyFalse) {
    Port().EndsRead();
    EXPECT_FALSE(m_target.RunSystemTest());
    EXPECT_EQ(Conversation(), PortReached() + kSyncStep + Sent({0x80}) +
                                  "read /dev/ttyS1 300 gets nothing\n" + PortClosed() + Release());
}

TEST_F(Detection, SpeaksToTheDevicesOfItsProfile) {
    m_host.Device("/dev/ttymxc1").Answers({kAck});
    m_host.Device("/dev/other");
    const MspBoardProfile profile{"/dev/ttymxc1", "/dev/other", "104", "6", "5"};
    CFWUMsp target(&profile);
    m_host.Forget();
    EXPECT_TRUE(target.RunSystemTest());
    const auto triState = [](const char* state) {
        return std::string("open /dev/other O_RDWR\nioctl /dev/other 0x40046b01 ") + state +
               "\nclose /dev/other\n";
    };
    EXPECT_EQ(Conversation(),
              triState("1") + Value("104", '1') + Pause(100000) + Direction("5", "out") +
                  Direction("6", "out") + kStartStep + Value("104", '1') + Pause(500000) +
                  Value("5", '0') + Value("6", '0') + Value("104", '0') + Pause(100000) +
                  triState("0") + Pause(100000) + Value("5", '1') + Pause(50000) + Value("5", '0') +
                  Pause(50000) + Value("5", '1') + Pause(100000) + Value("5", '0') + Pause(50000) +
                  Value("6", '1') + Pause(50000) + Value("5", '1') + Pause(50000) + kOpenStep +
                  PortOpened("/dev/ttymxc1") + kSyncStep + Sync(kAck, "/dev/ttymxc1") +
                  Log("info", "CFWUMsp::RunSystemTest -> SendSync OK -> SystemTest OK") +
                  PortClosed("/dev/ttymxc1") + Value("6", '0') + Pause(100000) +
                  Direction("5", "in") + Direction("6", "in"));
}

// ---- mass erase ----

TEST_F(MassErase, OfATargetThatAnswersIsTheWholeConversation) {
    Port().AnswersTimes(2, {kAck});
    EXPECT_TRUE(m_target.ClearMSP());
    EXPECT_EQ(m_target.m_serialFd, -1);
    EXPECT_EQ(Conversation(),
              TriState(1) + Value("90", '1') + Pause(100000) + Directions("out") +
                  Log("verbose", "StartBSL()") + LoaderEntry() + Log("verbose", "OpenSerial()") +
                  PortOpened() + Log("verbose", "SendSync()") + Sync() +
                  Sent(FromText("80 18 04 04 00 FF 06 A5 7D B9")) +
                  "read /dev/ttyS1 300 gets 90\n" + PortClosed() + Value("86", '0') +
                  Pause(100000) + Directions("in") + Directions("in"));
    EXPECT_EQ(m_host.PausedUs(), 1250000);
}

TEST(MassEraseWithoutAPort, TouchesNothing) {
    ScriptedHost host;
    CFWUMsp target(&kBoardWithoutPort);
    host.Forget();
    EXPECT_FALSE(target.ClearMSP());
    EXPECT_EQ(host.Conversation(), Log("error", "CFWUMsp::ClearMSP -> No comport specified!"));
}

TEST_F(MassErase, WithoutTheTristateDeviceTurnsTheLinesToInput) {
    m_host.Without("/dev/knxspi");
    EXPECT_FALSE(m_target.ClearMSP());
    EXPECT_EQ(Conversation(),
              NoTriState() +
                  Log("error", "CFWUMsp::ClearMSP -> error setting gpio to tristate mode") +
                  Directions("in"));
}

TEST_F(MassErase, WithDirectionsThatFailTurnsTheLinesToInputWithoutARelease) {
    m_host.Without("/sys/class/gpio/gpio86/direction");
    EXPECT_FALSE(m_target.ClearMSP());
    EXPECT_EQ(Conversation(), TriState(1) + Value("90", '1') + Pause(100000) +
                                  Direction("91", "out") + NoRxdNmiDirection() +
                                  Direction("91", "in") + NoRxdNmiDirection());
}

TEST_F(MassErase, WithAPortThatIsNotThereReleasesTwice) {
    Port().CannotBeOpened(ENOENT);
    EXPECT_FALSE(m_target.ClearMSP());
    EXPECT_EQ(Conversation(), Preparation() + kStartStep + LoaderEntry() + kOpenStep +
                                  kPortMissing +
                                  Log("error", "CFWUMsp::ClearMSP -> error opening comport") +
                                  Release() + Directions("in"));
}

TEST_F(MassErase, WithAPortThatRefusesItsSettingsReleasesTwice) {
    Port().RefusesSettings();
    EXPECT_FALSE(m_target.ClearMSP());
    EXPECT_EQ(Conversation(), Preparation() + kStartStep + LoaderEntry() + kOpenStep +
                                  PortRefusesSettings() +
                                  Log("error", "CFWUMsp::ClearMSP -> error opening comport") +
                                  Release() + Directions("in"));
}

TEST_F(MassErase, WithAPortAlreadyOpenFailsAndLeavesItOpen) {
    OpenPort();
    const int descriptor = m_target.m_serialFd;
    EXPECT_FALSE(m_target.ClearMSP());
    EXPECT_EQ(m_target.m_serialFd, descriptor);
    EXPECT_EQ(Conversation(), Preparation() + kStartStep + LoaderEntry() + kOpenStep +
                                  Log("error", "CFWUMsp::ClearMSP -> error opening comport") +
                                  Release() + Directions("in"));
}

TEST_F(MassErase, OfATargetThatDoesNotAckTheSyncIsSilentlyFalse) {
    Port().Answers({kNak});
    EXPECT_FALSE(m_target.ClearMSP());
    EXPECT_EQ(m_target.m_serialFd, -1);
    EXPECT_EQ(Conversation(), PortReached() + kSyncStep + Sync(kNak) + CleanedUp());
}

TEST_F(MassErase, AnsweredWithAnythingButOneAckFailsWithALine) {
    const std::string failed = Log("error", "CFWUMsp::ClearMSP() failed");
    for (const Bytes& reply : {Bytes{kNak}, Bytes{0x90, 0x90}, Bytes{0x91}}) {
        m_host.Forget();
        Port().Answers({kAck}).Answers(reply);
        EXPECT_FALSE(m_target.ClearMSP());
        EXPECT_EQ(m_target.m_serialFd, -1);
        EXPECT_EQ(Conversation(), PortReached() + kSyncStep + Sync() +
                                      Sent(loader::MassEraseFrame()) + "read /dev/ttyS1 300 gets " +
                                      ToText(reply) + "\n" + failed + CleanedUp());
    }
    m_host.Forget();
    Port().Answers({kAck}).EndsRead();
    EXPECT_FALSE(m_target.ClearMSP());
    EXPECT_EQ(Conversation(), PortReached() + kSyncStep + Sync() + Sent(loader::MassEraseFrame()) +
                                  "read /dev/ttyS1 300 gets nothing\n" + failed + CleanedUp());
    m_host.Forget();
    Port().Answers({kAck}).FailsRead();
    EXPECT_FALSE(m_target.ClearMSP());
    EXPECT_EQ(Conversation(), PortReached() + kSyncStep + Sync() + Sent(loader::MassEraseFrame()) +
                                  "read /dev/ttyS1 300 fails\n" + failed + CleanedUp());
}

TEST_F(MassErase, WhoseFrameIsNotWrittenInWholeFailsWithoutARead) {
    for (const int count : {9, 0, -1}) {
        m_host.Forget();
        Port().Answers({kAck}).TakesOnly(count, 1);
        EXPECT_FALSE(m_target.ClearMSP());
        EXPECT_EQ(Conversation(),
                  PortReached() + kSyncStep + Sync() + "write /dev/ttyS1 " +
                      ToText(loader::MassEraseFrame()) +
                      (count < 0 ? " fails\n" : " takes " + std::to_string(count) + "\n") +
                      Log("error", "CFWUMsp::ClearMSP() failed") + CleanedUp());
    }
}

// ---- update ----

namespace {

const std::string kStarting = Log("info", "CFWUMsp::UpdateMSP -> starting update MSP");
const std::string kFinish = Log("info", "CFWUMsp::UpdateMSP -> finish update MSP");
const std::string kImageOpened = "image opened\n";
const std::string kImageClosed = "image closed\n";

// An update with a small image: two blocks, then the end.
class Update : public TargetTest {
protected:
    Update()
        : m_image(m_folder.WriteFile("image.hex", hex::Data(0x2100, {0x34, 0x12}) +
                                                      hex::Data(0xFFFE, {0x00, 0x21}) +
                                                      hex::EndOfFile())) {
        m_host.WatchesImage(m_image);
    }

    bool Program() { return m_target.UpdateMSP(m_image, kErasedPassword.data()); }

    // What is said before the port is opened.
    static std::string LoaderReached() {
        return kStarting + kImageOpened + Preparation() + LoaderEntry();
    }
    static std::string Unlocked() {
        return LoaderReached() + PortOpened() + Sync() +
               Exchange(loader::ErasedPasswordFrame(), kAck);
    }
    static std::string EraseRounds(int count) {
        std::string rounds;
        for (int round = 0; round < count; ++round) {
            rounds += Sync() + Exchange(loader::EraseMainFrame(), kAck);
        }
        return rounds;
    }
    static std::string FirstBlock() {
        return Sync() + Exchange(loader::WriteFrame(0x2100, {0x34, 0x12}), kAck);
    }
    static std::string Error(const std::string& text) {
        return Log("error", "CFWUMsp::UpdateMSP -> " + text);
    }
    static std::string CleanedUp() { return PortClosed() + Release() + kImageClosed + kFinish; }

    TempFolder m_folder;
    std::string m_image;
};

}  // namespace

TEST_F(Update, OfATargetThatAnswersIsTheWholeConversation) {
    Port().AnswersTimes(2 + 40 + 4, {kAck});
    EXPECT_TRUE(Program());
    EXPECT_EQ(m_target.m_serialFd, -1);
    EXPECT_FALSE(m_target.m_hexReader.m_file.is_open());
    EXPECT_EQ(m_target.m_hexReader.m_fileName, m_image);
    EXPECT_EQ(
        Conversation(),
        Log("info", "CFWUMsp::UpdateMSP -> starting update MSP") + kImageOpened + TriState(1) +
            Value("90", '1') + Pause(100000) + Directions("out") + LoaderEntry() + PortOpened() +
            Sync() +
            Exchange(FromText("80 10 24 24 00 00 00 00") + Repeat(0xFF, 32) + FromText("5B CB"),
                     kAck) +
            EraseRounds(20) + FirstBlock() + Sync() +
            Exchange(loader::WriteFrame(0xFFFE, {0x00, 0x21}), kAck) + PortClosed() +
            Value("86", '0') + Pause(100000) + Directions("in") + kImageClosed +
            Log("info", "CFWUMsp::UpdateMSP -> finish update MSP"));
    EXPECT_EQ(m_host.PausedUs(), 1250000);
}

TEST_F(Update, CanBeRunAgainOnTheSameTarget) {
    for (int run = 0; run < 2; ++run) {
        Port().AnswersTimes(2 + 40 + 4, {kAck});
        EXPECT_TRUE(Program());
    }
}

TEST_F(Update, HandsThePasswordOnAsItIs) {
    Bytes password(32);
    password[31] = 0x77;
    Port().Answers({kAck}).Answers({kNak});
    EXPECT_FALSE(m_target.UpdateMSP(m_image, password.data()));
    EXPECT_EQ(Conversation(), LoaderReached() + PortOpened() + Sync() +
                                  Exchange(loader::Frame(0x10, 0, 0, password), kNak) +
                                  Error("error send password") + CleanedUp());
}

TEST_F(Update, WithoutAPasswordTakesTheErasedDevices) {
    Port().Answers({kAck}).Answers({kNak});
    EXPECT_FALSE(m_target.UpdateMSP(m_image, nullptr));
    EXPECT_EQ(Conversation(), LoaderReached() + PortOpened() + Sync() +
                                  LogOf("MSPCommands", "info",
                                        "CMSPBSLCommand::BuildPasswordFrame using default pwd") +
                                  Exchange(loader::ErasedPasswordFrame(), kNak) +
                                  Error("error send password") + CleanedUp());
}

TEST_F(Update, WithoutAPortTouchesNothingAndHasNoFinishLine) {
    CFWUMsp target(&kBoardWithoutPort);
    m_host.Forget();
    EXPECT_FALSE(target.UpdateMSP(m_image, kErasedPassword.data()));
    EXPECT_EQ(Conversation(), kStarting + Error("No comport specified!"));
}

TEST_F(Update, WithoutAFileNameSpeaksOfTheComportAndHasNoFinishLine) {
    EXPECT_FALSE(m_target.UpdateMSP("", kErasedPassword.data()));
    EXPECT_EQ(Conversation(), kStarting + Error("No comport specified!"));
}

TEST_F(Update, WithAMissingFileNeverSwitchesTheTristate) {
    const std::string name = m_folder.PathOf("missing.hex");
    EXPECT_FALSE(m_target.UpdateMSP(name, kErasedPassword.data()));
    EXPECT_EQ(Conversation(), kStarting +
                                  LogOf("IntelHexFileWrapper", "error",
                                        "CIntelHexWrapper::Open failed to open " + name) +
                                  Error("error opening file: " + name) + kFinish);
}

TEST_F(Update, WithTheReaderStillOpenFailsLikeAMissingFileAndLeavesItOpen) {
    ASSERT_TRUE(m_target.m_hexReader.Open(m_image));
    EXPECT_FALSE(Program());
    EXPECT_TRUE(m_target.m_hexReader.m_file.is_open());
    EXPECT_EQ(Conversation(), kImageOpened + kStarting +
                                  LogOf("IntelHexFileWrapper", "error",
                                        "CIntelHexWrapper::Open failed to open " + m_image) +
                                  Error("error opening file: " + m_image) + kFinish);
}

TEST_F(Update, WithoutTheTristateDeviceOnlyClosesTheFile) {
    m_host.Without("/dev/knxspi");
    EXPECT_FALSE(Program());
    EXPECT_EQ(Conversation(), kStarting + kImageOpened + NoTriState() +
                                  Error("Error setting gpio tristate") + kImageClosed + kFinish);
}

TEST_F(Update, WithDirectionsThatFailLeavesTheLinesAsTheyAre) {
    m_host.Without("/sys/class/gpio/gpio86/direction");
    EXPECT_FALSE(Program());
    EXPECT_EQ(Conversation(), kStarting + kImageOpened + TriState(1) + Value("90", '1') +
                                  Pause(100000) + Direction("91", "out") + NoRxdNmiDirection() +
                                  kImageClosed + kFinish);
}

TEST_F(Update, WithAPortThatIsNotThereReleasesTheLines) {
    Port().CannotBeOpened(ENOENT);
    EXPECT_FALSE(Program());
    EXPECT_EQ(Conversation(), LoaderReached() + kPortMissing + Error("error opening comport") +
                                  Release() + kImageClosed + kFinish);
}

TEST_F(Update, WithAPortThatRefusesItsSettingsReleasesTheLines) {
    Port().RefusesSettings();
    EXPECT_FALSE(Program());
    EXPECT_EQ(Conversation(), LoaderReached() + PortRefusesSettings() +
                                  Error("error opening comport") + Release() + kImageClosed +
                                  kFinish);
}

TEST_F(Update, WithAPortAlreadyOpenFailsAndLeavesItOpen) {
    OpenPort();
    const int descriptor = m_target.m_serialFd;
    EXPECT_FALSE(Program());
    EXPECT_EQ(m_target.m_serialFd, descriptor);
    EXPECT_EQ(Conversation(), LoaderReached() + Error("error opening comport") + Release() +
                                  kImageClosed + kFinish);
}

TEST_F(Update, OfATargetThatDoesNotAckTheSyncSaysSo) {
    Port().Answers({kNak});
    EXPECT_FALSE(Program());
    EXPECT_EQ(m_target.m_serialFd, -1);
    EXPECT_EQ(Conversation(),
              LoaderReached() + PortOpened() + Sync(kNak) + Error("error send sync") + CleanedUp());
}

TEST_F(Update, OfATargetThatRefusesThePasswordSaysSo) {
    Port().Answers({kAck}).Answers({kNak});
    EXPECT_FALSE(Program());
    EXPECT_EQ(m_target.m_serialFd, -1);
    EXPECT_EQ(Conversation(), LoaderReached() + PortOpened() + Sync() +
                                  Exchange(loader::ErasedPasswordFrame(), kNak) +
                                  Error("error send password") + CleanedUp());
}

TEST_F(Update, OfATargetThatRefusesTheEraseSaysSoAndSendsNoBlock) {
    Port().AnswersTimes(5, {kAck}).Answers({kNak});
    EXPECT_FALSE(Program());
    EXPECT_EQ(m_target.m_serialFd, -1);
    EXPECT_EQ(Conversation(),
              Unlocked() + EraseRounds(1) + Sync() + Exchange(loader::EraseMainFrame(), kNak) +
                  Log("error", "bool CFWUMsp::EraseMainFlashSegment() failed in round 1") +
                  Error("error Erase Main Flash") + CleanedUp());
}

TEST_F(Update, OfATargetThatRefusesABlockThreeTimesSaysSo) {
    Port().AnswersTimes(42, {kAck});
    std::string attempts;
    for (const char* count : {"1", "2", "3"}) {
        Port().Answers({kAck}).Answers({kNak});
        attempts += Sync() + Exchange(loader::WriteFrame(0x2100, {0x34, 0x12}), kNak) +
                    Log("error",
                        "CFWUMsp::SendFirmwareToMSP -> error WriteDataBlock nRead 2 wAddress 8448 "
                        "try " +
                            std::string(count));
    }
    EXPECT_FALSE(Program());
    EXPECT_EQ(m_target.m_serialFd, -1);
    EXPECT_EQ(Conversation(), Unlocked() + EraseRounds(20) + attempts +
                                  Error("error sending firmware") + CleanedUp());
}

TEST_F(Update, WhoseSyncFailsBeforeABlockStillReportsSuccess) {
    Port().AnswersTimes(44, {kAck}).Answers({kNak});
    EXPECT_TRUE(Program());
    EXPECT_EQ(Conversation(),
              Unlocked() + EraseRounds(20) + FirstBlock() + Sync(kNak) +
                  Log("error", "CFWUMsp::SendFirmwareToMSP -> error send sync for address: 65534") +
                  CleanedUp());
}

TEST_F(Update, OfAnImageWithoutDataFailsAfterTheErase) {
    m_image = m_folder.WriteFile("empty.hex", hex::EndOfFile());
    m_host.WatchesImage(m_image);
    Port().AnswersTimes(42, {kAck});
    EXPECT_FALSE(Program());
    EXPECT_EQ(Conversation(),
              Unlocked() + EraseRounds(20) +
                  Log("error", "CFWUMsp::SendFirmwareToMSP -> error getting first data") +
                  Error("error sending firmware") + CleanedUp());
}

TEST_F(Update, WhoseEverySyncOfTheEraseFailsGoesOnToTheDownload) {
    Port().AnswersTimes(2, {kAck}).AnswersTimes(20, {kNak}).AnswersTimes(4, {kAck});
    EXPECT_TRUE(Program());
    std::string rounds;
    for (int round = 0; round < 20; ++round) {
        rounds += Sync(kNak) +
                  Log("error", "bool CFWUMsp::EraseMainFlashSegment() send sync failed in round " +
                                   std::to_string(round));
    }
    EXPECT_EQ(Conversation(), Unlocked() + rounds + FirstBlock() + Sync() +
                                  Exchange(loader::WriteFrame(0xFFFE, {0x00, 0x21}), kAck) +
                                  CleanedUp());
}

TEST_F(Update, WithoutAnyGpioFileFailsAtTheDirections) {
    m_host.WithoutGpioFiles();
    EXPECT_FALSE(Program());
    EXPECT_EQ(Conversation(), kStarting + kImageOpened + TriState(1) + NoValue("90") +
                                  Pause(100000) + NoTckDirection() + kImageClosed + kFinish);
}

TEST_F(Update, AfterAFailedDirectionStepTheEndOfTheTargetSwitchesTheTristateOff) {
    m_host.Without("/sys/class/gpio/gpio91/direction");
    {
        CFWUMsp target(&kBoard);
        m_host.Forget();
        EXPECT_FALSE(target.RunSystemTest());
    }
    EXPECT_EQ(Conversation(), TriState(1) + Value("90", '1') + Pause(100000) + NoTckDirection() +
                                  Value("86", '0') + Pause(100000) + NoTckDirection() +
                                  expected::Destruction());
}

// ---- the lines of the source ----

TEST_F(Detection, AndMassErasePrintTheLinesOfTheirOwnStatements) {
    Port().AnswersTimes(3, {kAck});
    EXPECT_TRUE(m_target.RunSystemTest());
    const std::vector<int> ofDetection = m_host.LogLines();
    ASSERT_EQ(ofDetection.size(), 4U);
    m_host.Forget();
    EXPECT_TRUE(m_target.ClearMSP());
    const std::vector<int> ofErase = m_host.LogLines();
    ASSERT_EQ(ofErase.size(), 3U);
    for (std::size_t index = 0; index < 3; ++index) {
        EXPECT_LT(ofDetection[index], ofDetection[index + 1]);
        EXPECT_NE(ofDetection[index], ofErase[index]);
    }
}
