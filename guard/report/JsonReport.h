// SPDX-License-Identifier: MIT
#pragma once

// JSON Lines for programs; docs/GUARD-JSON.md describes and promises them.

#include "guard/report/Gauge.h"
#include "guard/report/Output.h"
#include "guard/report/PlainReport.h"
#include "guard/session/Progress.h"

namespace guard {

/// Of docs/GUARD-JSON.md. Goes up when a line changes in a way that is not promised there.
inline constexpr int kJsonVersion = 1;

class JsonReport : public Progress {
public:
    /// With `verbose`, frames and lines of the lower layers are written, too. `output` must outlive
    /// the report.
    JsonReport(Output& output, bool verbose, ClockSource now)
        : m_output(output), m_verbose(verbose), m_now(now) {}

    void OnPhase(Phase phase, std::uint32_t total) override;
    void OnAdvance(std::uint32_t done) override;
    void OnNote(std::string_view text) override;
    void OnFrame(bool toChip, std::span<const std::uint8_t> bytes) override;
    void OnLog(std::string_view line) override;
    void OnVerdict(const Verdict& verdict) override;

private:
    void Progressed();

    Output& m_output;
    bool m_verbose;
    ClockSource m_now;
    Gauge m_gauge;
    Duration m_lastProgress{0};
};

/// The verdict's line, without a line feed.
[[nodiscard]] std::string JsonOf(const Verdict& verdict);

}  // namespace guard
