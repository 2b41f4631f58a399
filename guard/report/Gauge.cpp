// SPDX-License-Identifier: MIT
#include "guard/report/Gauge.h"

#include <algorithm>

#include "guard/report/Words.h"

namespace guard {

using std::chrono_literals::operator""s;

void Gauge::Begin(Phase phase, std::uint32_t total, Duration now) {
    m_phase = phase;
    m_done = 0;
    m_total = total;
    m_began = now;
}

void Gauge::Advance(std::uint32_t done) {
    m_done = std::min(done, m_total);
}

unsigned Gauge::Percent() const {
    return m_total == 0 ? 0 : static_cast<unsigned>(std::uint64_t{m_done} * 100 / m_total);
}

std::optional<Duration> Gauge::Left(Duration now) const {
    // The first bytes of a phase say little about the rest.
    if (now - m_began < 1s || Percent() == 0 || m_done == m_total) {
        return std::nullopt;
    }
    return (now - m_began) * static_cast<std::int64_t>(m_total - m_done) /
           static_cast<std::int64_t>(m_done);
}

std::string Gauge::Text(Duration now) const {
    std::string text(WordsFor(m_phase));
    if (m_total == 0) {
        return text;
    }
    text += " " + std::to_string(Percent()) + " %, " + std::to_string(m_done) + " of " +
            std::to_string(m_total) + " bytes";
    if (const auto left = Left(now)) {
        // A tenth of a second is more than such an estimate knows.
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(*left).count();
        text += ", " + std::to_string(seconds) + " s left";
    }
    return text;
}

}  // namespace guard
