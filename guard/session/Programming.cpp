// SPDX-License-Identifier: MIT
#include "guard/session/Programming.h"

#include <utility>

#include "guard/session/Erasing.h"
#include "image/HexDigits.h"

namespace guard {
namespace {

constexpr int kWrites = 3;

std::string Place(const Block& block) {
    return "the block at 0x" + image::HexDigits(block.address, 4);
}

}  // namespace

Programming::Programming(Work& work) : m_work(work), m_memory(work) {
    SetPlan(work.Asked().image->memory);
}

void Programming::SetPlan(const image::MemoryImage& memory) {
    m_plan = MakePlan(memory, m_work.TheBoard().chip);
    Verdict& verdict = m_work.TheVerdict();
    verdict.blocks = static_cast<std::uint32_t>(m_plan.body.size() + m_plan.commit.size());
    verdict.contentSha256 = Sha256Of(ContentOf(m_plan));
}

Step Programming::Fail(std::string problem) {
    m_work.TheVerdict().problem = std::move(problem);
    return Step::kAgain;
}

Step Programming::Run() {
    Step step = Session();
    for (int i = 0; i < Work::kReentries && step == Step::kAgain; ++i) {
        m_work.Note(m_work.TheVerdict().problem + ": beginning anew");
        ++m_work.TheVerdict().reentries;
        step = Session();
    }
    if (step == Step::kAgain && m_committing) {
        TakeBack();
    }
    return step;
}

// A reset vector that is not what it should be still starts something: rather nothing.
void Programming::TakeBack() {
    const std::string problem = m_work.TheVerdict().problem;
    if (m_work.Enter() == Step::kDone && EraseAndUnlock(m_work) == Step::kDone) {
        m_committing = false;
    }
    m_work.TheVerdict().problem = problem;
}

Step Programming::Session() {
    Verdict& verdict = m_work.TheVerdict();
    verdict.differenceAt.reset();
    verdict.differingBytes = 0;
    m_readBack = Sha256();
    using Pass = Step (Programming::*)();
    Step step = m_work.Enter();
    if (step == Step::kDone && m_work.Asked().keepInformation && !m_kept) {
        step = KeepInformation();
    }
    step = step == Step::kDone ? EraseAndUnlock(m_work) : step;
    m_committing = m_committing && step != Step::kDone;
    step = step == Step::kDone ? m_work.SpeedUp() : step;
    step = step == Step::kDone ? guard::ProveErased(m_work) : step;
    for (const Pass pass : {&Programming::WriteBody, &Programming::Prove, &Programming::Commit}) {
        step = step == Step::kDone ? (this->*pass)() : step;
    }
    if (step == Step::kDone) {
        verdict.readSha256 = m_readBack.Digits();
        verdict.chip = ChipState::kImageProved;
    }
    return step;
}

// What the image itself has for information memory goes before what was there.
Step Programming::KeepInformation() {
    if (const Step may = m_work.MaySendPassword(); may != Step::kDone) {
        return may;
    }
    switch (m_work.Unlock(*m_work.Asked().password)) {
        case Step::kDone:
            break;
        case Step::kDiffers:
            m_work.TheVerdict().problem = "the chip does not hold the image of --password-of";
            return Step::kDiffers;
        default:
            return Fail("the loader does not answer the password");
    }
    const MemoryArea& area = m_work.TheBoard().chip.information;
    std::vector<std::uint8_t> kept(area.SizeBytes());
    m_work.Begin(Phase::kRead, area.SizeBytes());
    if (const Step step = m_memory.Read(area.first, kept, 0); step != Step::kDone) {
        m_work.TheVerdict().problem = "information memory cannot be read";
        return step == Step::kDiffers ? Step::kAgain : step;
    }
    image::MemoryImage memory = m_work.Asked().image->memory;
    for (std::size_t i = 0; i < kept.size(); ++i) {
        const auto address = static_cast<std::uint16_t>(area.first + i);
        if (!memory.Covers(address)) {
            memory.Set(address, kept[i]);
        }
    }
    SetPlan(memory);
    m_kept = true;
    return Step::kDone;
}

Step Programming::WriteBlock(const Block& block) {
    if (m_work.Stops()) {
        return Step::kStopped;
    }
    if (m_work.TheLoader().Write(block.address, block.bytes) != Answer::kAck) {
        return Fail(Place(block) + " is not acknowledged");
    }
    m_work.TheVerdict().bytesWritten += static_cast<std::uint32_t>(block.bytes.size());
    return Step::kDone;
}

Step Programming::WriteBody() {
    m_work.TheVerdict().bitsPerSecond = m_work.ThePort().Baud();
    m_work.Begin(Phase::kWrite, m_plan.BodyBytes());
    std::uint32_t done = 0;
    for (const Block& block : m_plan.body) {
        if (const Step step = WriteBlock(block); step != Step::kDone) {
            return step;
        }
        done += static_cast<std::uint32_t>(block.bytes.size());
        m_work.Advance(done);
    }
    return Step::kDone;
}

Step Programming::ProveBlock(const Block& block) {
    for (int writes = 1; writes <= kWrites; ++writes) {
        Difference difference = Difference::kNone;
        if (const Step step = m_memory.Compare(block, difference); step != Step::kDone) {
            return step == Step::kStopped ? step : Fail(Place(block) + " cannot be read back");
        }
        if (difference == Difference::kNone) {
            m_readBack.Add(m_memory.Found());
            return Step::kDone;
        }
        if (difference == Difference::kErasable || writes == kWrites) {
            break;
        }
        m_work.Note(Place(block) + " was not written: writing it again");
        if (const Step step = WriteBlock(block); step != Step::kDone) {
            return step;
        }
    }
    return Fail(Place(block) + " reads back as something else");
}

Step Programming::Prove() {
    m_work.Begin(Phase::kProve, m_plan.BodyBytes() + m_plan.GapBytes());
    std::uint32_t done = 0;
    for (const Block& block : m_plan.body) {
        if (const Step step = ProveBlock(block); step != Step::kDone) {
            return step;
        }
        done += static_cast<std::uint32_t>(block.bytes.size());
        m_work.Advance(done);
    }
    for (const Gap& gap : m_plan.gaps) {
        const Step step = m_memory.IsErased(gap.address, gap.sizeBytes, done);
        if (step != Step::kDone) {
            return step == Step::kStopped
                       ? step
                       : Fail("the gap at 0x" + image::HexDigits(gap.address, 4) +
                              " is not shown to be erased");
        }
        done += gap.sizeBytes;
        m_work.Advance(done);
    }
    return Step::kDone;
}

Step Programming::Commit() {
    m_work.Begin(Phase::kCommit, m_plan.CommitBytes());
    std::uint32_t done = 0;
    for (const Block& block : m_plan.commit) {
        const bool last = block.address == kResetVectorAddress;
        if (m_work.Stops()) {
            return Step::kStopped;
        }
        if (last) {
            m_work.TheVerdict().chip = ChipState::kUnknown;
            m_committing = true;
        }
        m_work.HoldStops(last);
        Step step = WriteBlock(block);
        step = step == Step::kDone ? ProveBlock(block) : step;
        m_work.HoldStops(false);
        if (step != Step::kDone) {
            return step;
        }
        done += static_cast<std::uint32_t>(block.bytes.size());
        m_work.Advance(done);
    }
    m_committing = false;
    return Step::kDone;
}

}  // namespace guard
