// SPDX-License-Identifier: MIT
#pragma once

// For work that is left when a session has ended and that belongs into its verdict.

#include "guard/session/Progress.h"

namespace guard {

/// Passes on to `progress`, which must outlive it, everything but the verdict: that is the caller's
/// to announce.
class HeldVerdict : public Progress {
public:
    /// `progress` must outlive this.
    explicit HeldVerdict(Progress& progress) : m_progress(progress) {}

    void OnPhase(Phase phase, std::uint32_t total) override { m_progress.OnPhase(phase, total); }
    void OnAdvance(std::uint32_t done) override { m_progress.OnAdvance(done); }
    void OnNote(std::string_view text) override { m_progress.OnNote(text); }
    void OnFrame(bool toChip, std::span<const std::uint8_t> bytes) override {
        m_progress.OnFrame(toChip, bytes);
    }
    void OnLog(std::string_view line) override { m_progress.OnLog(line); }
    void OnVerdict(const Verdict& /*verdict*/) override {}

private:
    Progress& m_progress;
};

}  // namespace guard
