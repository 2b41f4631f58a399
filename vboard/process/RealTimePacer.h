// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "vboard/time/VirtualClock.h"

namespace vboard {

/// Makes virtual time keep step with the machine's clock: the world waits until the real instant
/// that belongs to each virtual one.
class RealTimePacer : public Pacer {
public:
    /// `pace` virtual seconds pass in a real one; above 0. Virtual time `virtualStart` is now.
    RealTimePacer(double pace, std::chrono::nanoseconds virtualStart);
    std::chrono::nanoseconds GoingTo(std::chrono::nanoseconds sinceStart, Signals signals) override;
    [[nodiscard]] std::chrono::nanoseconds Now() const override;

private:
    double m_pace;
    std::chrono::nanoseconds m_virtualStart;
    std::int64_t m_realStartNs;
};

}  // namespace vboard
