// SPDX-License-Identifier: MIT
#include "guard/session/Starting.h"

#include <string>

namespace guard {
namespace {

using std::chrono_literals::operator""ms;

constexpr int kStarts = 3;
constexpr Milliseconds kStartLimit = 2500ms;

constexpr const char* kTryAgain = "run the same command again";
constexpr const char* kLookAtWires =
    "check the chip's supply and the wiring, then run the same command again";

bool MayBeOld(ChipState state) {
    return state == ChipState::kUntouched || state == ChipState::kAsItWas;
}

void ConcludeFailure(Verdict& verdict, Step step) {
    if (!MayBeOld(verdict.chip)) {
        verdict.status = Status::kFailed;
        verdict.remedy =
            step == Step::kMissing ? "bring the device back, then install again" : "install again";
        return;
    }
    switch (step) {
        case Step::kMissing:
            verdict.status = Status::kDeviceMissing;
            verdict.remedy = "check the board's name (--board) and who else uses the device";
            break;
        case Step::kNoChip:
            verdict.status = Status::kNoAnswer;
            verdict.remedy = kLookAtWires;
            break;
        case Step::kRefused:
            verdict.status = Status::kCouldNotLook;
            verdict.remedy = "give --may-erase to do it all the same";
            break;
        case Step::kDiffers:
            verdict.status = Status::kCouldNotLook;
            verdict.remedy = "give --password-of the image that the chip holds";
            break;
        default:
            verdict.status = Status::kCouldNotLook;
            verdict.problem =
                verdict.problem.empty() ? "the loader does not answer reliably" : verdict.problem;
            verdict.remedy = kTryAgain;
            break;
    }
}

}  // namespace

Step StartAndAsk(Work& work, std::optional<std::uint16_t> expected) {
    work.Begin(Phase::kStart);
    work.ThePort().Close();
    Verdict& verdict = work.TheVerdict();
    for (int start = 0; start < kStarts; ++start) {
        if (work.Stops()) {
            return Step::kStopped;
        }
        (void)work.TheLines().StartFirmware(start > 0);
        const auto version = work.AskVersion(kStartLimit);
        verdict.versionAfter = version ? version : verdict.versionAfter;
        if (version && (!expected || version == expected)) {
            return Step::kDone;
        }
    }
    verdict.problem = !verdict.versionAfter
                          ? std::string("the firmware does not answer")
                          : "the firmware says version " + std::to_string(*verdict.versionAfter) +
                                (expected ? ", the image " + std::to_string(*expected) : "");
    return Step::kDiffers;
}

Step StartAndUnlock(Work& work, const Password& password) {
    Step step = Step::kAgain;
    for (int round = 0; round <= Work::kReentries && step == Step::kAgain; ++round) {
        step = work.Enter();
        step = step == Step::kDone ? work.Unlock(password) : step;
    }
    work.Begin(Phase::kStart);
    work.ThePort().Close();
    (void)work.TheLines().StartFirmware(false);
    if (step != Step::kDone) {
        work.TheVerdict().problem = "the chip does not take the password of the image";
        return step == Step::kStopped ? step : Step::kDiffers;
    }
    return step;
}

void Conclude(Work& work, Step step) {
    Verdict& verdict = work.TheVerdict();
    if (step == Step::kStopped) {
        verdict.status = Status::kInterrupted;
        verdict.problem = "interrupted by signal " + std::to_string(verdict.signal);
        verdict.remedy = kTryAgain;
    } else if (step != Step::kDone) {
        ConcludeFailure(verdict, step);
    }
}

}  // namespace guard
