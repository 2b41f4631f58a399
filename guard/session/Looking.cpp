// SPDX-License-Identifier: MIT
#include "guard/session/Looking.h"

#include "guard/plan/Plan.h"
#include "guard/plan/Sha256.h"
#include "guard/session/Memory.h"

namespace guard {
namespace {

Step EnterOnce(Work& work, const Password& password) {
    Step step = work.Enter();
    step = step == Step::kDone ? work.MaySendPassword() : step;
    if (step != Step::kDone) {
        return step;
    }
    step = work.Unlock(password);
    if (step == Step::kDiffers) {
        // Once more: a password that was lost on the way is no wrong one.
        step = work.Unlock(password);
    }
    return step == Step::kDone ? work.SpeedUp() : step;
}

Step LookAtBlocks(Work& work, const Plan& plan) {
    Verdict& verdict = work.TheVerdict();
    verdict.differenceAt.reset();
    verdict.differingBytes = 0;
    work.Begin(Phase::kRead, plan.BodyBytes() + plan.CommitBytes());
    Memory memory(work);
    Sha256 sum;
    std::uint32_t done = 0;
    for (const auto* blocks : {&plan.body, &plan.commit}) {
        for (const Block& block : *blocks) {
            Difference difference = Difference::kNone;
            if (const Step step = memory.Compare(block, difference); step != Step::kDone) {
                return step;
            }
            sum.Add(memory.Found());
            done += static_cast<std::uint32_t>(block.bytes.size());
            work.Advance(done);
        }
    }
    verdict.readSha256 = sum.Digits();
    return verdict.differingBytes == 0 ? Step::kDone : Step::kDiffers;
}

}  // namespace

Step EnterAndUnlock(Work& work, const Password& password) {
    Step step = EnterOnce(work, password);
    for (int i = 0; i < Work::kReentries && step == Step::kAgain; ++i) {
        ++work.TheVerdict().reentries;
        step = EnterOnce(work, password);
    }
    return step;
}

Step LookForImage(Work& work) {
    const auto& memory = work.Asked().image->memory;
    const Plan plan = MakePlan(memory, work.TheBoard().chip);
    Verdict& verdict = work.TheVerdict();
    verdict.blocks = static_cast<std::uint32_t>(plan.body.size() + plan.commit.size());
    verdict.contentSha256 = Sha256Of(ContentOf(plan));
    Step step = Step::kAgain;
    for (int i = 0; i <= Work::kReentries && step == Step::kAgain; ++i) {
        step = EnterAndUnlock(work, VectorsOf(memory));
        if (step == Step::kDone) {
            step = LookAtBlocks(work, plan);
        } else if (step == Step::kDiffers) {
            verdict.differenceAt = kVectorsAddress;
        }
    }
    return step;
}

}  // namespace guard
