// SPDX-License-Identifier: MIT
#pragma once

// Plain lines and the verdict as JSON.

#include "guard/CommandLine.h"
#include "guard/session/Progress.h"

namespace guard {

class SimpleReport : public Progress {
public:
    explicit SimpleReport(const CommandLine& line) : m_line(line) {}
    void OnPhase(Phase phase, std::uint32_t total) override;
    void OnAdvance(std::uint32_t /*done*/) override {}
    void OnNote(std::string_view text) override;
    void OnFrame(bool toChip, std::span<const std::uint8_t> bytes) override;
    void OnLog(std::string_view line) override;
    void OnVerdict(const Verdict& verdict) override;

private:
    const CommandLine& m_line;
};

}  // namespace guard
