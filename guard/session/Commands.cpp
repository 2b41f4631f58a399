// SPDX-License-Identifier: MIT
#include "guard/session/Erasing.h"
#include "guard/session/Looking.h"
#include "guard/session/Memory.h"
#include "guard/session/Operations.h"
#include "guard/session/Starting.h"
#include "image/HexDigits.h"

namespace guard {
namespace {

Password PasswordOf(const Request& request) {
    return request.password.value_or(ErasedPassword());
}

void SayDifference(Verdict& verdict, bool locked) {
    verdict.status = Status::kDiffers;
    verdict.outcome = Outcome::kDifferent;
    verdict.problem = locked ? "the chip's vectors are not the image's"
                             : "the chip differs from the image at 0x" +
                                   image::HexDigits(*verdict.differenceAt, 4);
    verdict.remedy = "install the image";
}

Step ReadArea(Work& work, const MemoryArea& area, std::uint32_t before,
              image::MemoryImage& memory) {
    std::vector<std::uint8_t> bytes(area.SizeBytes());
    const Step step = Memory(work).Read(area.first, bytes, before);
    for (std::size_t i = 0; step == Step::kDone && i < bytes.size(); ++i) {
        memory.Set(static_cast<std::uint16_t>(area.first + i), bytes[i]);
    }
    return step == Step::kDiffers ? Step::kAgain : step;
}

Step ReadAll(Work& work, image::MemoryImage& memory) {
    const Part& chip = work.TheBoard().chip;
    Step step = Step::kAgain;
    for (int i = 0; i <= Work::kReentries && step == Step::kAgain; ++i) {
        step = EnterAndUnlock(work, PasswordOf(work.Asked()));
        if (step == Step::kDone) {
            work.Begin(Phase::kRead, chip.information.SizeBytes() + chip.main.SizeBytes());
            step = ReadArea(work, chip.information, 0, memory);
        }
        if (step == Step::kDone) {
            step = ReadArea(work, chip.main, chip.information.SizeBytes(), memory);
        }
    }
    return step;
}

Step EraseOnce(Work& work) {
    Step step = work.Enter();
    step = step == Step::kDone ? EraseAndUnlock(work) : step;
    return step == Step::kDone ? ProveErased(work) : step;
}

/// The version command, or the boot ROM's words where a password was given or can do no harm.
Step Identify(Work& work) {
    Step step = work.Enter();
    if (step != Step::kDone) {
        return step;
    }
    LoaderIdentity identity;
    const Answer answer = work.TheLoader().AskIdentity(identity);
    if (answer == Answer::kAck) {
        work.TheVerdict().loader = identity;
        return Step::kDone;
    }
    if (answer != Answer::kNak) {
        return Step::kAgain;
    }
    step = work.MaySendPassword();
    step = step == Step::kDone ? work.Unlock(PasswordOf(work.Asked())) : step;
    if (step == Step::kDiffers) {
        work.TheVerdict().problem = "the loader has no version command, and the password is wrong";
    }
    return step;
}

}  // namespace

Verdict Verify(const Request& request, Progress& progress) {
    Work work(request, progress);
    if (!work.Lock()) {
        return work.Finish();
    }
    const Step step = LookForImage(work);
    Verdict& verdict = work.TheVerdict();
    if (step == Step::kDone) {
        verdict.outcome = Outcome::kEqual;
        verdict.chip = ChipState::kImageProved;
    } else if (step == Step::kDiffers) {
        SayDifference(verdict, verdict.readSha256.empty());
    } else {
        Conclude(work, step);
    }
    return work.Finish();
}

Verdict Read(const Request& request, Progress& progress, image::MemoryImage& memory) {
    Work work(request, progress);
    if (!work.Lock()) {
        return work.Finish();
    }
    const Step step = ReadAll(work, memory);
    if (step == Step::kDone) {
        work.TheVerdict().outcome = Outcome::kRead;
    } else {
        work.TheVerdict().problem =
            step == Step::kDiffers ? "the password is not the chip's" : work.TheVerdict().problem;
        Conclude(work, step);
    }
    return work.Finish();
}

Verdict Info(const Request& request, Progress& progress) {
    Work work(request, progress);
    if (!work.Lock()) {
        return work.Finish();
    }
    work.Begin(Phase::kAsk);
    work.TheVerdict().versionBefore = work.AskVersion(Work::kAskLimit);
    Step step = Identify(work);
    for (int i = 0; i < Work::kReentries && step == Step::kAgain; ++i) {
        step = Identify(work);
    }
    if (step == Step::kDone) {
        work.TheVerdict().outcome = Outcome::kTold;
    } else {
        Conclude(work, step);
    }
    return work.Finish();
}

Verdict Erase(const Request& request, Progress& progress) {
    Work work(request, progress);
    if (!work.Lock()) {
        return work.Finish();
    }
    Step step = EraseOnce(work);
    for (int i = 0; i < Work::kReentries && step == Step::kAgain; ++i) {
        ++work.TheVerdict().reentries;
        step = EraseOnce(work);
    }
    if (step == Step::kDone) {
        work.TheVerdict().outcome = Outcome::kErased;
        work.TheVerdict().chip = ChipState::kErased;
    } else {
        Conclude(work, step);
    }
    return work.Finish();
}

Verdict Reset(const Request& request, Progress& progress) {
    Work work(request, progress);
    if (!work.Lock()) {
        return work.Finish();
    }
    // The entry is a reset, and shows that there is a chip.
    const Step entered = work.Enter();
    Step step = entered;
    if (entered == Step::kDone && request.board.communication) {
        step = StartAndAsk(work, std::nullopt);
    }
    if (step == Step::kDone) {
        work.TheVerdict().outcome = Outcome::kReset;
    } else if (step == Step::kDiffers) {
        work.TheVerdict().status = Status::kNoAnswer;
        work.TheVerdict().remedy = "install an image";
    } else {
        Conclude(work, step);
    }
    return work.Finish();
}

Verdict Release(const Request& request, Progress& progress) {
    Work work(request, progress);
    work.TheVerdict().chip = ChipState::kAsItWas;
    work.Begin(Phase::kRelease);
    if (work.TheLines().LetGo()) {
        work.TheVerdict().outcome = Outcome::kReleased;
    } else {
        work.Fail(Status::kDeviceMissing, "not all lines can be given back",
                  "check the board's name (--board) and the rights on /sys/class/gpio");
    }
    return work.Finish();
}

}  // namespace guard
