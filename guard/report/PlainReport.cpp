// SPDX-License-Identifier: MIT
#include "guard/report/PlainReport.h"

#include "guard/report/FrameText.h"
#include "guard/report/Words.h"

namespace guard {

using std::chrono_literals::operator""s;

void PlainReport::OnPhase(Phase phase, std::uint32_t total) {
    m_gauge.Begin(phase, total, m_now());
    Offer();
}

void PlainReport::OnAdvance(std::uint32_t done) {
    m_gauge.Advance(done);
    Offer();
}

void PlainReport::OnNote(std::string_view text) {
    if (m_verbose) {
        Line(std::string(text));
        return;
    }
    m_moreNotes += m_note.empty() ? 0 : 1;
    m_note = text;
    Offer();
}

void PlainReport::OnFrame(bool toChip, std::span<const std::uint8_t> bytes) {
    if (m_verbose) {
        Line(FrameText(toChip, bytes));
    }
}

void PlainReport::OnLog(std::string_view line) {
    if (m_verbose) {
        Line(std::string(line));
    }
}

void PlainReport::OnVerdict(const Verdict& verdict) {
    const std::string line = IsWell(verdict) ? ResultLine(verdict) : "";
    if (!line.empty()) {
        m_output.Must(line + "\n");
    }
}

void PlainReport::Offer() {
    const Duration now = m_now();
    if (m_written && now - m_lastLine < 1s) {
        return;
    }
    if (m_note.empty()) {
        Line(m_gauge.Text(now));
        return;
    }
    Line(m_note +
         (m_moreNotes > 0 ? " (and " + std::to_string(m_moreNotes) + " notes before)" : ""));
    m_note.clear();
    m_moreNotes = 0;
}

void PlainReport::Line(const std::string& text) {
    m_output.News(text + "\n");
    m_written = true;
    m_lastLine = m_now();
}

}  // namespace guard
