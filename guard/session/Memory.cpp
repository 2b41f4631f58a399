// SPDX-License-Identifier: MIT
#include "guard/session/Memory.h"

#include <algorithm>

namespace guard {
namespace {

constexpr std::uint8_t kErased = 0xFF;

Step StepOf(Answer answer) {
    switch (answer) {
        case Answer::kAck:
            return Step::kDone;
        case Answer::kNak:
            return Step::kDiffers;
        default:
            return Step::kAgain;
    }
}

}  // namespace

Difference DifferenceOf(std::span<const std::uint8_t> wanted, std::span<const std::uint8_t> found) {
    Difference difference = Difference::kNone;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        if ((found[i] & wanted[i]) != wanted[i]) {
            return Difference::kErasable;
        }
        if (found[i] != wanted[i]) {
            difference = Difference::kWritable;
        }
    }
    return difference;
}

Step Memory::Read(std::uint16_t address, std::span<std::uint8_t> bytes,
                  std::optional<std::uint32_t> announce) {
    for (std::size_t done = 0; done < bytes.size();) {
        if (m_work.Stops()) {
            return Step::kStopped;
        }
        const std::size_t count = std::min(bytes.size() - done, Loader::kMaxBlockBytes);
        const Step step = StepOf(m_work.TheLoader().Read(static_cast<std::uint16_t>(address + done),
                                                         bytes.subspan(done, count)));
        if (step != Step::kDone) {
            return step;
        }
        done += count;
        m_work.TheVerdict().bytesRead += static_cast<std::uint32_t>(count);
        if (announce) {
            m_work.Advance(*announce + static_cast<std::uint32_t>(done));
        }
    }
    return Step::kDone;
}

Step Memory::IsErased(std::uint16_t address, std::uint32_t sizeBytes,
                      std::optional<std::uint32_t> announce) {
    if (m_work.Stops()) {
        return Step::kStopped;
    }
    if (m_work.HasEraseCheck()) {
        const Step step =
            StepOf(m_work.TheLoader().EraseCheck(address, static_cast<std::uint16_t>(sizeBytes)));
        if (step != Step::kDiffers) {
            return step;
        }
    }
    std::vector<std::uint8_t> bytes(sizeBytes);
    const Step step = Read(address, bytes, announce);
    if (step != Step::kDone) {
        return step == Step::kDiffers ? Step::kAgain : step;
    }
    const auto programmed =
        std::find_if(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte != kErased; });
    if (programmed == bytes.end()) {
        return Step::kDone;
    }
    m_work.TheVerdict().differenceAt =
        static_cast<std::uint16_t>(address + (programmed - bytes.begin()));
    return Step::kDiffers;
}

Step Memory::Compare(const Block& block, Difference& difference) {
    constexpr int kLooks = 2;
    m_found.assign(block.bytes.size(), 0);
    for (int look = 0; look < kLooks; ++look) {
        const Step step = Read(block.address, m_found);
        if (step != Step::kDone) {
            return step == Step::kDiffers ? Step::kAgain : step;
        }
        difference = DifferenceOf(block.bytes, m_found);
        if (difference == Difference::kNone) {
            return Step::kDone;
        }
    }
    NoteDifference(block);
    return Step::kDone;
}

void Memory::NoteDifference(const Block& block) {
    Verdict& verdict = m_work.TheVerdict();
    for (std::size_t i = 0; i < m_found.size(); ++i) {
        if (m_found[i] != block.bytes[i]) {
            ++verdict.differingBytes;
            if (!verdict.differenceAt) {
                verdict.differenceAt = static_cast<std::uint16_t>(block.address + i);
            }
        }
    }
}

}  // namespace guard
