// SPDX-License-Identifier: MIT
#include "vboard/faults/NoiseSource.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>

namespace vboard {
namespace {

constexpr double kWhole = 9007199254740992.0;  // 2^53: every share of it is exact in a double.
constexpr unsigned kSpareBits = 64 - 53;

/// What drivers of terminals, GPIO files and the communication device may answer.
constexpr std::array<int, 8> kErrors{EIO, EINTR, EAGAIN, ENOENT, EACCES, EBUSY, ENODEV, ENOSPC};
constexpr std::size_t kMostNoiseBytes = 3;
constexpr std::size_t kMostMilliseconds = 500;

}  // namespace

NoiseSource::NoiseSource(double rate, std::uint64_t seed)
    : m_threshold(static_cast<std::uint64_t>(std::clamp(rate, 0.0, 1.0) * kWhole)), m_state(seed) {}

std::uint64_t NoiseSource::Next() {
    m_state += 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = m_state;
    mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31U);
}

std::size_t NoiseSource::Below(std::size_t count) {
    return static_cast<std::size_t>(Next() % count);
}

FaultAction NoiseSource::Choose(std::uint32_t actions) {
    for (auto left = Below(static_cast<std::size_t>(std::popcount(actions))); left > 0; --left) {
        actions &= actions - 1;
    }
    return static_cast<FaultAction>(std::countr_zero(actions));
}

void NoiseSource::FillBytes(FaultOutcome& outcome, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        outcome.bytes.push_back(static_cast<std::uint8_t>(Next() & 0xFFU));
    }
}

std::optional<FaultOutcome> NoiseSource::Strike(std::uint32_t actions, std::size_t sizeBytes) {
    if ((Next() >> kSpareBits) >= m_threshold) {
        return std::nullopt;
    }
    FaultOutcome outcome;
    outcome.action = Choose(actions);
    switch (InfoOf(outcome.action).argument) {
        case ArgumentKind::kCount:
            outcome.count = sizeBytes == 0 ? 0 : Below(sizeBytes);
            break;
        case ArgumentKind::kByte:
            FillBytes(outcome, 1);
            break;
        case ArgumentKind::kBytes:
            FillBytes(outcome, 1 + Below(kMostNoiseBytes));
            break;
        case ArgumentKind::kTime:
        case ArgumentKind::kTimeOrNothing:
            outcome.time = std::chrono::milliseconds(1 + Below(kMostMilliseconds));
            break;
        case ArgumentKind::kNone:
            break;
    }
    if (outcome.action == FaultAction::kErrno) {
        outcome.error = kErrors.at(Below(kErrors.size()));
    }
    return outcome;
}

}  // namespace vboard
