// SPDX-License-Identifier: MIT
#include "vboard/process/RealTimePacer.h"

#include <time.h>

#include <cerrno>

#include "vboard/process/RealLibc.h"

namespace vboard {
namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;

std::int64_t RealNowNs() {
    timespec now{};
    static_cast<void>(Real().clock_gettime(CLOCK_MONOTONIC, &now));
    return static_cast<std::int64_t>(now.tv_sec) * kNsPerSecond + now.tv_nsec;
}

}  // namespace

RealTimePacer::RealTimePacer(double pace, std::chrono::nanoseconds virtualStart)
    : m_pace(pace), m_virtualStart(virtualStart), m_realStartNs(RealNowNs()) {}

void RealTimePacer::GoingTo(std::chrono::nanoseconds sinceStart) {
    const auto passed = static_cast<double>((sinceStart - m_virtualStart).count()) / m_pace;
    const std::int64_t wantedNs = m_realStartNs + static_cast<std::int64_t>(passed);
    timespec wanted{};
    wanted.tv_sec = static_cast<time_t>(wantedNs / kNsPerSecond);
    wanted.tv_nsec = static_cast<decltype(wanted.tv_nsec)>(wantedNs % kNsPerSecond);
    while (Real().clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &wanted, nullptr) == EINTR) {
    }
}

}  // namespace vboard
