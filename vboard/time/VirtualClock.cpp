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

void VirtualClock::MoveTo(Instant when) {
    if (when > m_limit && m_onLimit) {
        m_now = m_limit;
        m_limit = Instant::max();
        m_onLimit();
    }
    if (m_pacer != nullptr && when > m_now) {
        m_pacer->GoingTo(when.time_since_epoch());
    }
    m_now = std::max(m_now, when);
}

bool VirtualClock::ServeNext(Instant notAfter) {
    DropCancelled();
    if (m_heap.empty() || m_heap.front().when > notAfter) {
        return false;
    }
    MoveTo(m_heap.front().when);
    std::pop_heap(m_heap.begin(), m_heap.end(), Later);
    const Action action = std::move(m_heap.back().action);
    m_heap.pop_back();
    action();
    return true;
}

void VirtualClock::Pass(Duration length) {
    const Instant end = m_now + length;
    while (ServeNext(end)) {
    }
    MoveTo(end);
}

VirtualClock::Waited VirtualClock::RunUntil(const std::function<bool()>& satisfied,
                                            std::optional<Instant> deadline) {
    while (!satisfied()) {
        if (ServeNext(deadline.value_or(Instant::max()))) {
            continue;
        }
        if (!deadline) {
            return Waited::kNothingLeft;
        }
        MoveTo(*deadline);
        return Waited::kTimedOut;
    }
    return Waited::kSatisfied;
}

void VirtualClock::Settle(Instant limit) {
    while (ServeNext(limit)) {
    }
}

void VirtualClock::SetLimit(Instant limit, Action onLimit) {
    m_limit = limit;
    m_onLimit = std::move(onLimit);
}

}  // namespace vboard
