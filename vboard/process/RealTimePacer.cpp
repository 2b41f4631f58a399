// SPDX-License-Identifier: MIT
#include "vboard/process/RealTimePacer.h"

#include <signal.h>
#include <time.h>

#include <algorithm>
#include <cerrno>

#include "vboard/process/RealLibc.h"

namespace vboard {
namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;
constexpr double kLastRealNs = 9e18;  ///< What a clock of 64 bits can show, about.

std::int64_t RealNowNs() {
    timespec now{};
    static_cast<void>(Real().clock_gettime(CLOCK_MONOTONIC, &now));
    return static_cast<std::int64_t>(now.tv_sec) * kNsPerSecond + now.tv_nsec;
}

/// sigaction(2), SA_RESTART. Which of the signals has come is not known any more, so all that have
/// a handler must ask for it.
bool EveryHandlerRestarts() {
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action {};
        const bool handled = sigaction(number, nullptr, &action) == 0 &&
                             action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN;
        if (handled && (action.sa_flags & SA_RESTART) == 0) {
            return false;
        }
    }
    return true;
}

}  // namespace

RealTimePacer::RealTimePacer(double pace, std::chrono::nanoseconds virtualStart)
    : m_pace(pace), m_virtualStart(virtualStart), m_realStartNs(RealNowNs()) {}

std::chrono::nanoseconds RealTimePacer::GoingTo(std::chrono::nanoseconds sinceStart,
                                                Signals signals) {
    const auto passed = static_cast<double>((sinceStart - m_virtualStart).count()) / m_pace;
    const double end = std::min(static_cast<double>(m_realStartNs) + passed, kLastRealNs);
    const auto wantedNs = static_cast<std::int64_t>(end);
    timespec wanted{};
    wanted.tv_sec = static_cast<time_t>(wantedNs / kNsPerSecond);
    wanted.tv_nsec = static_cast<decltype(wanted.tv_nsec)>(wantedNs % kNsPerSecond);
    while (Real().clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &wanted, nullptr) == EINTR) {
        if (signals == Signals::kEnd || !EveryHandlerRestarts()) {
            return std::min(Now(), sinceStart - std::chrono::nanoseconds{1});
        }
    }
    return sinceStart;
}

std::chrono::nanoseconds RealTimePacer::Now() const {
    const auto passed = static_cast<double>(RealNowNs() - m_realStartNs) * m_pace;
    return m_virtualStart + std::chrono::nanoseconds{static_cast<std::int64_t>(passed)};
}

}  // namespace vboard
