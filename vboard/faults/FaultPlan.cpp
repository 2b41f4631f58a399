// SPDX-License-Identifier: MIT
#include "vboard/faults/FaultPlan.h"

#include <utility>

#include "vboard/probe/LoaderCodes.h"
#include "vboard/probe/Probe.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

constexpr std::string_view kGpioFolder = "/sys/class/gpio/";

std::string PathOf(std::string_view target, const FaultNames& names) {
    if (target == "port") {
        return names.port;
    }
    if (target == "comm") {
        return names.comm;
    }
    const bool whole = target.empty() || target.front() == '/';
    return whole ? std::string(target) : Formatted("{}{}", kGpioFolder, target);
}

/// A pattern that ends in '*' fits every path that begins like it; an empty one fits all.
bool FitsPath(std::string_view pattern, std::string_view path) {
    if (!pattern.empty() && pattern.back() == '*') {
        return path.starts_with(pattern.substr(0, pattern.size() - 1));
    }
    return pattern.empty() || pattern == path;
}

CallFault CallFaultOf(const FaultOutcome& outcome) {
    CallFault fault;
    switch (outcome.action) {
        case FaultAction::kErrno:
            fault.kind = CallFault::Kind::kErrno;
            fault.error = outcome.error;
            break;
        case FaultAction::kShort:
        case FaultAction::kTimeout:
            fault.kind = CallFault::Kind::kCount;
            fault.count = outcome.count;
            break;
        case FaultAction::kBytes:
            fault.kind = CallFault::Kind::kBytes;
            fault.bytes = outcome.bytes;
            break;
        case FaultAction::kSilence:
            fault.kind = CallFault::Kind::kSilence;
            break;
        case FaultAction::kKill:
            fault.kind = CallFault::Kind::kKill;
            break;
        default:
            break;
    }
    return fault;
}

CharacterFault CharacterFaultOf(const FaultOutcome& outcome) {
    switch (outcome.action) {
        case FaultAction::kLost:
            return {CharacterFault::Kind::kLost, 0, Duration{0}};
        case FaultAction::kChange:
            return {CharacterFault::Kind::kChanged, outcome.bytes.front(), Duration{0}};
        case FaultAction::kParity:
            return {CharacterFault::Kind::kParity, 0, Duration{0}};
        case FaultAction::kDouble:
            return {CharacterFault::Kind::kDoubled, 0, Duration{0}};
        case FaultAction::kLate:
            return {CharacterFault::Kind::kLate, 0, outcome.time};
        default:
            return {};
    }
}

AnswerFault AnswerFaultOf(const FaultOutcome& outcome) {
    switch (outcome.action) {
        case FaultAction::kAck:
            return {AnswerFault::Kind::kReplaced, {kAckByte}, Duration{0}};
        case FaultAction::kNak:
            return {AnswerFault::Kind::kReplaced, {kNakByte}, Duration{0}};
        case FaultAction::kBytes:
            return {AnswerFault::Kind::kReplaced, outcome.bytes, Duration{0}};
        case FaultAction::kPreceded:
            return {AnswerFault::Kind::kPreceded, outcome.bytes, Duration{0}};
        case FaultAction::kSilence:
        case FaultAction::kPowerOff:
            return {AnswerFault::Kind::kReplaced, {}, Duration{0}};
        case FaultAction::kLate:
            return {AnswerFault::Kind::kLate, {}, outcome.time};
        default:
            return {};
    }
}

}  // namespace

FaultPlan::FaultPlan(std::vector<FaultRule> rules, const FaultNames& names) {
    for (FaultRule& rule : rules) {
        if (InfoOf(rule.place).target == TargetKind::kDevice) {
            rule.target = PathOf(rule.target, names);
        }
        Rules& rulesThere = RulesOf(rule.place);
        rulesThere.push_back({std::move(rule), 0});
    }
}

FaultPlan::Rules& FaultPlan::RulesOf(FaultPlace place) {
    switch (place) {
        case FaultPlace::kCharacter:
            return m_characters;
        case FaultPlace::kAnswer:
            return m_answers;
        case FaultPlace::kCell:
            return m_cells;
        case FaultPlace::kEdge:
        case FaultPlace::kRise:
        case FaultPlace::kFall:
            return m_edges;
        case FaultPlace::kPower:
        case FaultPlace::kProgram:
            return m_timed;
        default:
            return m_calls;
    }
}

void FaultPlan::Begin(VirtualClock& clock, Probe& probe, FaultControl& control) {
    m_clock = &clock;
    m_probe = &probe;
    m_control = &control;
    for (const Counted& counted : m_timed) {
        // An instant that an earlier program of the run has seen is over.
        if (counted.rule.from >= clock.Now()) {
            Schedule(counted.rule);
        }
    }
}

void FaultPlan::End() {
    for (const VirtualClock::Ticket ticket : m_tickets) {
        m_clock->Cancel(ticket);
    }
    m_tickets.clear();
}

void FaultPlan::Schedule(const FaultRule& rule) {
    m_tickets.push_back(m_clock->At(rule.from, [this, &rule] {
        Note(rule.text);
        if (rule.outcome.action == FaultAction::kKill) {
            m_control->Kill();
        } else {
            SwitchPower(rule.outcome.action == FaultAction::kOn, rule.outcome.time);
        }
    }));
}

void FaultPlan::SwitchPower(bool on, Duration back) {
    if (m_control == nullptr) {
        return;
    }
    m_control->SetPower(on);
    if (back > Duration::zero()) {
        SchedulePower(m_clock->Now() + back, !on);
    }
}

void FaultPlan::SchedulePower(Instant when, bool on) {
    m_tickets.push_back(m_clock->At(when, [this, on] { m_control->SetPower(on); }));
}

// What is asked in the middle of a room's own work may not turn that room off under its feet.
void FaultPlan::SwitchPowerSoon(const FaultOutcome& outcome) {
    const bool off = outcome.action == FaultAction::kPowerOff;
    if (m_control == nullptr || (!off && outcome.action != FaultAction::kPowerOn)) {
        return;
    }
    SchedulePower(m_clock->Now(), !off);
    if (off && outcome.time > Duration::zero()) {
        SchedulePower(m_clock->Now() + outcome.time, true);
    }
}

Instant FaultPlan::Now() const {
    return m_clock == nullptr ? Instant{} : m_clock->Now();
}

void FaultPlan::Note(std::string_view text) {
    ++m_strikes;
    if (m_probe != nullptr) {
        m_probe->OnNote("fault", text);
    }
}

template <class Fits>
const FaultOutcome* FaultPlan::Strike(const Event& event, const Fits& fits) {
    ++m_seen.at(static_cast<std::size_t>(event.stream));
    const FaultOutcome* struck = nullptr;
    for (Counted& counted : RulesOf(event.place)) {
        if (Now() < counted.rule.from || !fits(counted.rule)) {
            continue;
        }
        ++counted.seen;
        if (struck != nullptr || !counted.rule.occurrences.Contains(counted.seen)) {
            continue;
        }
        struck = &counted.rule.outcome;
        const bool able = (event.actions & BitOf(struck->action)) != 0;
        Note(able ? counted.rule.text
                  : Formatted("{}: no effect on {}", counted.rule.text, InfoOf(event.place).word));
    }
    if (struck == nullptr) {
        return StrikeByNoise(event);
    }
    return (event.actions & BitOf(struck->action)) != 0 ? struck : nullptr;
}

const FaultOutcome* FaultPlan::StrikeByNoise(const Event& event) {
    constexpr std::array<std::string_view, static_cast<std::size_t>(Stream::kCount)> kWords{
        "call", "char:to-chip", "char:to-host", "answer", "cell", "cell", "edge"};
    if (!m_noise) {
        return nullptr;
    }
    // Power that is there already would be no fault.
    auto outcome = m_noise->Strike(event.actions & ~BitOf(FaultAction::kPowerOn), event.sizeBytes);
    if (!outcome) {
        return nullptr;
    }
    m_noiseOutcome = std::move(*outcome);
    const auto index = static_cast<std::size_t>(event.stream);
    Note(Formatted("noise {}#{}={}", kWords.at(index), m_seen.at(index),
                   OutcomeText(m_noiseOutcome)));
    return &m_noiseOutcome;
}

CallFault FaultPlan::FaultOfCall(CallKind kind, std::string_view path, std::size_t sizeBytes) {
    const PlaceInfo& info = InfoOf(PlaceOf(kind));
    if (m_callLine) {
        m_callLine(Formatted("{} {} {} {}", m_seen.front() + 1, info.word,
                             path.empty() ? "-" : path, sizeBytes));
    }
    const FaultOutcome* struck =
        Strike({Stream::kCalls, info.place, info.actions, sizeBytes}, [&](const FaultRule& rule) {
            return (rule.place == FaultPlace::kCall || rule.place == info.place) &&
                   FitsPath(rule.target, path);
        });
    if (struck == nullptr) {
        return {};
    }
    if (struck->action == FaultAction::kPowerOff || struck->action == FaultAction::kPowerOn) {
        SwitchPower(struck->action == FaultAction::kPowerOn, struck->time);
        return {};
    }
    return CallFaultOf(*struck);
}

CharacterFault FaultPlan::FaultOfCharacter(bool toChip, std::uint8_t /*value*/) {
    const std::string_view direction = toChip ? "to-chip" : "to-host";
    const PlaceInfo& info = InfoOf(FaultPlace::kCharacter);
    const FaultOutcome* struck = Strike(
        {toChip ? Stream::kToChip : Stream::kToHost, info.place, info.actions},
        [&](const FaultRule& rule) { return rule.target.empty() || rule.target == direction; });
    if (struck == nullptr) {
        return {};
    }
    SwitchPowerSoon(*struck);
    return CharacterFaultOf(*struck);
}

AnswerFault FaultPlan::FaultOfAnswer(std::uint8_t command, std::uint16_t /*address*/,
                                     std::span<const std::uint8_t> /*answer*/) {
    const PlaceInfo& info = InfoOf(FaultPlace::kAnswer);
    const FaultOutcome* struck =
        Strike({Stream::kAnswers, info.place, info.actions},
               [&](const FaultRule& rule) { return rule.command.value_or(command) == command; });
    if (struck == nullptr) {
        return {};
    }
    SwitchPowerSoon(*struck);
    return AnswerFaultOf(*struck);
}

bool FaultPlan::CellStruck(Stream stream, FaultAction action, std::uint16_t address) {
    if (m_cells.empty() && !m_noise) {
        return false;
    }
    const auto fits = [&](const FaultRule& rule) {
        return rule.outcome.action == action && address >= rule.firstAddress &&
               address <= rule.lastAddress;
    };
    return Strike({stream, FaultPlace::kCell, BitOf(action)}, fits) != nullptr;
}

std::uint8_t FaultPlan::CellAfterProgramming(std::uint16_t address, std::uint8_t old,
                                             std::uint8_t wanted) {
    return CellStruck(Stream::kProgramming, FaultAction::kStuckErased, address) ? old : wanted;
}

std::uint8_t FaultPlan::CellAfterErase(std::uint16_t address, std::uint8_t old) {
    return CellStruck(Stream::kErasing, FaultAction::kStuckProgrammed, address)
               ? old
               : Faults::CellAfterErase(address, old);
}

bool FaultPlan::EdgeArrives(std::string_view line, bool high) {
    const PlaceInfo& info = InfoOf(high ? FaultPlace::kRise : FaultPlace::kFall);
    const auto fits = [&](const FaultRule& rule) {
        return (rule.place == FaultPlace::kEdge || rule.place == info.place) &&
               (rule.target.empty() || rule.target == line);
    };
    return Strike({Stream::kEdges, info.place, info.actions}, fits) == nullptr;
}

}  // namespace vboard
