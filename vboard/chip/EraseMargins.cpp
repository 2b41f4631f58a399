// SPDX-License-Identifier: MIT
#include "vboard/chip/EraseMargins.h"

#include <algorithm>

#include "vboard/chip/Memory.h"

namespace vboard {
namespace {

/// Set from an erase on until a byte of the segment is programmed: further erases then add up.
constexpr std::uint32_t kErasedSince = 1U << 31U;
constexpr std::uint32_t kLacksMask = kErasedSince - 1;

constexpr auto kWholeTimeNs = static_cast<std::uint32_t>(kCumulativeEraseTime.count());
static_assert(kWholeTimeNs <= kLacksMask && std::chrono::nanoseconds{1} == Duration{1});

}  // namespace

void EraseMargins::Erase(std::uint16_t address, Duration spent, bool allErased) {
    std::uint32_t& word = m_words[m_segments.IndexOf(address)];
    const bool addsUp = (word & kErasedSince) != 0 || allErased;
    const Duration lacks{addsUp ? word & kLacksMask : kWholeTimeNs};
    const Duration left = std::max(lacks - spent, Duration::zero());
    word = static_cast<std::uint32_t>(left.count()) | kErasedSince;
}

void EraseMargins::Program(std::uint16_t address) {
    m_words[m_segments.IndexOf(address)] &= kLacksMask;
}

WeakBytes EraseMargins::Count(std::span<const std::uint8_t> memory) const {
    const WeakBytes main = CountIn(m_segments.Main(), memory);
    const WeakBytes info = CountIn(m_segments.Info(), memory);
    return {main.erased + info.erased, main.programmed + info.programmed};
}

WeakBytes EraseMargins::CountIn(AddressRange flash, std::span<const std::uint8_t> memory) const {
    WeakBytes weak;
    m_segments.ForEach(flash, [&](AddressRange segment) {
        if ((m_words[m_segments.IndexOf(segment.first)] & kLacksMask) == 0) {
            return;
        }
        const auto bytes = memory.subspan(segment.first, segment.SizeBytes());
        const auto erased =
            static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), kErasedByte));
        weak.erased += erased;
        weak.programmed += bytes.size() - erased;
    });
    return weak;
}

}  // namespace vboard
