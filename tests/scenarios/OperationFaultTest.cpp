// SPDX-License-Identifier: MIT

// What each of the three operations does when one of its steps fails: what it says, and what it
// puts back. All runs are forced, so that the first thing on the board is the detection.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/runs/Board.h"
#include "tests/runs/Compare.h"
#include "tests/runs/Conversation.h"
#include "tests/runs/ToolLog.h"
#include "tests/support/LoaderFrames.h"

using runs::Blinky;
using runs::BlinkyPath;
using runs::BlocksOf;
using runs::Board;
using runs::Conversation;
using runs::DetectionLog;
using runs::EraseLog;
using runs::ExpectSame;
using runs::Outcome;
using runs::Say;
using runs::Target;
using runs::UpdateLog;

namespace {

constexpr int kFailure = 255;

const std::string kHexVersion = Say("info", "HEX file version is 4660");
const std::string kSteps = Target("verbose", "StartBSL()") + Target("verbose", "OpenSerial()");
const std::string kSync = Target("verbose", "SendSync()");
const std::string kDetecting = Say("verbose", "Detecting MSP...");
const std::string kErasing = Say("verbose", "Erasing MSP...");
const std::string kNoSwitch =
    Target("error", "CFWUMsp::SetGPIOTriState open /dev/knxspi failed fd:-1");
const std::string kNoTck =
    Target("error", "MSP Test: Error opening the direction file of the MSP_TCK_GPIO!");
const std::string kNoRxdNmi =
    Target("error", "MSP Test: Error opening the direction file of the RxD_NMI_GPIO!");
const std::string kNoPort = Target("error", "TalSerial::Open failed errno: 5");

const std::string kSyncWrite = "write /dev/ttyS1 80";
const std::string kTck = "91";
const std::string kRxdNmi = "86";

using Steps = std::function<void(Conversation&)>;

/// A forced run with these faults fails with this log between the image's version and the end, and
/// does this between the lines' export and their release.
void ExpectFailure(const std::vector<std::string>& faults, const std::string& log,
                   const Steps& steps) {
    SCOPED_TRACE(testing::PrintToString(faults));
    Board board;
    for (const std::string& fault : faults) {
        board.WithFault(fault);
    }
    const Outcome run = board.Runs({"-F", "-f", BlinkyPath()});
    EXPECT_EQ(run.status, kFailure);
    ExpectSame(run.log, kHexVersion + log);
    EXPECT_EQ(run.error, "");
    Conversation expected;
    expected.Begins();
    steps(expected);
    expected.Ends();
    ExpectSame(run.Conversation(), expected.Text());
}

/// An exchange whose reply is no acknowledge: the faults that bring it about at the n-th answer to
/// a command and the n-th read of the port, and what one read then gives.
struct BadReply {
    std::string fault;
    Bytes reply;
};

std::vector<BadReply> BadReplies(const std::string& answer, int read) {
    const std::string reading = "read:port#" + std::to_string(read) + "=bytes ";
    return {{"answer:" + answer + "=nak", {0xA0}},   {"answer:" + answer + "=bytes 91", {0x91}},
            {"answer:" + answer + "=bytes 00", {0}}, {reading + "90 90", {0x90, 0x90}},
            {reading + "90 a0", {0x90, 0xA0}},       {reading + "a0 90", {0xA0, 0x90}}};
}

// ------ detection ------

void ExpectDetectionFails(const std::vector<std::string>& faults, const std::string& log,
                          const Steps& steps) {
    ExpectFailure(faults, kDetecting + log + Say("error", "MSP not found"), steps);
}

TEST(DetectionFault, TheTristateSwitchCannotBeOpenedAndNothingIsReleased) {
    ExpectDetectionFails(
        {"open:comm#1=enoent"},
        kNoSwitch +
            Target("error", "CFWUMsp::RunSystemTest -> error setting gpio to tristate mode"),
        [](Conversation& c) { c.CannotOpenComm(); });
}

TEST(DetectionFault, TheDirectionsCannotBeSetAndTheLinesAreReleased) {
    ExpectDetectionFails({"fopen:gpio91/direction#1=enoent"}, kNoTck, [](Conversation& c) {
        c.SetsTristate(1).SetsLine("90", '1').Pauses(100000).CannotTurnLine(kTck);
        // The RxD/NMI line is an input still, so its level is refused.
        c.SetsLineInVain(kRxdNmi, '0').Pauses(100000).TurnsLines("in");
    });
    ExpectDetectionFails({"fopen:gpio86/direction#1=eacces"}, kNoRxdNmi, [](Conversation& c) {
        c.SetsTristate(1).SetsLine("90", '1').Pauses(100000).TurnsLine(kTck, "out");
        c.CannotTurnLine(kRxdNmi, "EACCES");
        c.SetsLineInVain(kRxdNmi, '0').Pauses(100000).TurnsLines("in");
    });
}

TEST(DetectionFault, ThePortCannotBeOpenedAndTheLinesAreReleased) {
    ExpectDetectionFails(
        {"open:port#1=eio"},
        kSteps + kNoPort + Target("error", "CFWUMsp::RunSystemTest -> error opening comport"),
        [](Conversation& c) { c.Prepares().EntersLoader().CannotOpenPort("EIO").Releases(); });
}

TEST(DetectionFault, ThePortRefusesItsSettingsAndIsClosedWithoutALineOfItsOwn) {
    ExpectDetectionFails(
        {"tcsetattr:port#1=einval"},
        kSteps + Target("error", "CFWUMsp::RunSystemTest -> error opening comport"),
        [](Conversation& c) { c.Prepares().EntersLoader().RefusesSettings().Releases(); });
}

TEST(DetectionFault, TheSyncIsNotAcknowledgedAndNoLineOfItsOwnSaysSo) {
    for (const auto& [fault, reply] : BadReplies("sync#1", 1)) {
        ExpectDetectionFails({fault}, kSteps + kSync, [&reply = reply](Conversation& c) {
            c.Prepares().EntersLoader().OpensPort().Syncs(reply).ClosesPort().Releases();
        });
    }
}

TEST(DetectionFault, TheSyncCannotBeWrittenOrReadAndNoLineOfItsOwnSaysSo) {
    ExpectDetectionFails({"write:port#1=eio"}, kSteps + kSync, [](Conversation& c) {
        c.Prepares().EntersLoader().OpensPort().Fails(kSyncWrite, "EIO").ClosesPort();
        c.Releases();
    });
    ExpectDetectionFails({"read:port#1=eio"}, kSteps + kSync, [](Conversation& c) {
        c.Prepares().EntersLoader().OpensPort().Writes({0x80}).Fails("read /dev/ttyS1", "EIO");
        c.ClosesPort().Releases();
    });
}

// ------ mass erase ------

void ExpectEraseFails(const std::vector<std::string>& faults, const std::string& log,
                      const Steps& steps) {
    ExpectFailure(faults, DetectionLog() + kErasing + log + Say("error", "MSP not erased"),
                  [&steps](Conversation& c) {
                      c.Detects();
                      steps(c);
                  });
}

TEST(EraseFault, TheTristateSwitchCannotBeOpenedAndTheLinesAreTurnedToInput) {
    ExpectEraseFails(
        {"open:comm#3=enoent"},
        kNoSwitch + Target("error", "CFWUMsp::ClearMSP -> error setting gpio to tristate mode"),
        [](Conversation& c) { c.CannotOpenComm().TurnsLines("in"); });
}

TEST(EraseFault, TheDirectionsCannotBeSetAndTheLinesAreOnlyTurnedToInput) {
    ExpectEraseFails({"fopen:gpio91/direction#3=enoent"}, kNoTck, [](Conversation& c) {
        c.SetsTristate(1).SetsLine("90", '1').Pauses(100000).CannotTurnLine(kTck).TurnsLines("in");
    });
    ExpectEraseFails({"fopen:gpio86/direction#3=enoent"}, kNoRxdNmi, [](Conversation& c) {
        c.SetsTristate(1).SetsLine("90", '1').Pauses(100000).TurnsLine(kTck, "out");
        c.CannotTurnLine(kRxdNmi).TurnsLines("in");
    });
}

TEST(EraseFault, ThePortCannotBeOpenedAndTheLinesAreReleasedTwice) {
    ExpectEraseFails(
        {"open:port#2=eio"},
        kSteps + kNoPort + Target("error", "CFWUMsp::ClearMSP -> error opening comport"),
        [](Conversation& c) {
            c.Prepares().EntersLoader().CannotOpenPort("EIO").Releases().TurnsLines("in");
        });
    ExpectEraseFails({"tcsetattr:port#2=einval"},
                     kSteps + Target("error", "CFWUMsp::ClearMSP -> error opening comport"),
                     [](Conversation& c) {
                         c.Prepares().EntersLoader().RefusesSettings().Releases().TurnsLines("in");
                     });
}

TEST(EraseFault, TheSyncIsNotAcknowledgedAndNoLineOfItsOwnSaysSo) {
    for (const auto& [fault, reply] : BadReplies("sync#2", 2)) {
        ExpectEraseFails({fault}, kSteps + kSync, [&reply = reply](Conversation& c) {
            c.Prepares().EntersLoader().OpensPort().Syncs(reply).ClosesPort().Releases();
            c.TurnsLines("in");
        });
    }
}

TEST(EraseFault, TheEraseIsNotAcknowledged) {
    for (const auto& [fault, reply] : BadReplies("mass-erase", 3)) {
        ExpectEraseFails({fault}, kSteps + kSync + Target("error", "CFWUMsp::ClearMSP() failed"),
                         [&reply = reply](Conversation& c) {
                             c.Prepares().EntersLoader().OpensPort().Syncs();
                             c.Exchanges(loader::MassEraseFrame(), reply).ClosesPort().Releases();
                             c.TurnsLines("in");
                         });
    }
}

TEST(EraseFault, TheEraseIsNotWrittenInWholeAndNoReplyIsRead) {
    ExpectEraseFails({"write:port#3=short 9"},
                     kSteps + kSync + Target("error", "CFWUMsp::ClearMSP() failed"),
                     [](Conversation& c) {
                         c.Prepares().EntersLoader().OpensPort().Syncs();
                         c.WritesInPart(loader::MassEraseFrame(), 9).ClosesPort().Releases();
                         c.TurnsLines("in");
                     });
}

// ------ update ------

void ExpectUpdateFails(const std::vector<std::string>& faults, const std::string& log,
                       const Steps& steps) {
    ExpectFailure(faults,
                  DetectionLog() + EraseLog() + UpdateLog(log) + Say("error", "MSP not programmed"),
                  [&steps](Conversation& c) {
                      c.Detects().MassErases();
                      steps(c);
                  });
}

/// The same up to the open port, which is closed and the lines released at the end.
void ExpectSessionFails(const std::vector<std::string>& faults, const std::string& log,
                        const Steps& steps) {
    ExpectUpdateFails(faults, log, [&steps](Conversation& c) {
        c.Prepares().EntersLoader().OpensPort();
        steps(c);
        c.ClosesPort().Releases();
    });
}

TEST(UpdateFault, TheTristateSwitchCannotBeOpenedAndTheLinesStayAsTheyAre) {
    ExpectUpdateFails(
        {"open:comm#5=enoent"},
        kNoSwitch + Target("error", "CFWUMsp::UpdateMSP -> Error setting gpio tristate"),
        [](Conversation& c) { c.CannotOpenComm(); });
}

TEST(UpdateFault, TheDirectionsCannotBeSetAndTheLinesStayAsTheyAre) {
    ExpectUpdateFails({"fopen:gpio91/direction#6=enoent"}, kNoTck, [](Conversation& c) {
        c.SetsTristate(1).SetsLine("90", '1').Pauses(100000).CannotTurnLine(kTck);
    });
    ExpectUpdateFails({"fopen:gpio86/direction#6=enoent"}, kNoRxdNmi, [](Conversation& c) {
        c.SetsTristate(1).SetsLine("90", '1').Pauses(100000).TurnsLine(kTck, "out");
        c.CannotTurnLine(kRxdNmi);
    });
}

TEST(UpdateFault, ThePortCannotBeOpenedAndTheLinesAreReleased) {
    ExpectUpdateFails(
        {"open:port#3=eio"},
        kNoPort + Target("error", "CFWUMsp::UpdateMSP -> error opening comport"),
        [](Conversation& c) { c.Prepares().EntersLoader().CannotOpenPort("EIO").Releases(); });
    ExpectUpdateFails(
        {"tcsetattr:port#3=einval"}, Target("error", "CFWUMsp::UpdateMSP -> error opening comport"),
        [](Conversation& c) { c.Prepares().EntersLoader().RefusesSettings().Releases(); });
}

TEST(UpdateFault, TheSyncIsNotAcknowledged) {
    for (const auto& [fault, reply] : BadReplies("sync#3", 4)) {
        ExpectSessionFails({fault}, Target("error", "CFWUMsp::UpdateMSP -> error send sync"),
                           [&reply = reply](Conversation& c) { c.Syncs(reply); });
    }
}

TEST(UpdateFault, ThePasswordIsNotAcknowledged) {
    for (const auto& [fault, reply] : BadReplies("password", 5)) {
        ExpectSessionFails({fault}, Target("error", "CFWUMsp::UpdateMSP -> error send password"),
                           [&reply = reply](Conversation& c) {
                               c.Syncs().Exchanges(loader::ErasedPasswordFrame(), reply);
                           });
    }
}

TEST(UpdateFault, ThePasswordIsNotWrittenInWholeAndNoReplyIsRead) {
    ExpectSessionFails(
        {"write:port#5=short 41"}, Target("error", "CFWUMsp::UpdateMSP -> error send password"),
        [](Conversation& c) { c.Syncs().WritesInPart(loader::ErasedPasswordFrame(), 41); });
}

TEST(UpdateFault, AnEraseIsNotAcknowledgedAndEndsTheUpdateWithItsRound) {
    for (const int round : {0, 3, 19}) {
        // Reads of the port before: detection 1, erase 2, sync, password, two a round, the sync.
        const int read = 1 + 2 + 2 + 2 * round + 2;
        for (const auto& [fault, reply] : BadReplies("erase#" + std::to_string(round + 1), read)) {
            ExpectSessionFails(
                {fault},
                Target("error", "bool CFWUMsp::EraseMainFlashSegment() failed in round " +
                                    std::to_string(round)) +
                    Target("error", "CFWUMsp::UpdateMSP -> error Erase Main Flash"),
                [round, &reply = reply](Conversation& c) {
                    c.Unlocks().ErasesMain(round).Syncs();
                    c.Exchanges(loader::EraseMainFrame(), reply);
                });
        }
    }
}

TEST(UpdateFault, AnEraseIsNotWrittenInWholeAndEndsTheUpdateWithItsRound) {
    ExpectSessionFails(
        {"write:port#7=short 0"},
        Target("error", "bool CFWUMsp::EraseMainFlashSegment() failed in round 0") +
            Target("error", "CFWUMsp::UpdateMSP -> error Erase Main Flash"),
        [](Conversation& c) { c.Unlocks().Syncs().WritesInPart(loader::EraseMainFrame(), 0); });
}

TEST(UpdateFault, ASyncOfTheEraseThatFailsCostsOnlyItsRound) {
    Board board;
    const Outcome run = board.WithFault("write:port#10=eio").Runs({"-F", "-f", BlinkyPath()});
    EXPECT_EQ(run.status, 0);
    ExpectSame(run.log,
               kHexVersion + DetectionLog() + EraseLog() +
                   UpdateLog(Target("error",
                                    "bool CFWUMsp::EraseMainFlashSegment() send sync failed in "
                                    "round 2")) +
                   Say("verbose", "Success"));
    Conversation expected;
    expected.Begins().Detects().MassErases().Prepares().EntersLoader().OpensPort().Unlocks();
    expected.ErasesMain(2).Fails(kSyncWrite, "EIO").ErasesMain(17).Sends(BlocksOf(Blinky()));
    expected.ClosesPort().Releases().Ends().Pauses(500000).AsksVersion(4660);
    ExpectSame(run.Conversation(), expected.Text());
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

TEST(UpdateFault, EverySyncOfTheEraseFailsAndTheDownloadIsDoneAllTheSame) {
    Board board;
    const Outcome run = board.WithFault("write:port#6..25=eio").Runs({"-F", "-f", BlinkyPath()});
    EXPECT_EQ(run.status, 0);
    std::string rounds;
    Conversation expected;
    expected.Begins().Detects().MassErases().Prepares().EntersLoader().OpensPort().Unlocks();
    for (int round = 0; round < 20; ++round) {
        rounds +=
            Target("error", "bool CFWUMsp::EraseMainFlashSegment() send sync failed in round " +
                                std::to_string(round));
        expected.Fails(kSyncWrite, "EIO");
    }
    ExpectSame(run.log, kHexVersion + DetectionLog() + EraseLog() + UpdateLog(rounds) +
                            Say("verbose", "Success"));
    expected.Sends(BlocksOf(Blinky()));
    expected.ClosesPort().Releases().Ends().Pauses(500000).AsksVersion(4660);
    ExpectSame(run.Conversation(), expected.Text());
    EXPECT_EQ(board.DifferenceFrom(Blinky()), "");
}

}  // namespace
