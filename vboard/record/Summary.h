// SPDX-License-Identifier: MIT
#pragma once

// Where the time of a run went, and what was said on the wire. docs/SUMMARY.md defines the numbers.
//
// Everything comes from what the board announces, nothing from what the program says of itself. An
// operation is a stretch in which the chip neither runs its application nor stands still for want
// of one: from the moment it is put into reset until it starts again. What the loader was asked for
// meanwhile gives the operation its name.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "vboard/probe/Modes.h"
#include "vboard/probe/Probe.h"

namespace vboard {

enum class Operation : std::uint8_t {
    kOutside,  ///< Between operations: the chip runs its application, has none, or has no supply.
    kReset,    ///< The loader was not entered.
    kDetect,   ///< Entered, and no command was sent.
    kErase,    ///< Something was erased, nothing written.
    kProgram,  ///< Blocks were written.
    kOther,    ///< Other commands.
    kCount
};

/// How many there are.
inline constexpr std::size_t kOperationCount = static_cast<std::size_t>(Operation::kCount);

/// As in summaries.
[[nodiscard]] std::string_view NameOf(Operation operation);

/// What one kind of operation took. Numbers of fixed width, so that program and runner may differ
/// in word size.
struct Activity {
    std::uint64_t count;  ///< Operations of this kind; 0 outside.

    // Each moment of the program's time is in exactly one of the next four: in the first that fits.
    std::uint64_t lineNs;     ///< A character is on the serial wire, in either direction.
    std::uint64_t busyNs;     ///< Flash is erased or programmed.
    std::uint64_t pauseNs;    ///< The program pauses, as it asked for.
    std::uint64_t waitingNs;  ///< None of these: the program waits for something.

    /// The least that the same conversation takes: its characters one after another, and the work
    /// of the flash, which a half-duplex loader can't do meanwhile.
    std::uint64_t leastNs;

    std::uint64_t charactersToChip;
    std::uint64_t charactersToHost;
    std::uint64_t syncs;
    std::uint64_t frames;    ///< Whole or damaged, as the loader took them.
    std::uint64_t refusals;  ///< Frames answered with NAK, as it stood on the wire.
    std::uint64_t retries;   ///< Frames after one that was not answered well; syncs after a sync.
    std::uint64_t blocks;    ///< Frames that write a block.
    std::uint64_t blockBytes;
    std::uint64_t acknowledgedBlocks;
    std::uint64_t acknowledgedBytes;
};

/// A number of an activity, under its name in summaries.
struct ActivityField {
    std::string_view name;
    std::uint64_t Activity::*value;
};

/// The table: every number, in the order of the struct.
[[nodiscard]] std::span<const ActivityField> AllActivityFields();

/// Adds each number of `part` to that of `sum`.
void Add(Activity& sum, const Activity& part);

/// In the order of Operation.
using SummaryCounts = std::array<Activity, kOperationCount>;

/// Counts one program's run as it happens.
class Summary : public Probe {
public:
    /// Adds to `counts`. Both must outlive the summary.
    Summary(const VirtualClock& clock, SummaryCounts& counts);

    /// The program has ended: completes the operation under way. Later announcements are left out.
    void Finish();

    void OnSignal(Signal signal, std::uint32_t value) override;
    void OnPause(Duration length) override;
    void OnCharacter(const WireCharacter& character) override;
    void OnLoaderCommand(const LoaderCommand& command) override;

private:
    void Advance();
    [[nodiscard]] Instant NextChange(Instant from, Instant to) const;
    void Account(Instant from, Instant to);
    void SetMode(ChipMode mode);
    void EndOperation();
    [[nodiscard]] Operation Kind() const;
    void TakeAnswer(std::uint8_t value);

    const VirtualClock& m_clock;
    SummaryCounts& m_counts;
    bool m_finished = false;

    Instant m_accounted;  ///< Everything before has been accounted for.
    Instant m_lineUntil;
    Instant m_pauseUntil;
    bool m_busy = false;

    Activity m_now{};  ///< The operation under way, or what is outside.
    bool m_inside = false;
    bool m_entered = false;
    bool m_erased = false;

    bool m_syncBefore = false;       ///< The last command was a sync.
    bool m_failedBefore = false;     ///< The last frame has not been answered well (yet).
    bool m_awaitsAnswer = false;     ///< To the last frame.
    std::uint64_t m_blockBytes = 0;  ///< Of the last frame; 0 for one that writes no block.
};

}  // namespace vboard
