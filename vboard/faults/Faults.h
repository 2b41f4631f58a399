// SPDX-License-Identifier: MIT
#pragma once

// The places where a fault may strike, and what it may do there.
//
// A fault is laid over the truth and never mixed into it: the rooms ask here what the program, the
// wire or the cell gets to see, and keep what really happened. This base class is the world without
// faults.

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "vboard/time/VirtualClock.h"

namespace vboard {

class Probe;

/// What the program does to the board, one enumerator for each kind of call that can be made to
/// fail.
enum class CallKind : std::uint8_t {
    kOpen,   ///< open of a device or GPIO file.
    kFopen,  ///< The same through stdio.
    kRead,
    kWrite,
    kFlush,  ///< A write that stdio makes when a buffered stream is flushed.
    kClose,
    kIoctl,
    kSelect,  ///< select and poll.
    kTcsetattr,
    kPause,  ///< usleep and its relatives; can only be a place to kill at.
};

/// A call of the program, before it acts on the board.
struct CallFault {
    enum class Kind : std::uint8_t {
        kNone,
        kErrno,    ///< The call is not carried out and fails with `error`.
        kCount,    ///< Carried out for the first `count` bytes only, and reports them; a select
                   ///< with 0 waits out its limit and reports that nothing came.
        kBytes,    ///< A read that delivers `bytes` in place of what had arrived.
        kSilence,  ///< The call never returns.
        kKill,     ///< The program is killed at the call, before it is carried out.
    };
    Kind kind = Kind::kNone;
    int error = 0;
    std::size_t count = 0;
    std::vector<std::uint8_t> bytes;
};

/// A character on the serial wire, before the receiver gets it.
struct CharacterFault {
    enum class Kind : std::uint8_t {
        kNone,
        kLost,     ///< Nothing arrives.
        kChanged,  ///< Arrives as `value`, with the parity that fits it.
        kParity,   ///< Arrives with its parity bit inverted.
        kDoubled,  ///< Arrives twice, one after the other.
        kLate,     ///< Starts `delay` later.
    };
    Kind kind = Kind::kNone;
    std::uint8_t value = 0;
    Duration delay{0};
};

/// An answer of the loader, before it is sent.
struct AnswerFault {
    enum class Kind : std::uint8_t {
        kNone,
        kReplaced,  ///< `bytes` are sent in its place; none at all is silence.
        kPreceded,  ///< `bytes` are sent first.
        kLate,      ///< It is sent `delay` later.
    };
    Kind kind = Kind::kNone;
    std::vector<std::uint8_t> bytes;
    Duration delay{0};
};

/// What faults can do without having been asked.
class FaultControl {
public:
    virtual ~FaultControl() = default;
    /// The chip's supply goes or comes back.
    virtual void SetPower(bool on) = 0;
    /// Kills the program; may return only in tests.
    virtual void Kill() = 0;
};

/// Asked wherever something may go wrong. This one lets everything go well; FaultPlan overrides it.
class Faults {
public:
    virtual ~Faults() = default;

    /// Told once by the board, when it has been built and before anything happens. All must outlive
    /// the last use of the faults; without it, whatever needs them does nothing.
    virtual void Begin(VirtualClock& /*clock*/, Probe& /*probe*/, FaultControl& /*control*/) {}
    /// The program has ended: what has been ordered for later does not happen any more.
    virtual void End() {}

    /// Asked once for each call of the program that reaches the board. `path` is the device's,
    /// `sizeBytes` what a read or write asked for (0 for other calls).
    virtual CallFault FaultOfCall(CallKind /*kind*/, std::string_view /*path*/,
                                  std::size_t /*sizeBytes*/) {
        return {};
    }
    /// Asked once for each character put on the wire; `toChip` tells the direction.
    virtual CharacterFault FaultOfCharacter(bool /*toChip*/, std::uint8_t /*value*/) { return {}; }
    /// Asked once for each answer of the loader to a command byte (0x80 for the sync).
    virtual AnswerFault FaultOfAnswer(std::uint8_t /*command*/, std::uint16_t /*address*/,
                                      std::span<const std::uint8_t> /*answer*/) {
        return {};
    }
    /// What a flash cell at `address` holding `old` takes on when `wanted` (already the AND of
    /// both) is programmed.
    virtual std::uint8_t CellAfterProgramming(std::uint16_t /*address*/, std::uint8_t /*old*/,
                                              std::uint8_t wanted) {
        return wanted;
    }
    /// What a flash cell holding `old` holds after an erase.
    virtual std::uint8_t CellAfterErase(std::uint16_t /*address*/, std::uint8_t /*old*/) {
        return 0xFF;
    }
    /// Whether an edge on a host line (its signal name: reset_gpio, rxd_nmi_gpio, msp_tck_gpio)
    /// reaches the chip.
    virtual bool EdgeArrives(std::string_view /*line*/, bool /*high*/) { return true; }
};

}  // namespace vboard
