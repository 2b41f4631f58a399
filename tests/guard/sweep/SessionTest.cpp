// SPDX-License-Identifier: MIT

// Runs in the test's own process, for what no command line and no fault can bring about: a signal
// at a chosen moment, boards that are made up, and how long a silence is borne.

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "guard/link/StopRequest.h"
#include "guard/plan/Plan.h"
#include "guard/session/Operations.h"
#include "tests/guard/sweep/Session.h"

namespace guard_sweep {
namespace {

using guard::ChipState;
using guard::Phase;
using guard::Status;

/// Sends the process a signal when a phase begins, or when so much of it is done.
class Interrupter : public guard::Progress {
public:
    Interrupter(Phase phase, std::uint32_t after) : m_phase(phase), m_after(after) {}
    void OnPhase(Phase phase, std::uint32_t /*total*/) override {
        m_now = phase;
        if (m_after == 0) {
            Strike();
        }
    }
    void OnAdvance(std::uint32_t done) override {
        if (m_after > 0 && done >= m_after) {
            Strike();
        }
    }
    void OnNote(std::string_view /*text*/) override {}
    void OnFrame(bool /*toChip*/, std::span<const std::uint8_t> /*bytes*/) override {}
    void OnLog(std::string_view /*line*/) override {}
    void OnVerdict(const guard::Verdict& /*verdict*/) override {}

private:
    void Strike() {
        if (m_now == m_phase) {
            // A second one, of another kind, makes no difference.
            static_cast<void>(raise(SIGTERM));
            static_cast<void>(raise(SIGHUP));
        }
    }
    Phase m_phase;
    std::uint32_t m_after;
    Phase m_now = Phase::kCount;
};

/// Sends it while the reset vector is on its way.
class AtTheResetVector : public Interrupter {
public:
    AtTheResetVector() : Interrupter(Phase::kCount, 0) {}
    void OnFrame(bool /*toChip*/, std::span<const std::uint8_t> bytes) override {
        constexpr std::uint8_t kWrite = 0x12;
        if (bytes.size() > 5 && bytes[1] == kWrite && bytes[4] == 0xFE && bytes[5] == 0xFF) {
            static_cast<void>(raise(SIGTERM));
        }
    }
};

struct Interruption {
    Phase phase;
    std::uint32_t after;
    ChipState chip;
};

/// The case as test lists show it.
void PrintTo(const Interruption& one, std::ostream* out) {
    *out << NameOf(one.phase) << " after " << one.after;
}

class Interrupted : public Session, public testing::WithParamInterface<Interruption> {};

TEST_P(Interrupted, LetsGoOfEverythingSaysWhatTheChipHoldsAndTheNextRunDoesItsWork) {
    BoardRun run({});
    const Shared& shared = run.Run(
        [this](guard::Progress&) {
            guard::HoldSignals();
            Interrupter interrupter(GetParam().phase, GetParam().after);
            return guard::Install(request, interrupter);
        },
        {});
    ASSERT_EQ(shared.end, End::kItself);
    EXPECT_EQ(shared.status, Status::kInterrupted);
    EXPECT_EQ(shared.chip, GetParam().chip) << NameOf(shared.chip);
    EXPECT_EQ(run.LeftBehind(), "");
    run.Run(Installs(), {});
    EXPECT_EQ(shared.status, Status::kDone);
    EXPECT_EQ(DifferenceIn(shared), "");
}

INSTANTIATE_TEST_SUITE_P(InEveryPhase, Interrupted,
                         testing::Values(Interruption{Phase::kAsk, 0, ChipState::kAsItWas},
                                         Interruption{Phase::kEnter, 0, ChipState::kAsItWas},
                                         Interruption{Phase::kErase, 5, ChipState::kUnknown},
                                         Interruption{Phase::kProveErased, 0,
                                                      ChipState::kNoFirmware},
                                         Interruption{Phase::kWrite, 250, ChipState::kNoFirmware},
                                         Interruption{Phase::kProve, 250, ChipState::kNoFirmware},
                                         Interruption{Phase::kCommit, 0, ChipState::kNoFirmware},
                                         Interruption{Phase::kCommit, 4, ChipState::kImageProved},
                                         Interruption{Phase::kStart, 0, ChipState::kImageProved}));

TEST_F(Session, ThatIsInterruptedOverTheResetVectorProvesItFirst) {
    BoardRun run({});
    const Shared& shared = run.Run(
        [this](guard::Progress&) {
            guard::HoldSignals();
            AtTheResetVector interrupter;
            return guard::Install(request, interrupter);
        },
        {});
    EXPECT_EQ(shared.status, Status::kInterrupted);
    EXPECT_EQ(shared.chip, ChipState::kImageProved);
}

TEST_F(Session, ThatIsInterruptedWhereItReadsWhatHasToBeErasedBeginsNoOther) {
    BoardRun run({"chip=msp430-56k-v202"});
    const Shared& shared = run.Run(
        [this](guard::Progress&) {
            guard::HoldSignals();
            Interrupter interrupter(Phase::kProveErased, 500);
            guard::Verdict verdict = guard::Install(request, interrupter);
            verdict.problem += ", new sessions " + std::to_string(verdict.reentries);
            return verdict;
        },
        {});
    EXPECT_EQ(shared.status, Status::kInterrupted);
    EXPECT_STREQ(shared.problem.data(), "interrupted by signal 15, new sessions 0");
}

TEST_F(Session, WithoutACommunicationDeviceProvesTheStartByThePassword) {
    request.board.communication.reset();
    BoardRun run({});
    const Shared& shared = run.Run(Installs(), {});
    EXPECT_EQ(shared.status, Status::kDone) << shared.problem.data();
    EXPECT_EQ(shared.chip, ChipState::kImageRunning);
    EXPECT_EQ(DifferenceIn(shared), "");
    EXPECT_EQ(run.LeftBehind(), "");
    EXPECT_EQ(shared.state.chip.mode, vboard::ChipMode::kApplication);
}

// The last answer to a request for data tells whether the password was taken.
TEST_F(Session, WithoutACommunicationDeviceDoesNotTakeARefusedPasswordForAStart) {
    request.board.communication.reset();
    BoardRun run({});
    const Shared& shared = run.Run(Installs(), {{"answer:read#8..=nak"}});
    EXPECT_EQ(shared.status, Status::kWrongVersion);
    EXPECT_EQ(shared.chip, ChipState::kImageProved) << NameOf(shared.chip);
    EXPECT_STREQ(shared.problem.data(), "the chip does not take the password of the image");
}

// Sixteen bytes of 0, framed wrongly in one place each: the length, once and again, and the check
// bytes, one and the other. All but the last two have the sum that fits them.
TEST_F(Session, AsksAgainForDataWhoseFrameIsWrongInOnePlace) {
    const std::string zeros = " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 ";
    for (const std::string& frame :
         {"80 00 0f 10" + zeros + "70 ef", "80 00 10 0f" + zeros + "6f f0",
          "80 00 10 10" + zeros + "6e ef", "80 00 10 10" + zeros + "6f ee",
          "81 00 10 10" + zeros + "6e ef"}) {
        BoardRun run({});
        const Shared& shared = run.Run(InstallsAndCounts(), {{"answer:read#1=bytes " + frame}});
        EXPECT_EQ(shared.status, Status::kDone);
        EXPECT_STREQ(shared.problem.data(), "retries 1, new sessions 0, bytes written 772")
            << frame;
    }
}

// Characters 276 to 535 to the chip are the first block's frame.
TEST_F(Session, GetsALoaderThatWaitsForTheRestOfAFrameBackIntoStep) {
    BoardRun run({});
    const Shared& shared = run.Run(InstallsAndCounts(), {{"char:to-chip#300..329=lost"}});
    EXPECT_EQ(shared.status, Status::kDone);
    EXPECT_STREQ(shared.problem.data(), "retries 1, new sessions 0, bytes written 772");
    EXPECT_EQ(DifferenceIn(shared), "");
}

// Two changes that leave the check bytes as they are: bits are programmed that only an erase brings
// back, so that to write the block again is in vain.
TEST_F(Session, ErasesAnewWhenABlockHasBitsThatNoWriteBringsBack) {
    BoardRun run({});
    const Shared& shared = run.Run(InstallsAndCounts(),
                                   {{"char:to-chip#286=change 02", "char:to-chip#288=change 02"}});
    EXPECT_EQ(shared.status, Status::kDone);
    EXPECT_STREQ(shared.problem.data(), "retries 0, new sessions 1, bytes written 1540");
    EXPECT_EQ(DifferenceIn(shared), "");
}

// This part's loader acknowledges without a look. Three writes of the block in each session.
TEST_F(Session, GivesUpACellThatNoWriteReaches) {
    BoardRun run({"chip=msp430-56k-v110"});
    const Shared& shared = run.Run(InstallsAndCounts(), {{"cell:0x2180=stuck-erased"}});
    EXPECT_EQ(shared.status, Status::kFailed);
    EXPECT_EQ(shared.chip, ChipState::kNoFirmware);
    EXPECT_STREQ(shared.problem.data(), "retries 0, new sessions 2, bytes written 3804");
}

class AVersionCutShort : public Session, public testing::WithParamInterface<const char*> {};

TEST_P(AVersionCutShort, IsNoVersionAndIsAskedForAgain) {
    BoardRun run({});
    const Operation tells = [this](guard::Progress& progress) {
        guard::Verdict verdict = guard::Info(request, progress);
        verdict.problem = std::to_string(verdict.versionBefore.value_or(0xFFFF));
        return verdict;
    };
    const Shared& shared = run.Run(tells, {{"read:comm#2=short 1", GetParam()}});
    EXPECT_EQ(shared.status, Status::kDone);
    EXPECT_STREQ(shared.problem.data(), "256");
}

// Of two bytes, and then what stands in the device for a length.
TEST_F(Session, TakesNoMessageForAVersionThatHasNoRoomForOne) {
    BoardRun run({});
    const Shared& shared = run.Run(
        [this](guard::Progress& progress) {
            guard::Verdict verdict = guard::Info(request, progress);
            verdict.problem = std::to_string(verdict.versionBefore.value_or(0xFFFF));
            return verdict;
        },
        {{"read:comm#1=bytes 02", "read:comm#2=bytes b5 12"}});
    EXPECT_STREQ(shared.problem.data(), "256");
}

INSTANTIATE_TEST_SUITE_P(ByTimeOrError, AVersionCutShort,
                         testing::Values("select:comm#3=timeout", "read:comm#3=eio"));

// A number that the kernel takes a part of, and a line that is not given back at once.
TEST_F(Session, LeavesNothingExportedAfterATroubleWithTheFilesOfTheLines) {
    for (const char* rule :
         {"flush:export#1=short 1", "flush:export#2=short 1", "flush:export#3=short 1",
          "flush:unexport#1=eio", "flush:unexport#2=eio", "flush:unexport#3=eio"}) {
        for (const Operation& operation : {Installs(), Operation([this](guard::Progress& progress) {
                                               return guard::Release(request, progress);
                                           })}) {
            BoardRun run({});
            EXPECT_EQ(run.Run(operation, {{rule}}).status, Status::kDone) << rule;
            EXPECT_EQ(run.LeftBehind(), "") << rule;
        }
    }
}

TEST_F(Session, KeepsWhatInformationMemoryHolds) {
    BoardRun run({});
    // Installs an image that has something for information memory, then one that has not.
    for (std::uint16_t i = 0; i < 100; ++i) {
        request.image->memory.Set(static_cast<std::uint16_t>(0x1041 + i), 0x77);
    }
    ASSERT_EQ(run.Run(Installs(), {}).status, Status::kDone);
    const auto before = run.Result().memory;
    request.password = guard::VectorsOf(request.image->memory);
    request.image->memory = Firmware(kVersion + 1, 0x24);
    request.image->version = kVersion + 1;
    request.keepInformation = true;
    const Shared& shared = run.Run(Installs(), {});
    EXPECT_EQ(shared.status, Status::kDone) << shared.problem.data();
    EXPECT_TRUE(std::equal(before.begin() + 0x1000, before.begin() + 0x1100,
                           shared.memory.begin() + 0x1000));
    EXPECT_EQ(shared.memory.at(0x1041), 0x77);
    EXPECT_EQ(DifferenceIn(shared), "");
}

TEST_F(Session, WithTheWrongPasswordForWhatIsToBeKeptErasesNothing) {
    BoardRun run({});
    request.keepInformation = true;
    request.password = guard::ErasedPassword();
    const auto before = run.Result().memory;
    const Shared& shared = run.Run(Installs(), {});
    EXPECT_EQ(shared.status, Status::kCouldNotLook);
    EXPECT_EQ(shared.chip, ChipState::kAsItWas);
    EXPECT_TRUE(std::equal(before.begin() + 0x2100, before.end(), shared.memory.begin() + 0x2100));
}

TEST_F(Session, LosesNoCalibrationWithoutBeingTold) {
    request.board.chip.calibration = true;
    BoardRun run({});
    EXPECT_EQ(run.Run(Installs(), {}).status, Status::kUsage);
    EXPECT_EQ(run.Result().chip, ChipState::kUntouched);
    request.loseInformation = true;
    EXPECT_EQ(run.Run(Installs(), {}).status, Status::kDone);
}

TEST_F(Session, ReadsAllThatTheChipHolds) {
    BoardRun run({});
    ASSERT_EQ(run.Run(Installs(), {}).status, Status::kDone);
    request.password = guard::VectorsOf(request.image->memory);
    // In this process, so that what was read can be looked at.
    image::MemoryImage memory;
    static_cast<void>(run.Count(
        [&](guard::Progress& progress) { return guard::Read(request, progress, memory); }));
    for (std::uint32_t at = 0x2100; at < 0x10000; ++at) {
        ASSERT_EQ(memory.At(static_cast<std::uint16_t>(at)),
                  request.image->memory.At(static_cast<std::uint16_t>(at)))
            << at;
    }
    EXPECT_EQ(memory.CoveredBytes(), 0x100U + 0xDF00U);
}

TEST_F(Session, NotesADifferenceAndWhereItIs) {
    BoardRun run({});
    ASSERT_EQ(run.Run(Installs(), {}).status, Status::kDone);
    request.image->memory.Set(0x21FA, 0x43);  // The first byte of a block.
    request.image->memory.Set(0x2233, 0x43);
    request.image->memory.Set(0x2244, 0x44);
    guard::Verdict verdict;
    static_cast<void>(run.Count([&](guard::Progress& progress) {
        verdict = guard::Verify(request, progress);
        return verdict;
    }));
    EXPECT_EQ(verdict.status, Status::kDiffers);
    EXPECT_EQ(verdict.differenceAt, 0x21FA);
    EXPECT_EQ(verdict.differingBytes, 3U);
    EXPECT_EQ(verdict.contentSha256.size(), 64U);
    EXPECT_NE(verdict.contentSha256, verdict.readSha256);
}

TEST_F(Session, CountsAndTimesWhatItDid) {
    BoardRun run({});
    guard::Verdict verdict;
    static_cast<void>(run.Count([&](guard::Progress& progress) {
        verdict = guard::Install(request, progress);
        return verdict;
    }));
    EXPECT_EQ(verdict.status, Status::kDone);
    EXPECT_EQ(verdict.versionBefore, 256);
    EXPECT_EQ(verdict.versionAfter, kVersion);
    EXPECT_EQ(verdict.imageVersion, kVersion);
    EXPECT_EQ(verdict.contentSha256, verdict.readSha256);
    EXPECT_EQ(verdict.imageBytes, 0x300U + 4U);
    EXPECT_EQ(verdict.blocks, 4U + 2U);
    EXPECT_EQ(verdict.bytesWritten, 0x300U + 4U);
    EXPECT_EQ(verdict.bytesRead, 0x300U + 4U);
    EXPECT_EQ(verdict.massErases, 19U);
    EXPECT_EQ(verdict.entries, 1U);
    EXPECT_EQ(verdict.retries, 0U);
    EXPECT_EQ(verdict.lineErrors, 0U);
    EXPECT_EQ(verdict.refusals, 0U);
    EXPECT_EQ(verdict.bitsPerSecond, 9600U);
    ASSERT_TRUE(verdict.loader);
    EXPECT_EQ(verdict.loader->chipId, 0xF249);
    EXPECT_EQ(verdict.loader->loaderVersion, 0x0161);
    std::int64_t sum = 0;
    for (const std::int64_t phaseNs : verdict.phaseNs) {
        sum += phaseNs;
    }
    EXPECT_NEAR(static_cast<double>(sum), static_cast<double>(verdict.totalNs), 1e6);
    EXPECT_GT(verdict.phaseNs.at(static_cast<std::size_t>(Phase::kWrite)), 900'000'000);
}

TEST_F(Session, CountsTheTimeOfAQuestionForItsOwnPhase) {
    BoardRun run({});
    guard::Verdict verdict;
    static_cast<void>(run.Count([&](guard::Progress& progress) {
        verdict = guard::Info(request, progress);
        return verdict;
    }));
    // The answer takes a millisecond.
    EXPECT_LT(verdict.phaseNs.at(static_cast<std::size_t>(Phase::kLock)), 1'000'000);
    EXPECT_GE(verdict.phaseNs.at(static_cast<std::size_t>(Phase::kAsk)), 1'000'000);
}

// Of the time from the first block to the last word read back, so much is characters on the wire or
// flash at work.
TEST_F(Session, SpendsItsTimeOnTheWire) {
    BoardRun run({});
    for (std::uint32_t at = 0x2400; at < 0xC000; ++at) {
        request.image->memory.Set(static_cast<std::uint16_t>(at),
                                  static_cast<std::uint8_t>(at * 7U));
    }
    guard::Verdict verdict;
    static_cast<void>(run.Count([&](guard::Progress& progress) {
        verdict = guard::Install(request, progress);
        return verdict;
    }));
    ASSERT_EQ(verdict.status, Status::kDone);
    double blocks = verdict.blocks;
    double bytes = verdict.bytesWritten;
    // Sync and its answer, frame, answer: 13 characters and the data to write; to read, 18 and the
    // data. Two erase checks of the gap and the vectors are left out.
    const double characters = blocks * (13 + 18) + 2 * bytes;
    const double flash = bytes / 2 * 35 / 400'000;
    const double spent =
        static_cast<double>(verdict.phaseNs.at(static_cast<std::size_t>(Phase::kWrite)) +
                            verdict.phaseNs.at(static_cast<std::size_t>(Phase::kProve)) +
                            verdict.phaseNs.at(static_cast<std::size_t>(Phase::kCommit))) /
        1e9;
    EXPECT_GT(characters * 11 / 9600 + flash, 0.97 * spent);
}

}  // namespace
}  // namespace guard_sweep
