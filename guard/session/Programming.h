// SPDX-License-Identifier: MIT
#pragma once

// The middle of an install: from the entry into the loader to an image that was read back whole.
//
//     enter, erase, prove that all is erased, write everything but the vectors, read it back, then
//     the vectors, and the word at 0xFFFE last of all
//
// So at every instant the chip either holds an image that was proved whole, or no reset vector. All
// of it happens in one unlocked session: no password is ever sent to a chip that holds something
// else. What cannot be done within a session is done in a new one, from the beginning.

#include "guard/plan/Plan.h"
#include "guard/plan/Sha256.h"
#include "guard/session/Memory.h"
#include "guard/session/Work.h"

namespace guard {

class Programming {
public:
    /// `work`'s request has an image. The work must outlive this.
    explicit Programming(Work& work);

    /// Up to Work::kReentries new sessions. kDone: the verdict says kImageProved. Everything else:
    /// the verdict's `problem` says what was the matter at last.
    [[nodiscard]] Step Run();

private:
    [[nodiscard]] Step Session();
    [[nodiscard]] Step KeepInformation();
    [[nodiscard]] Step WriteBody();
    [[nodiscard]] Step Prove();
    [[nodiscard]] Step Commit();
    void TakeBack();
    [[nodiscard]] Step WriteBlock(const Block& block);
    [[nodiscard]] Step ProveBlock(const Block& block);
    [[nodiscard]] Step Fail(std::string problem);
    void SetPlan(const image::MemoryImage& memory);

    Work& m_work;
    Memory m_memory;
    Plan m_plan;
    Sha256 m_readBack;
    bool m_kept = false;
    bool m_committing = false;  ///< The word at 0xFFFE was sent and not yet read back.
};

}  // namespace guard
