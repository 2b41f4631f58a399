// SPDX-License-Identifier: MIT
#include "guard/report/TerminalReport.h"

#include <algorithm>

#include "guard/report/FrameText.h"
#include "guard/report/Words.h"

namespace guard {
namespace {

using std::chrono_literals::operator""ms;

constexpr unsigned kBarCells = 20;
/// What the bar costs besides its text.
constexpr unsigned kNarrowest = 70;
constexpr auto kBetweenDrawings = 100ms;
/// To the line's start, and everything behind it away.
constexpr const char* kAnew = "\r\x1b[K";
constexpr const char* kGreen = "\x1b[32m";
constexpr const char* kYellow = "\x1b[33m";
constexpr const char* kPlain = "\x1b[0m";

}  // namespace

void TerminalReport::OnPhase(Phase phase, std::uint32_t total) {
    m_gauge.Begin(phase, total, m_now());
    Draw();
}

void TerminalReport::OnAdvance(std::uint32_t done) {
    m_gauge.Advance(done);
    if (m_now() - m_drawn >= kBetweenDrawings || done == m_gauge.Total()) {
        Draw();
    }
}

void TerminalReport::OnNote(std::string_view text) {
    Above(Coloured(kYellow, std::string(text)));
}

void TerminalReport::OnFrame(bool toChip, std::span<const std::uint8_t> bytes) {
    if (m_verbose) {
        Above(FrameText(toChip, bytes));
    }
}

void TerminalReport::OnLog(std::string_view line) {
    if (m_verbose) {
        Above(std::string(line));
    }
}

void TerminalReport::OnVerdict(const Verdict& verdict) {
    const std::string line = IsWell(verdict) ? ResultLine(verdict) : "";
    m_output.Must(kAnew + (line.empty() ? "" : Coloured(kGreen, line) + "\n"));
}

void TerminalReport::Draw() {
    m_drawn = m_now();
    std::string line = Bar() + m_gauge.Text(m_drawn);
    // A line that reaches the edge would go on in the next one, and stay there.
    line.resize(std::min<std::size_t>(line.size(), m_columns - 1));
    m_output.News(kAnew + line);
}

std::string TerminalReport::Bar() const {
    if (m_gauge.Total() == 0 || m_columns < kNarrowest) {
        return "";
    }
    const unsigned full = m_gauge.Percent() * kBarCells / 100;
    return "[" + std::string(full, '#') + std::string(kBarCells - full, '.') + "] ";
}

void TerminalReport::Above(const std::string& text) {
    m_output.News(kAnew + text + "\n");
    Draw();
}

std::string TerminalReport::Coloured(const char* colour, const std::string& text) const {
    return m_colours ? colour + text + kPlain : text;
}

}  // namespace guard
