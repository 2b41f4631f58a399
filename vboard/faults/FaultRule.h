// SPDX-License-Identifier: MIT
#pragma once

// One ordered fault: where, when, and what happens.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "vboard/faults/FaultTable.h"

namespace vboard {

/// What a strike does. Which of the numbers count depends on the action.
struct FaultOutcome {
    FaultAction action = FaultAction::kLost;
    int error = 0;                    ///< ERRNO.
    std::size_t count = 0;            ///< short.
    std::vector<std::uint8_t> bytes;  ///< bytes, preceded; one for change.
    Duration time{0};                 ///< late; until power comes back, 0 = never.
};

/// Which of the events that fit are struck: from the first to the last, counted from 1.
struct Occurrences {
    std::uint64_t first = 1;
    std::uint64_t last = 1;
    /// True for an event of this number.
    [[nodiscard]] constexpr bool Contains(std::uint64_t number) const {
        return number >= first && number <= last;
    }
};

/// One rule of a plan: the events that it is for, which of them it strikes, and how.
struct FaultRule {
    std::string text;  ///< As it was ordered.
    FaultPlace place = FaultPlace::kCall;
    /// The target's words: a device, a direction, a line. Empty: any.
    std::string target;
    std::optional<std::uint8_t> command;  ///< The target of an answer; none: any.
    std::uint16_t firstAddress = 0;       ///< The target of a cell, both ends included.
    std::uint16_t lastAddress = 0xFFFF;
    Instant from = Instant::min();  ///< Events before it are not counted.
    Occurrences occurrences;
    FaultOutcome outcome;
};

/// The outcome as a rule has it.
[[nodiscard]] std::string OutcomeText(const FaultOutcome& outcome);

}  // namespace vboard
