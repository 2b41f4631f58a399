// SPDX-License-Identifier: MIT
#include "vboard/process/OutsideWait.h"

#include <algorithm>
#include <cerrno>

#include "vboard/process/ProgramTime.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/RunLink.h"
#include "vboard/time/MustHold.h"

namespace vboard {
namespace {

using std::chrono_literals::operator""ms;

constexpr Duration kShortWait = 50ms;

std::int64_t MachineNs(clockid_t clock) {
    timespec now{};
    static_cast<void>(Real().clock_gettime(clock, &now));
    return DurationOf(now).count();
}

/// Without the turn: another thread may be about to change it, and each of the two is right.
Instant OwnTime(RunLink& link) {
    World* world = World::IfMade();
    return world != nullptr ? world->Now() : link.OwnTime();
}

/// What a time of the one kind is in the other; `rate` of it pass in one.
Duration Scaled(Duration length, double rate) {
    return rate <= 0 ? length
                     : Duration{static_cast<std::int64_t>(
                           std::min(static_cast<double>(length.count()) * rate, 9e18))};
}

}  // namespace

OutsideWait::OutsideWait(std::optional<Duration> timeout) {
    Begin(timeout);
}

OutsideWait::OutsideWait(clockid_t clock, Duration time) {
    const auto offset = OffsetOf(clock);
    RunLink* link = RunLink::Get();
    const Duration now = offset && link != nullptr ? *offset + OwnTime(*link).time_since_epoch()
                                                   : Duration{MachineNs(clock)};
    Begin(std::max(time - now, Duration::zero()));
}

void OutsideWait::Begin(std::optional<Duration> timeout) {
    RunLink* link = RunLink::Get();
    m_counts = link != nullptr;
    m_timeout = timeout;
    m_realTimeout = timeout;
    if (!m_counts) {
        return;
    }
    const double pace = link->TheSession().pace;
    if (timeout) {
        m_realTimeout = Scaled(*timeout, pace > 0 ? 1 / pace : 0);
    }
    m_begin = OwnTime(*link);
    m_realBeginNs = MachineNs(CLOCK_MONOTONIC);
    if (timeout && !BoardTurn::IsAlone()) {
        m_elsewhere.emplace(EndOf(m_begin, *timeout));
    }
}

Duration OutsideWait::RealDeadline(clockid_t clock) const {
    MustHold(m_realTimeout.has_value(), "a wait that is asked for its end has one");
    const std::int64_t now = MachineNs(clock);
    return Duration{now + std::min<std::int64_t>(m_realTimeout->count(), INT64_MAX - now)};
}

bool OutsideWait::IsTooEarly() const {
    MustHold(m_timeout.has_value(), "a wait whose time is up has an end");
    if (!m_counts || *m_timeout > kShortWait || BoardTurn::OthersRest()) {
        return false;
    }
    const BoardTurn turn;
    return true;
}

void OutsideWait::Ended(bool timeIsUp) {
    m_elsewhere.reset();
    // Where other threads live it was one of them that ended the wait, in no time.
    if (!m_counts || (!timeIsUp && !BoardTurn::IsAlone())) {
        return;
    }
    Duration taken = m_timeout.value_or(Duration::max());
    if (!timeIsUp) {
        const Duration real{MachineNs(CLOCK_MONOTONIC) - m_realBeginNs};
        taken = std::min(taken, Scaled(real, TheRunLink().TheSession().pace));
    }
    Take(taken, !timeIsUp);
}

void OutsideWait::EndedAtOnce() {
    m_elsewhere.reset();
    if (m_counts && BoardTurn::IsAlone()) {
        Take(Duration::zero(), true);
    }
}

void OutsideWait::Take(Duration length, bool hears) {
    const int kept = errno;
    const BoardTurn turn;
    const Instant end = EndOf(m_begin, length);
    if (hears) {
        HearOfOthers();
    }
    if (World* world = World::IfMade()) {
        world->PassOutside(end);
    } else {
        TheRunLink().PassTo(end);
    }
    errno = kept;
}

}  // namespace vboard
