// SPDX-License-Identifier: MIT
#include "vboard/time/VirtualClock.h"

#include <algorithm>
#include <utility>

namespace vboard {

bool VirtualClock::Later(const Entry& a, const Entry& b) {
    return a.when != b.when ? a.when > b.when : a.ticket > b.ticket;
}

VirtualClock::Ticket VirtualClock::At(Instant when, Action action) {
    const Ticket ticket = m_nextTicket++;
    m_heap.push_back({std::max(when, m_now), ticket, std::move(action)});
    std::push_heap(m_heap.begin(), m_heap.end(), Later);
    return ticket;
}

void VirtualClock::Cancel(Ticket ticket) {
    const auto isIt = [ticket](const Entry& entry) { return entry.ticket == ticket; };
    if (std::any_of(m_heap.begin(), m_heap.end(), isIt)) {
        m_cancelled.push_back(ticket);
    }
}

void VirtualClock::CancelAll() {
    m_heap.clear();
    m_cancelled.clear();
}

void VirtualClock::DropCancelled() {
    while (!m_heap.empty() && !m_cancelled.empty()) {
        const auto found = std::find(m_cancelled.begin(), m_cancelled.end(), m_heap.front().ticket);
        if (found == m_cancelled.end()) {
            return;
        }
        m_cancelled.erase(found);
        std::pop_heap(m_heap.begin(), m_heap.end(), Later);
        m_heap.pop_back();
    }
}

std::optional<Instant> VirtualClock::NextAction() {
    DropCancelled();
    return m_heap.empty() ? std::nullopt : std::optional(m_heap.front().when);
}

/// False when a signal came first.
bool VirtualClock::MoveTo(Instant when, Signals signals) {
    if (when > m_limit && m_onLimit) {
        m_now = m_limit;
        m_limit = Instant::max();
        m_onLimit();
    }
    if (m_pacer != nullptr && when > m_now) {
        const Instant reached{m_pacer->GoingTo(when.time_since_epoch(), signals)};
        m_now = std::max(m_now, std::min(reached, when));
        return reached >= when;
    }
    m_now = std::max(m_now, when);
    return true;
}

VirtualClock::Step VirtualClock::ServeNext(Instant notAfter, Signals signals) {
    DropCancelled();
    if (m_heap.empty() || m_heap.front().when > notAfter) {
        return Step::kNoneDue;
    }
    if (!MoveTo(m_heap.front().when, signals)) {
        return Step::kInterrupted;
    }
    std::pop_heap(m_heap.begin(), m_heap.end(), Later);
    const Action action = std::move(m_heap.back().action);
    m_heap.pop_back();
    action();
    return Step::kServed;
}

Duration VirtualClock::Pass(Duration length) {
    const Instant end = In(length);
    static_cast<void>(RunUntil([] { return false; }, end));
    return std::max(Duration::zero(), end - m_now);
}

VirtualClock::Waited VirtualClock::RunUntil(const std::function<bool()>& satisfied,
                                            std::optional<Instant> deadline, Signals signals,
                                            bool outside) {
    while (!satisfied()) {
        if (m_sharers != nullptr && !m_sharers->MayMove({*this, satisfied, deadline, outside})) {
            continue;
        }
        const Step step = ServeNext(deadline.value_or(Instant::max()), signals);
        if (step == Step::kServed) {
            continue;
        }
        if (step == Step::kInterrupted) {
            return Waited::kInterrupted;
        }
        if (!deadline) {
            return Waited::kNothingLeft;
        }
        return MoveTo(*deadline, signals) ? Waited::kTimedOut : Waited::kInterrupted;
    }
    return Waited::kSatisfied;
}

void VirtualClock::Settle(Instant limit) {
    while (ServeNext(limit, Signals::kEnd) == Step::kServed) {
    }
}

void VirtualClock::SetLimit(Instant limit, Action onLimit) {
    m_limit = limit;
    m_onLimit = std::move(onLimit);
}

}  // namespace vboard
