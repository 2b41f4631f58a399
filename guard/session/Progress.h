// SPDX-License-Identifier: MIT
#pragma once

// What a session announces while it works. Reports implement it; a session knows nothing of them.
// Calls come from one thread, between two exchanges with the chip, and must not wait for anybody:
// an output that nobody reads must not hold up the chip. They must neither throw nor change what
// happens to the chip.

#include <cstdint>
#include <span>
#include <string_view>

#include "guard/session/Phase.h"
#include "guard/session/Verdict.h"

namespace guard {

class Progress {
public:
    virtual ~Progress() = default;

    /// A phase begins; the one before it has ended. `total` counts bytes, 0 where the phase has no
    /// measure. The same phase can come again, after a failure.
    virtual void OnPhase(Phase phase, std::uint32_t total) = 0;
    /// So much of the phase's total is done; never less than before within one phase.
    virtual void OnAdvance(std::uint32_t done) = 0;
    /// Something worth a line: a retry, a new session, a speed that was refused. One sentence
    /// without a full stop.
    virtual void OnNote(std::string_view text) = 0;
    /// Every frame that was sent, and every answer taken for one (also damaged ones), for -v.
    virtual void OnFrame(bool toChip, std::span<const std::uint8_t> bytes) = 0;
    /// A line of the lower layers ("flashmcu/FWU_MSP:320 error ..."), for -v.
    virtual void OnLog(std::string_view line) = 0;
    /// The run is over; the last call, also after SIGTERM.
    virtual void OnVerdict(const Verdict& verdict) = 0;
};

}  // namespace guard
