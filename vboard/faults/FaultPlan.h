// SPDX-License-Identifier: MIT
#pragma once

// The ordered faults of a run: counts what happens, decides what strikes, and announces each strike
// on the probe as a note of the room "fault".
//
// Every rule counts the events that fit it, also those that another rule strikes; the first rule in
// the order of the plan that strikes an event decides what happens to it. Noise strikes only where
// no rule does, and is announced as the rule that would order the same. Counts begin with the
// program: each program of a run has a plan of its own.
//
// In the model: calls of the program, characters and answers on the serial wire, flash cells, edges
// of the host lines, the chip's supply. Not in the model: the second link's messages (a read, write
// or select of the communication device can be struck instead) and memory of the host.

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "vboard/faults/FaultRule.h"
#include "vboard/faults/Faults.h"
#include "vboard/faults/NoiseSource.h"

namespace vboard {

/// The paths that rules may call by a short name.
struct FaultNames {
    std::string port;
    std::string comm;
};

/// The faults of one run: those ordered by rules, random ones beside them where there is noise.
class FaultPlan : public Faults {
public:
    /// One line for each call that can be made to fail, without a line end:
    /// "NUMBER KIND PATH SIZE", with "-" for no path. The number is the one of `call#NUMBER`.
    using CallLine = std::function<void(std::string_view)>;

    /// `names` are the devices of this board. Rules strike in the order in which they are given.
    FaultPlan(std::vector<FaultRule> rules, const FaultNames& names);

    /// Lets random faults strike as well, where no rule does.
    void SetNoise(const NoiseSource& noise) { m_noise = noise; }
    /// Lists each call that can be made to fail. Before the first of them.
    void SetCallLine(CallLine callLine) { m_callLine = std::move(callLine); }

    /// Strikes so far.
    [[nodiscard]] std::uint64_t Strikes() const { return m_strikes; }

    void Begin(VirtualClock& clock, Probe& probe, FaultControl& control) override;
    void End() override;
    CallFault FaultOfCall(CallKind kind, std::string_view path, std::size_t sizeBytes) override;
    CharacterFault FaultOfCharacter(bool toChip, std::uint8_t value) override;
    AnswerFault FaultOfAnswer(std::uint8_t command, std::uint16_t address,
                              std::span<const std::uint8_t> answer) override;
    std::uint8_t CellAfterProgramming(std::uint16_t address, std::uint8_t old,
                                      std::uint8_t wanted) override;
    std::uint8_t CellAfterErase(std::uint16_t address, std::uint8_t old) override;
    bool EdgeArrives(std::string_view line, bool high) override;

private:
    /// Events that are counted together when noise is written down.
    enum class Stream : std::uint8_t {
        kCalls,
        kToChip,
        kToHost,
        kAnswers,
        kProgramming,
        kErasing,
        kEdges,
        kCount
    };
    struct Counted {
        FaultRule rule;
        std::uint64_t seen = 0;
    };
    using Rules = std::vector<Counted>;

    /// An event that may be struck.
    struct Event {
        Stream stream;
        FaultPlace place;
        std::uint32_t actions;  ///< What can happen to it.
        std::size_t sizeBytes = 0;
    };

    Rules& RulesOf(FaultPlace place);
    /// What happens to the event, if anything; `fits` says whether a rule is about it.
    template <class Fits>
    const FaultOutcome* Strike(const Event& event, const Fits& fits);
    const FaultOutcome* StrikeByNoise(const Event& event);
    [[nodiscard]] bool CellStruck(Stream stream, FaultAction action, std::uint16_t address);
    void Note(std::string_view text);
    void Schedule(const FaultRule& rule);
    void SwitchPower(bool on, Duration back);
    void SwitchPowerSoon(const FaultOutcome& outcome);
    void SchedulePower(Instant when, bool on);
    [[nodiscard]] Instant Now() const;

    Rules m_calls;
    Rules m_characters;
    Rules m_answers;
    Rules m_cells;
    Rules m_edges;
    Rules m_timed;
    std::optional<NoiseSource> m_noise;
    FaultOutcome m_noiseOutcome;
    std::array<std::uint64_t, static_cast<std::size_t>(Stream::kCount)> m_seen{};
    CallLine m_callLine;
    std::uint64_t m_strikes = 0;
    std::vector<VirtualClock::Ticket> m_tickets;

    VirtualClock* m_clock = nullptr;
    Probe* m_probe = nullptr;
    FaultControl* m_control = nullptr;
};

}  // namespace vboard
