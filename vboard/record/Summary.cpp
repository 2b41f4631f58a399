// SPDX-License-Identifier: MIT
#include "vboard/record/Summary.h"

#include <algorithm>
#include <utility>

#include "vboard/probe/LoaderCodes.h"

namespace vboard {
namespace {

constexpr std::array<std::string_view, kOperationCount> kOperationNames{
    "outside", "reset", "detect", "erase", "program", "other"};

std::uint64_t Nanoseconds(Duration length) {
    return static_cast<std::uint64_t>(length.count());
}

constexpr std::array<ActivityField, 16> kFields{{
    {"count", &Activity::count},
    {"line_ns", &Activity::lineNs},
    {"chip_busy_ns", &Activity::busyNs},
    {"pause_ns", &Activity::pauseNs},
    {"waiting_ns", &Activity::waitingNs},
    {"least_ns", &Activity::leastNs},
    {"characters_to_chip", &Activity::charactersToChip},
    {"characters_to_host", &Activity::charactersToHost},
    {"syncs", &Activity::syncs},
    {"frames", &Activity::frames},
    {"refusals", &Activity::refusals},
    {"retries", &Activity::retries},
    {"blocks", &Activity::blocks},
    {"block_bytes", &Activity::blockBytes},
    {"acknowledged_blocks", &Activity::acknowledgedBlocks},
    {"acknowledged_bytes", &Activity::acknowledgedBytes},
}};
static_assert(sizeof(Activity) == kFields.size() * sizeof(std::uint64_t));

}  // namespace

std::string_view NameOf(Operation operation) {
    return kOperationNames.at(static_cast<std::size_t>(operation));
}

std::span<const ActivityField> AllActivityFields() {
    return kFields;
}

void Add(Activity& sum, const Activity& part) {
    for (const ActivityField& field : kFields) {
        sum.*field.value += part.*field.value;
    }
}

Summary::Summary(const VirtualClock& clock, SummaryCounts& counts)
    : m_clock(clock),
      m_counts(counts),
      m_accounted(clock.Now()),
      m_lineUntil(clock.Now()),
      m_pauseUntil(clock.Now()) {}

void Summary::Finish() {
    if (!m_finished) {
        Advance();
        EndOperation();
        m_finished = true;
    }
}

void Summary::OnSignal(Signal signal, std::uint32_t value) {
    if (m_finished) {
        return;
    }
    Advance();
    if (signal == Signal::kChipBusy) {
        m_busy = value != 0;
    } else if (signal == Signal::kChipMode) {
        SetMode(static_cast<ChipMode>(value));
    }
}

void Summary::OnPause(Duration length) {
    Advance();
    m_pauseUntil = m_clock.Now() + length;
}

void Summary::OnCharacter(const WireCharacter& character) {
    if (m_finished) {
        return;
    }
    Advance();
    m_lineUntil = std::max(m_lineUntil, character.End());
    m_now.leastNs += Nanoseconds(character.End() - character.start);
    if (character.direction == Direction::kHostToChip) {
        ++m_now.charactersToChip;
    } else {
        ++m_now.charactersToHost;
        TakeAnswer(character.value);
    }
}

void Summary::OnLoaderCommand(const LoaderCommand& command) {
    if (m_finished) {
        return;
    }
    if (command.command == kSyncByte) {
        ++m_now.syncs;
        m_now.retries += std::exchange(m_syncBefore, true) ? 1 : 0;
        m_awaitsAnswer = false;
        return;
    }
    ++m_now.frames;
    m_now.retries += std::exchange(m_failedBefore, true) ? 1 : 0;
    m_syncBefore = false;
    m_awaitsAnswer = true;
    m_erased |= command.command == kEraseFlash || command.command == kMassErase;
    m_blockBytes = command.command == kReceiveBlock ? command.lengthBytes : 0;
    m_now.blocks += command.command == kReceiveBlock ? 1 : 0;
    m_now.blockBytes += m_blockBytes;
}

void Summary::TakeAnswer(std::uint8_t value) {
    if (!std::exchange(m_awaitsAnswer, false)) {
        return;
    }
    m_failedBefore = value != kAckByte && value != kFrameHeader;
    m_now.refusals += value == kNakByte ? 1 : 0;
    if (value == kAckByte && m_blockBytes > 0) {
        ++m_now.acknowledgedBlocks;
        m_now.acknowledgedBytes += m_blockBytes;
    }
}

void Summary::Advance() {
    while (m_accounted < m_clock.Now()) {
        const Instant until = NextChange(m_accounted, m_clock.Now());
        Account(m_accounted, until);
        m_accounted = until;
    }
}

Instant Summary::NextChange(Instant from, Instant to) const {
    for (const Instant end : {m_lineUntil, m_pauseUntil}) {
        to = end > from ? std::min(to, end) : to;
    }
    return to;
}

void Summary::Account(Instant from, Instant to) {
    const std::uint64_t length = Nanoseconds(to - from);
    m_now.leastNs += m_busy ? length : 0;
    if (from < m_lineUntil) {
        m_now.lineNs += length;
    } else if (m_busy) {
        m_now.busyNs += length;
    } else if (from < m_pauseUntil) {
        m_now.pauseNs += length;
    } else {
        m_now.waitingNs += length;
    }
}

void Summary::SetMode(ChipMode mode) {
    const bool inside = IsWithinOperation(mode);
    if (inside != m_inside) {
        EndOperation();
        m_inside = inside;
    }
    m_entered |= mode == ChipMode::kLoader;
}

void Summary::EndOperation() {
    m_now.count = m_inside ? 1 : 0;
    Add(m_counts.at(static_cast<std::size_t>(Kind())), m_now);
    m_now = {};
    m_entered = false;
    m_erased = false;
    m_syncBefore = false;
    m_failedBefore = false;
    m_awaitsAnswer = false;
}

Operation Summary::Kind() const {
    if (!m_inside) {
        return Operation::kOutside;
    }
    if (m_now.blocks > 0) {
        return Operation::kProgram;
    }
    if (m_erased) {
        return Operation::kErase;
    }
    if (m_now.frames > 0) {
        return Operation::kOther;
    }
    return m_entered ? Operation::kDetect : Operation::kReset;
}

}  // namespace vboard
