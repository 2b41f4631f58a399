// SPDX-License-Identifier: MIT
#include "guard/session/Looking.h"
#include "guard/session/Operations.h"
#include "guard/session/Programming.h"
#include "guard/session/Starting.h"

namespace guard {
namespace {

enum class Need : std::uint8_t { kProgram, kNothing, kUnknown };

// A chip that does not answer has no version: it is programmed.
Need FindNeed(Work& work) {
    work.Begin(Phase::kAsk);
    Verdict& verdict = work.TheVerdict();
    verdict.versionBefore = work.AskVersion(Work::kAskLimit);
    if (work.Asked().force || verdict.versionBefore != verdict.imageVersion) {
        return Need::kProgram;
    }
    if (!work.Asked().prove) {
        verdict.outcome = Outcome::kCurrent;
        return Need::kNothing;
    }
    const Step step = LookForImage(work);
    if (step == Step::kDone) {
        verdict.outcome = Outcome::kCurrent;
        verdict.chip = ChipState::kImageProved;
        return Need::kNothing;
    }
    if (step == Step::kDiffers) {
        work.Note("the firmware says the image's version, but the chip does not hold the image");
        return Need::kProgram;
    }
    Conclude(work, step);
    return Need::kUnknown;
}

bool LosesCalibration(const Request& request) {
    return request.board.chip.calibration && !request.keepInformation && !request.loseInformation;
}

void Start(Work& work) {
    Verdict& verdict = work.TheVerdict();
    const Step step = work.TheBoard().communication
                          ? StartAndAsk(work, verdict.imageVersion)
                          : StartAndUnlock(work, VectorsOf(work.Asked().image->memory));
    if (step == Step::kDone) {
        verdict.outcome = Outcome::kInstalled;
        verdict.chip = ChipState::kImageRunning;
    } else if (step == Step::kStopped) {
        Conclude(work, step);
    } else {
        verdict.status = Status::kWrongVersion;
        verdict.remedy = "check that the image is one for this board";
    }
}

}  // namespace

Verdict Install(const Request& request, Progress& progress) {
    Work work(request, progress);
    if (LosesCalibration(request)) {
        work.Fail(Status::kUsage, "an erase loses the calibration values in information memory",
                  "give --keep-information with --password-of, or --lose-information");
        return work.Finish();
    }
    if (!work.Lock() || FindNeed(work) != Need::kProgram) {
        return work.Finish();
    }
    const Step step = Programming(work).Run();
    if (step == Step::kDone) {
        Start(work);
    } else {
        Conclude(work, step);
    }
    return work.Finish();
}

}  // namespace guard
