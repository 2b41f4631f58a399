// SPDX-License-Identifier: MIT
#include "guard/SimpleReport.h"

#include <cstdio>
#include <nlohmann/json.hpp>

namespace guard {

void SimpleReport::OnPhase(Phase phase, std::uint32_t total) {
    if (!m_line.quiet && !m_line.json) {
        (void)std::printf("%s %u\n", std::string(NameOf(phase)).c_str(), total);
    }
}

void SimpleReport::OnNote(std::string_view text) {
    if (!m_line.quiet && !m_line.json) {
        (void)std::printf("%s\n", std::string(text).c_str());
    }
}

void SimpleReport::OnFrame(bool toChip, std::span<const std::uint8_t> bytes) {
    if (m_line.verbose) {
        (void)std::printf("%s", toChip ? ">" : "<");
        for (const std::uint8_t byte : bytes) {
            (void)std::printf(" %02x", byte);
        }
        (void)std::printf("\n");
    }
}

void SimpleReport::OnLog(std::string_view line) {
    if (m_line.verbose) {
        (void)std::printf("%s\n", std::string(line).c_str());
    }
}

void SimpleReport::OnVerdict(const Verdict& verdict) {
    if (!verdict.problem.empty()) {
        (void)std::fprintf(stderr, "flashguard: %s (%s); %s\n", verdict.problem.c_str(),
                           std::string(NameOf(verdict.chip)).c_str(), verdict.remedy.c_str());
    }
    if (m_line.json) {
        nlohmann::ordered_json object;
        object["type"] = "verdict";
        object["command"] = verdict.command;
        object["status"] = static_cast<int>(verdict.status);
        object["outcome"] = NameOf(verdict.outcome);
        object["chip"] = NameOf(verdict.chip);
        (void)std::printf("%s\n", object.dump().c_str());
    } else if (!m_line.quiet) {
        (void)std::printf("%s, chip %s, %u entries, %u retries, %.1f s\n",
                          std::string(NameOf(verdict.outcome)).c_str(),
                          std::string(NameOf(verdict.chip)).c_str(), verdict.entries,
                          verdict.retries, static_cast<double>(verdict.totalNs) / 1e9);
    }
}

}  // namespace guard
