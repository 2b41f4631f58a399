// SPDX-License-Identifier: MIT
#pragma once

// One line on a terminal that is written anew for what is going on now, and a last one that stays.

#include <string>

#include "guard/report/Gauge.h"
#include "guard/report/Output.h"
#include "guard/report/PlainReport.h"
#include "guard/session/Progress.h"

namespace guard {

class TerminalReport : public Progress {
public:
    /// `columns` is how wide the terminal is. `output` must outlive the report.
    TerminalReport(Output& output, unsigned columns, bool colours, bool verbose, ClockSource now)
        : m_output(output),
          m_columns(columns),
          m_colours(colours),
          m_verbose(verbose),
          m_now(now) {}

    void OnPhase(Phase phase, std::uint32_t total) override;
    void OnAdvance(std::uint32_t done) override;
    void OnNote(std::string_view text) override;
    void OnFrame(bool toChip, std::span<const std::uint8_t> bytes) override;
    void OnLog(std::string_view line) override;
    void OnVerdict(const Verdict& verdict) override;

private:
    void Draw();
    [[nodiscard]] std::string Bar() const;
    /// A line that stays, above the one that is written anew.
    void Above(const std::string& text);
    [[nodiscard]] std::string Coloured(const char* colour, const std::string& text) const;

    Output& m_output;
    unsigned m_columns;
    bool m_colours;
    bool m_verbose;
    ClockSource m_now;
    Gauge m_gauge;
    Duration m_drawn{0};
};

}  // namespace guard
