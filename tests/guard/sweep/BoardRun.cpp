// SPDX-License-Identifier: MIT
#include "tests/guard/sweep/BoardRun.h"

#include <span>
#include <string_view>

namespace guard_sweep {
namespace {

/// Says nothing to anybody.
class Silent : public guard::Progress {
public:
    void OnPhase(guard::Phase, std::uint32_t) override {}
    void OnAdvance(std::uint32_t) override {}
    void OnNote(std::string_view) override {}
    void OnFrame(bool, std::span<const std::uint8_t>) override {}
    void OnLog(std::string_view) override {}
    void OnVerdict(const guard::Verdict&) override {}
};

}  // namespace

void BoardRun::Renew() {
    m_run.Renew();
    m_shared->status = guard::Status::kDone;
    m_shared->chip = guard::ChipState::kUntouched;
    m_shared->problem = {};
}

const Shared& BoardRun::Run(const Operation& operation, const Faults& faults) {
    m_shared->problem = {};
    m_run.Run(
        [this, &operation] {
            Silent nobody;
            const guard::Verdict verdict = operation(nobody);
            m_shared->status = verdict.status;
            m_shared->chip = verdict.chip;
            verdict.problem.copy(m_shared->problem.data(), m_shared->problem.size() - 1);
            return 0;
        },
        faults);
    return *m_shared;
}

Counts BoardRun::Count(const Operation& operation) {
    return m_run.RunHere([&operation] {
        Silent nobody;
        static_cast<void>(operation(nobody));
        return 0;
    });
}

}  // namespace guard_sweep
