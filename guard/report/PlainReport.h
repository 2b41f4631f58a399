// SPDX-License-Identifier: MIT
#pragma once

// Lines for a journal, a file or a pipe: one a second at most, but for the last.

#include <string>

#include "guard/report/Gauge.h"
#include "guard/report/Output.h"
#include "guard/session/Progress.h"

namespace guard {

/// Where the time comes from.
using ClockSource = Duration (*)();

class PlainReport : public Progress {
public:
    /// With `verbose`, every frame and every line of the lower layers is written, and none is held
    /// back. `output` must outlive the report.
    PlainReport(Output& output, bool verbose, ClockSource now)
        : m_output(output), m_verbose(verbose), m_now(now) {}

    void OnPhase(Phase phase, std::uint32_t total) override;
    void OnAdvance(std::uint32_t done) override;
    void OnNote(std::string_view text) override;
    void OnFrame(bool toChip, std::span<const std::uint8_t> bytes) override;
    void OnLog(std::string_view line) override;
    void OnVerdict(const Verdict& verdict) override;

private:
    void Offer();
    void Line(const std::string& text);

    Output& m_output;
    bool m_verbose;
    ClockSource m_now;
    Gauge m_gauge;
    std::string m_note;        ///< The last that waits for its second.
    unsigned m_moreNotes = 0;  ///< Others that waited before it.
    bool m_written = false;
    Duration m_lastLine{0};
};

}  // namespace guard
