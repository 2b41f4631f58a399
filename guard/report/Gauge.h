// SPDX-License-Identifier: MIT
#pragma once

// How far the current phase is, and how long the rest of it takes.

#include <cstdint>
#include <optional>
#include <string>

#include "guard/link/Clock.h"
#include "guard/session/Phase.h"

namespace guard {

/// Knows one phase at a time. It is told the time, and looks at no clock.
class Gauge {
public:
    /// A phase of `total` bytes begins; 0 for one without a measure.
    void Begin(Phase phase, std::uint32_t total, Duration now);
    /// So many bytes of it are done, counted from its beginning.
    void Advance(std::uint32_t done);

    /// As it was told.
    [[nodiscard]] Phase Current() const { return m_phase; }
    [[nodiscard]] std::uint32_t Done() const { return m_done; }
    [[nodiscard]] std::uint32_t Total() const { return m_total; }
    /// 0 to 100; 0 for a phase without a measure.
    [[nodiscard]] unsigned Percent() const;
    /// At the pace so far; nothing in the first second or before a hundredth is done, and at the
    /// end.
    [[nodiscard]] std::optional<Duration> Left(Duration now) const;

    /// "Writing", or "Writing  42 %, 15120 of 36000 bytes, 38 s left" once there is a measure.
    [[nodiscard]] std::string Text(Duration now) const;

private:
    Phase m_phase = Phase::kLock;
    std::uint32_t m_done = 0;
    std::uint32_t m_total = 0;
    Duration m_began{0};
};

}  // namespace guard
