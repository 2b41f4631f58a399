// SPDX-License-Identifier: MIT

// The two flows that program nothing: the reset and the version query.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/runs/Board.h"
#include "tests/runs/Compare.h"
#include "tests/runs/Conversation.h"
#include "tests/runs/ToolLog.h"
#include "tests/scenarios/ToolRun.h"

using runs::Board;
using runs::BoardC;
using runs::Conversation;
using runs::Outcome;
using runs::Say;
using runs::Wiring;
using scenarios::ExpectRun;
using scenarios::kResetLog;
using scenarios::kSuccess;

namespace {

// What is not the board's, like /dev/nowhere, is the machine's, and in no transcript.

const std::string kVersionLog = Say("info", "Current MSP version is 256");
const std::string kNotReadLog = Say("warn", "Error reading current version from MSP");

Conversation Reset(const Wiring& wiring = {}) {
    return Conversation(wiring).Begins().Detects().Restarts().Ends();
}

// ---- reset ----

TEST(ResetRun, DetectsTheChipAndRestartsIt) {
    ExpectRun(Board().Runs({"-r"}), kSuccess, kResetLog, Reset());
}

TEST(ResetRun, LeavesTheFlashAsItIsAndTheFirmwareRunning) {
    Board board;
    ASSERT_EQ(board.Runs({"-v"}).status, kSuccess);
    const auto before = board.Memory();
    ASSERT_EQ(board.Runs({"-r"}).status, kSuccess);
    EXPECT_EQ(board.Memory(), before);
    EXPECT_EQ(board.Runs({"-v"}).log, kVersionLog);
}

TEST(ResetRun, OnTheThirdModelTakesItsPortAndItsLines) {
    ExpectRun(Board().OfModel("BRDC").Runs({"-r", "-m", "BRDC"}), kSuccess, kResetLog,
              Reset(BoardC()));
}

TEST(ResetRun, WithStandardDescriptorsClosedSaysNothingOfItsLogToTheChip) {
    for (const char* closed : {">&-", "<&- >&-", "<&- >&- 2>&-"}) {
        const Outcome run = Board().RunsScript(std::string("exec flashmcu -r ") + closed);
        ExpectRun(run, kSuccess, "", Reset());
    }
}

// ---- version ----

TEST(VersionRun, AsksTheFirmwareAndTouchesNoLine) {
    ExpectRun(Board().Runs({"-v"}), kSuccess, kVersionLog, Conversation().AsksVersion(256));
}

TEST(VersionRun, ThatNobodyAnswersWarnsAndReportsVersionZeroWithSuccess) {
    ExpectRun(Board().WithOption("silent=yes").Runs({"-v"}), kSuccess,
              kNotReadLog + Say("info", "Current MSP version is 0"), Conversation().AsksInVain());
}

TEST(VersionRun, ThatIsAnsweredTooLateWarnsAndReportsVersionZeroWithSuccess) {
    ExpectRun(Board().WithOption("application-answer-us=200001").Runs({"-v"}), kSuccess,
              kNotReadLog + Say("info", "Current MSP version is 0"), Conversation().AsksInVain());
}

TEST(VersionRun, DropsOtherMessagesAndWaitsAsLongAsTheyKeepComing) {
    // One message every 100 ms, the answer after 1050 ms.
    Conversation expected;
    expected.Does("open /dev/knxspi O_RDWR = 0").AsksForVersion();
    for (int message = 0; message < 10; ++message) {
        expected.HearsMessage({0xB0});
    }
    expected.HearsMessage({0xB5, 0x01, 0x00}).Pauses(500000).Does("close /dev/knxspi = 0");
    ExpectRun(Board()
                  .WithOption("chatter-period-us=100000")
                  .WithOption("application-answer-us=1050000")
                  .Runs({"-v"}),
              kSuccess, kVersionLog, expected);
}

TEST(VersionRun, HasNoLimitOfItsOwnWhileOtherMessagesKeepComing) {
    const Outcome run = Board()
                            .WithOption("chatter-period-us=199999")
                            .WithOption("application-answer-us=10000000")
                            .With("--time-limit", "9.5")
                            .Runs({"-v"});
    EXPECT_EQ(run.status, 124);
    EXPECT_EQ(run.output, "");
    EXPECT_TRUE(run.error.starts_with("vboard: still running at the time limit, at 9.5"))
        << run.error;
}

TEST(VersionRun, EndsTwoHundredMillisecondsAfterTheLastOtherMessage) {
    ExpectRun(Board()
                  .WithOption("chatter-period-us=200001")
                  .WithOption("application-answer-us=10000000")
                  .Runs({"-v"}),
              kSuccess, kNotReadLog + Say("info", "Current MSP version is 0"),
              Conversation().AsksInVain());
}

// ---- both ----

TEST(ResetAndVersionRun, ResetsFirstAndThenAsksInEitherOrderOfTheOptions) {
    for (const auto& arguments :
         {std::vector<std::string>{"-r", "-v"}, std::vector<std::string>{"-v", "-r"}}) {
        ExpectRun(Board().Runs(arguments), kSuccess, kResetLog + kVersionLog,
                  Reset().AsksVersion(256));
    }
}

}  // namespace
