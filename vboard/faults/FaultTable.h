// SPDX-License-Identifier: MIT
#pragma once

// The one table of places where a fault may strike and of what may happen there. The parser, the
// listing, the documentation's test and the noise all walk it. docs/FAULTS.md is its page.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "vboard/faults/Faults.h"

namespace vboard {

/// The kinds of calls stand in the order of CallKind, behind the word for any of them.
enum class FaultPlace : std::uint8_t {
    kCall,
    kOpen,
    kFopen,
    kRead,
    kWrite,
    kFlush,
    kClose,
    kIoctl,
    kSelect,
    kTcsetattr,
    kPause,
    kCharacter,
    kAnswer,
    kCell,
    kEdge,
    kRise,
    kFall,
    kPower,
    kProgram,
    kCount
};

/// What narrows a place down.
enum class TargetKind : std::uint8_t {
    kNone,
    kDevice,     ///< A path, or a short name of a device.
    kDirection,  ///< to-chip, to-host.
    kCommand,    ///< A command of the loader.
    kAddress,    ///< An address or a range of them.
    kLine,       ///< A host line by its signal name.
};

/// What may happen at a place; kCount is none of them.
enum class FaultAction : std::uint8_t {
    kErrno,
    kShort,
    kBytes,
    kTimeout,
    kSilence,
    kKill,
    kPowerOff,
    kPowerOn,
    kOff,
    kOn,
    kLost,
    kChange,
    kParity,
    kDouble,
    kLate,
    kAck,
    kNak,
    kPreceded,
    kStuckErased,
    kStuckProgrammed,
    kCount
};

/// What follows the word of an outcome.
enum class ArgumentKind : std::uint8_t {
    kNone,
    kCount,          ///< A number.
    kByte,           ///< A byte in hexadecimal.
    kBytes,          ///< One or more of them.
    kTime,           ///< A time with its unit.
    kTimeOrNothing,  ///< The same, or nothing.
};

/// The bit of an action in a set of them.
[[nodiscard]] constexpr std::uint32_t BitOf(FaultAction action) {
    return std::uint32_t{1} << static_cast<unsigned>(action);
}

/// A row of the table of places. Texts are static.
struct PlaceInfo {
    FaultPlace place;
    std::string_view word;
    TargetKind target;
    bool takesTimeOnly;     ///< Happens at a time, not at an event: @TIME is needed, #N refused.
    bool everyTime;         ///< Without #N a rule strikes each time; else the first time.
    std::uint32_t actions;  ///< One bit for each FaultAction, numbered by it.
    std::string_view meaning;
    std::string_view example;  ///< A whole rule.

    /// Whether `action` can happen here.
    [[nodiscard]] constexpr bool Takes(FaultAction action) const {
        return (actions & BitOf(action)) != 0;
    }
};

/// A row of the table of what may happen. Texts are static.
struct ActionInfo {
    FaultAction action;
    std::string_view word;  ///< May be two words; ERRNO stands for the name of any errno.
    ArgumentKind argument;
    std::string_view meaning;
    std::string_view example;  ///< A whole rule.
};

/// A command of the loader as rules name it.
struct AnswerName {
    std::string_view word;
    std::uint8_t command;  ///< Frame byte 1; 0x80 for the sync byte.
};

/// The tables, each in the order of its enumeration or of its listing.
[[nodiscard]] std::span<const PlaceInfo> AllFaultPlaces();
[[nodiscard]] std::span<const ActionInfo> AllFaultActions();
[[nodiscard]] std::span<const AnswerName> AllAnswerNames();
/// The host lines whose edges can be lost, by their signal names.
[[nodiscard]] std::span<const std::string_view> AllFaultLines();

/// The row of a place or an action; not for kCount.
[[nodiscard]] const PlaceInfo& InfoOf(FaultPlace place);
[[nodiscard]] const ActionInfo& InfoOf(FaultAction action);
/// The place at which a call of this kind is struck.
[[nodiscard]] FaultPlace PlaceOf(CallKind kind);

/// How an outcome is written, for listings: "short N".
[[nodiscard]] std::string FormOf(const ActionInfo& action);
/// The outcomes of a place in one line: "ERRNO, short N, silence".
[[nodiscard]] std::string FormsOf(const PlaceInfo& place);

}  // namespace vboard
