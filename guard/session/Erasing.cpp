// SPDX-License-Identifier: MIT
#include "guard/session/Erasing.h"

#include "guard/session/Memory.h"
#include "image/HexDigits.h"

namespace guard {
namespace {

// SLAU320 table 2-10: the shortest pulse, 5,300 periods at 476 kHz. Old parts need it as often as
// makes 200 ms; their cells read as erased after the first pulse already and only lack margin.
constexpr unsigned kShortestPulseMs = 11;
constexpr unsigned kOldPartsMs = 200;
constexpr std::uint16_t kFirstOfNewParts = 0x0140;

constexpr unsigned PulsesFor(unsigned ms) {
    return (ms + kShortestPulseMs - 1) / kShortestPulseMs;
}

Step Pulse(Work& work, unsigned first, unsigned end) {
    for (unsigned i = first; i < end; ++i) {
        if (work.Stops()) {
            return Step::kStopped;
        }
        work.TheVerdict().chip = ChipState::kUnknown;
        if (work.TheLoader().MassErase() != Answer::kAck) {
            work.TheVerdict().problem = "the loader does not acknowledge the erase";
            return Step::kAgain;
        }
        ++work.TheVerdict().massErases;
        work.Advance(i + 1);
    }
    return Step::kDone;
}

}  // namespace

Step EraseAndUnlock(Work& work) {
    const unsigned pulses = PulsesFor(work.TheBoard().chip.eraseMs);
    work.Begin(Phase::kErase);
    if (const Step step = Pulse(work, 0, pulses); step != Step::kDone) {
        return step;
    }
    if (const Step step = work.Unlock(ErasedPassword()); step != Step::kDone) {
        work.TheVerdict().problem = "the chip does not take the password of an erased one";
        return Step::kAgain;
    }
    work.TheVerdict().chip = ChipState::kNoFirmware;
    const auto& loader = work.TheVerdict().loader;
    constexpr unsigned kOldPulses = PulsesFor(kOldPartsMs);
    if (loader && loader->loaderVersion < kFirstOfNewParts && pulses < kOldPulses) {
        return Pulse(work, pulses, kOldPulses);
    }
    return Step::kDone;
}

Step ProveErased(Work& work) {
    const MemoryArea& main = work.TheBoard().chip.main;
    work.Begin(Phase::kProveErased, main.SizeBytes());
    const Step step = Memory(work).IsErased(main.first, main.SizeBytes(), 0);
    if (step == Step::kDone) {
        work.Advance(main.SizeBytes());
        return step;
    }
    Verdict& verdict = work.TheVerdict();
    verdict.problem =
        step == Step::kDiffers && verdict.differenceAt
            ? "the chip does not become erased at 0x" + image::HexDigits(*verdict.differenceAt, 4)
            : "the erased chip cannot be looked at";
    return step == Step::kDiffers ? Step::kAgain : step;
}

}  // namespace guard
