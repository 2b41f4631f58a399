// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "TestFlows.h"
#include "tests/support/HexText.h"
#include "tests/support/TempFolder.h"

using expected::Construction;
using expected::Destruction;
using expected::Exchange;
using expected::Log;
using expected::LogOf;
using expected::NoTriState;
using expected::Pause;
using expected::PortClosed;
using expected::PortOpened;
using expected::Release;
using expected::Sync;
using expected::TriState;
using expected::Value;
using flows::Detected;
using flows::MassErased;
using flows::QueryAnswered;
using flows::QueryUnanswered;
using flows::RunTool;
using flows::Say;
using flows::Unlocked;
using flows::Updated;
using loader::kAck;
using loader::kNak;

namespace {

const Bytes kOldVersion{0xB5, 0x01, 0x00};
const Bytes kNewVersion{0xB5, 0x12, 0x34};

const std::string kDetecting = Say("verbose", "Detecting MSP...");
const std::string kErasing = Say("verbose", "Erasing MSP...");
const std::string kProgramming = Say("verbose", "Programming MSP...");
const std::string kResetting = Say("verbose", "Resetting MSP...");
const std::string kHexVersion = Say("info", "HEX file version is 4660");
const std::string kMspIsOld = Say("info", "Current MSP version is 256");
const std::string kSuccess = Say("verbose", "Success");

// The mass-erase or update step of a run up to its failure at the synchronisation.
std::string DetectionNotAnswered() {
    return expected::Preparation() + Log("verbose", "StartBSL()") + expected::LoaderEntry() +
           Log("verbose", "OpenSerial()") + PortOpened() + Log("verbose", "SendSync()") +
           Sync(kNak) + PortClosed() + Release();
}

class Flows : public testing::Test {
protected:
    Flows()
        : m_image(m_folder.WriteFile("image.hex",
                                     hex::Data(0x2100, {0x34, 0x12}) + hex::EndOfFile())) {}

    ScriptedHost::DeviceScript& Port() { return m_host.Device("/dev/ttyS1"); }
    ScriptedHost::DeviceScript& Comm() { return m_host.Device("/dev/knxspi"); }

    // The target takes a whole programming of the image.
    void TargetTakesAll() {
        Port().AnswersTimes(flows::kAcksOfDetection + flows::kAcksOfErase + flows::kAcksOfUpdate,
                            {kAck});
    }

    static std::string Programmed() {
        return Construction() + kDetecting + Detected() + kErasing + MassErased() + kProgramming +
               Updated(0x2100, {0x34, 0x12}) + Destruction();
    }

    std::string Conversation() {
        EXPECT_EQ(m_host.AnswersLeft(), 0);
        return m_host.Conversation();
    }

    TempFolder m_folder;
    std::string m_image;
    ScriptedHost m_host;
};

}  // namespace

// ---- programming ----

TEST_F(Flows, ProgrammingRunsFromTheVersionCheckToSuccess) {
    TargetTakesAll();
    Comm().SendsMessage(kOldVersion).SendsMessage(kNewVersion);
    EXPECT_EQ(RunTool({"-f", m_image}), 0);
    EXPECT_EQ(Conversation(), kHexVersion + QueryAnswered(kOldVersion) + kMspIsOld + Programmed() +
                                  Pause(500000) + QueryAnswered(kNewVersion) + kSuccess);
}

TEST_F(Flows, ForcedProgrammingAsksForTheVersionOnlyAfterwards) {
    TargetTakesAll();
    Comm().SendsMessage(kNewVersion);
    EXPECT_EQ(RunTool({"-F", "-f", m_image}), 0);
    EXPECT_EQ(Conversation(),
              kHexVersion + Programmed() + Pause(500000) + QueryAnswered(kNewVersion) + kSuccess);
}

TEST_F(Flows, ProgrammingIsSkippedWhenTheVersionsAreEqual) {
    Comm().SendsMessage(kNewVersion);
    EXPECT_EQ(RunTool({"-f", m_image}), 0);
    EXPECT_EQ(
        Conversation(),
        kHexVersion + QueryAnswered(kNewVersion) + Say("info", "Current MSP version is 4660") +
            Say("info", "Not programming MSP because it's firmware version is already current"));
}

TEST_F(Flows, AHexVersionOfZeroAndASilentMspCountAsCurrent) {
    m_image = m_folder.WriteFile("zero.hex", hex::Data(0x2100, {0, 0}) + hex::EndOfFile());
    EXPECT_EQ(RunTool({"-f", m_image}), 0);
    EXPECT_EQ(
        Conversation(),
        Say("info", "HEX file version is 0") + QueryUnanswered() +
            Say("info", "Current MSP version is 0") +
            Say("info", "Not programming MSP because it's firmware version is already current"));
}

TEST_F(Flows, ASilentMspIsProgrammedWhenTheHexVersionIsNotZero) {
    TargetTakesAll();
    Comm().StaysSilent().SendsMessage(kNewVersion);
    EXPECT_EQ(RunTool({"-f", m_image}), 0);
    EXPECT_EQ(Conversation(), kHexVersion + QueryUnanswered() +
                                  Say("info", "Current MSP version is 0") + Programmed() +
                                  Pause(500000) + QueryAnswered(kNewVersion) + kSuccess);
}

TEST_F(Flows, AHexFileWithoutAVersionFailsBeforeAnythingIsTouched) {
    m_image = m_folder.WriteFile("none.hex", hex::Data(0x3000, {1, 2}) + hex::EndOfFile());
    EXPECT_EQ(RunTool({"-f", m_image}), -1);
    EXPECT_EQ(Conversation(), Say("error", "Error reading version from HEX file"));
}

TEST_F(Flows, AHexFileThatIsNotThereFailsBeforeAnythingIsTouched) {
    const std::string name = m_folder.PathOf("missing.hex");
    EXPECT_EQ(RunTool({"-F", "-f", name}), -1);
    EXPECT_EQ(Conversation(), LogOf("IntelHexFileWrapper", "error",
                                    "CIntelHexWrapper::Open failed to open " + name) +
                                  Say("error", "Error reading version from HEX file"));
}

TEST_F(Flows, ACommunicationDeviceThatIsNotThereEndsTheRun) {
    m_host.Without("/dev/knxspi");
    EXPECT_EQ(RunTool({"-f", m_image}), -1);
    EXPECT_EQ(Conversation(), kHexVersion + "open /dev/knxspi O_RDWR fails\n" +
                                  Say("error", "Error opening MSP for reading version"));
}

TEST_F(Flows, ACommunicationDeviceThatIsGoneAfterProgrammingEndsTheRun) {
    TargetTakesAll();
    // Opened before: once for the first query, twice in each operation, once at the target's end.
    Comm().SendsMessage(kOldVersion).CannotBeOpened(ENODEV, 8);
    EXPECT_EQ(RunTool({"-f", m_image}), -1);
    EXPECT_EQ(Conversation(), kHexVersion + QueryAnswered(kOldVersion) + kMspIsOld + Programmed() +
                                  Pause(500000) + "open /dev/knxspi O_RDWR fails\n" +
                                  Say("error", "Error opening MSP for reading version"));
}

TEST_F(Flows, AVersionThatDiffersAfterProgrammingFailsTheRun) {
    for (const bool forced : {false, true}) {
        m_host.Forget();
        TargetTakesAll();
        if (!forced) {
            Comm().SendsMessage(kOldVersion);
        }
        Comm().SendsMessage(kOldVersion);
        EXPECT_EQ(forced ? RunTool({"-F", "-f", m_image}) : RunTool({"-f", m_image}), -1);
        EXPECT_EQ(Conversation(), kHexVersion +
                                      (forced ? "" : QueryAnswered(kOldVersion) + kMspIsOld) +
                                      Programmed() + Pause(500000) + QueryAnswered(kOldVersion) +
                                      Say("error",
                                          "New MSP firmware version is 256 which does not match "
                                          "hexfile version"));
    }
}

TEST_F(Flows, AnMspThatIsSilentAfterProgrammingCountsAsVersionZero) {
    TargetTakesAll();
    // Without a fresh start the version of the first query would be taken for the second's.
    Comm().SendsMessage(kOldVersion);
    EXPECT_EQ(RunTool({"-f", m_image}), -1);
    EXPECT_EQ(Conversation(), kHexVersion + QueryAnswered(kOldVersion) + kMspIsOld + Programmed() +
                                  Pause(500000) + QueryUnanswered() +
                                  Say("error",
                                      "New MSP firmware version is 0 which does not match hexfile "
                                      "version"));
}

TEST_F(Flows, AnMspThatIsNotFoundEndsTheRunAndFreesTheLines) {
    Port().Answers({kNak});
    EXPECT_EQ(RunTool({"-F", "-f", m_image}), -1);
    EXPECT_EQ(Conversation(), kHexVersion + Construction() + kDetecting + DetectionNotAnswered() +
                                  Say("error", "MSP not found") + Destruction());
}

TEST_F(Flows, AnMspThatIsNotErasedEndsTheRunAndFreesTheLines) {
    Port().AnswersTimes(2, {kAck}).Answers({kNak});
    EXPECT_EQ(RunTool({"-F", "-f", m_image}), -1);
    EXPECT_EQ(Conversation(), kHexVersion + Construction() + kDetecting + Detected() + kErasing +
                                  MassErased(kNak) + Say("error", "MSP not erased") +
                                  Destruction());
}

TEST_F(Flows, AnMspThatIsNotProgrammedEndsTheRunAndFreesTheLines) {
    Port().AnswersTimes(4, {kAck}).Answers({kNak});
    EXPECT_EQ(RunTool({"-F", "-f", m_image}), -1);
    EXPECT_EQ(Conversation(),
              kHexVersion + Construction() + kDetecting + Detected() + kErasing + MassErased() +
                  kProgramming + Log("info", "CFWUMsp::UpdateMSP -> starting update MSP") +
                  expected::Preparation() + expected::LoaderEntry() + PortOpened() + Sync() +
                  Exchange(loader::ErasedPasswordFrame(), kNak) +
                  Log("error", "CFWUMsp::UpdateMSP -> error send password") + PortClosed() +
                  Release() + Log("info", "CFWUMsp::UpdateMSP -> finish update MSP") +
                  Say("error", "MSP not programmed") + Destruction());
}

TEST_F(Flows, AnEarlyEndOfTheDownloadStillCountsAndIsCaughtByTheVersion) {
    Port().AnswersTimes(3 + 42, {kAck}).Answers({kNak});
    Comm().SendsMessage(kOldVersion);
    EXPECT_EQ(RunTool({"-F", "-f", m_image}), -1);
    EXPECT_EQ(
        Conversation(),
        kHexVersion + Construction() + kDetecting + Detected() + kErasing + MassErased() +
            kProgramming + Unlocked() + Sync(kNak) +
            Log("error", "CFWUMsp::SendFirmwareToMSP -> error send sync for address: 8448") +
            PortClosed() + Release() + Log("info", "CFWUMsp::UpdateMSP -> finish update MSP") +
            Destruction() + Pause(500000) + QueryAnswered(kOldVersion) +
            Say("error", "New MSP firmware version is 256 which does not match hexfile version"));
}

TEST_F(Flows, ProgramMspAnswersWhetherItWentThrough) {
    const MspBoardProfile profile{"/dev/ttyS1", "/dev/knxspi", "90", "86", "91"};
    TargetTakesAll();
    EXPECT_TRUE(ProgramMSP(&profile, m_image.c_str()));
    EXPECT_EQ(Conversation(), Programmed());
    m_host.Forget();
    Port().Answers({kNak});
    EXPECT_FALSE(ProgramMSP(&profile, m_image.c_str()));
    EXPECT_EQ(Conversation(), Construction() + kDetecting + DetectionNotAnswered() +
                                  Say("error", "MSP not found") + Destruction());
}

// ---- reset ----

namespace {

std::string RestartTalk() {
    return TriState(1) + Value("91", '0') + Value("86", '0') + Value("90", '1') + Pause(500000) +
           Value("90", '0') + Pause(100000) + TriState(0) + Pause(100000);
}

}  // namespace

TEST_F(Flows, ResetDetectsAndPulsesTheReset) {
    Port().Answers({kAck});
    EXPECT_EQ(RunTool({"-r"}), 0);
    EXPECT_EQ(Conversation(), Construction() + kDetecting + Detected() + kResetting +
                                  RestartTalk() + Destruction());
}

TEST_F(Flows, ResetOfAnMspThatIsNotFoundFails) {
    Port().Answers({kNak});
    EXPECT_EQ(RunTool({"-r"}), -1);
    EXPECT_EQ(Conversation(), Construction() + kDetecting + DetectionNotAnswered() +
                                  Say("error", "MSP not found") + Destruction());
}

TEST_F(Flows, ResetWhoseSequenceFailsStillCountsAsDone) {
    Port().Answers({kAck});
    // The tristate device goes after the detection, which opens it twice.
    Comm().CannotBeOpened(ENODEV, 2);
    EXPECT_EQ(RunTool({"-r"}), 0);
    EXPECT_EQ(Conversation(), Construction() + kDetecting + Detected() + kResetting + NoTriState() +
                                  Value("91", '0') + Value("86", '0') + Value("90", '1') +
                                  Pause(500000) + Value("90", '0') + Pause(100000) + NoTriState() +
                                  Pause(100000) + NoTriState() + expected::Unexported());
}

TEST_F(Flows, ResetMspAnswersWhetherTheMspWasFound) {
    const MspBoardProfile profile{"/dev/ttyS1", "/dev/knxspi", "90", "86", "91"};
    Port().Answers({kAck}).Answers({kNak});
    EXPECT_TRUE(ResetMSP(&profile));
    EXPECT_FALSE(ResetMSP(&profile));
    EXPECT_EQ(Conversation(), Construction() + kDetecting + Detected() + kResetting +
                                  RestartTalk() + Destruction() + Construction() + kDetecting +
                                  DetectionNotAnswered() + Say("error", "MSP not found") +
                                  Destruction());
}

TEST_F(Flows, ResetAndReadVersionDoBothInThisOrder) {
    Port().Answers({kAck});
    Comm().SendsMessage(kNewVersion);
    EXPECT_EQ(RunTool({"-v", "-r"}), 0);
    EXPECT_EQ(Conversation(), Construction() + kDetecting + Detected() + kResetting +
                                  RestartTalk() + Destruction() + QueryAnswered(kNewVersion) +
                                  Say("info", "Current MSP version is 4660"));
}

TEST_F(Flows, ResetAndReadVersionReadNothingWhenTheMspIsNotFound) {
    Port().Answers({kNak});
    EXPECT_EQ(RunTool({"-r", "-v"}), -1);
    EXPECT_EQ(Conversation(), Construction() + kDetecting + DetectionNotAnswered() +
                                  Say("error", "MSP not found") + Destruction());
}

TEST_F(Flows, ResetIgnoresTheFileAndTheForce) {
    Port().Answers({kAck});
    EXPECT_EQ(RunTool({"-f", m_folder.PathOf("missing.hex"), "-F", "-r"}), 0);
    EXPECT_EQ(Conversation(), Construction() + kDetecting + Detected() + kResetting +
                                  RestartTalk() + Destruction());
}

// ---- read version ----

TEST_F(Flows, ReadVersionPrintsIt) {
    Comm().SendsMessage(kNewVersion);
    EXPECT_EQ(RunTool({"-v"}), 0);
    EXPECT_EQ(Conversation(),
              QueryAnswered(kNewVersion) + Say("info", "Current MSP version is 4660"));
}

TEST_F(Flows, ReadVersionOfASilentMspWarnsAndPrintsZero) {
    EXPECT_EQ(RunTool({"-v"}), 0);
    EXPECT_EQ(Conversation(), QueryUnanswered() + Say("info", "Current MSP version is 0"));
}

TEST_F(Flows, ReadVersionWithoutTheDeviceFails) {
    m_host.Without("/dev/knxspi");
    EXPECT_EQ(RunTool({"-v"}), -1);
    EXPECT_EQ(Conversation(), "open /dev/knxspi O_RDWR fails\n" +
                                  Say("error", "Error opening MSP for reading version"));
}

TEST_F(Flows, ReadVersionIgnoresTheFileAndTheForce) {
    Comm().SendsMessage(kNewVersion);
    EXPECT_EQ(RunTool({"-F", "-f", m_image, "-v"}), 0);
    EXPECT_EQ(Conversation(),
              QueryAnswered(kNewVersion) + Say("info", "Current MSP version is 4660"));
}
