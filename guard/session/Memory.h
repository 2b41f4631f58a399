// SPDX-License-Identifier: MIT
#pragma once

// What can be asked of the memory of an unlocked chip.

#include "guard/plan/Plan.h"
#include "guard/session/Work.h"

namespace guard {

/// How a block in the chip differs from the one that should be there.
enum class Difference : std::uint8_t {
    kNone,
    kWritable,  ///< Only erased bits where programmed ones should be: writing again can do it.
    kErasable   ///< Bits are programmed that should not be: only an erase brings them back.
};

/// Both of one length. The worst of what differs.
[[nodiscard]] Difference DifferenceOf(std::span<const std::uint8_t> wanted,
                                      std::span<const std::uint8_t> found);

/// The memory of the chip that `work` has unlocked.
class Memory {
public:
    /// `work` must outlive this.
    explicit Memory(Work& work) : m_work(work) {}

    /// Fills `bytes` from `address` on, in as many blocks as it takes. kDone, kAgain, kDiffers
    /// (locked) or kStopped. Bytes read are counted; progress is announced where `announce` says
    /// how much was done before.
    [[nodiscard]] Step Read(std::uint16_t address, std::span<std::uint8_t> bytes,
                            std::optional<std::uint32_t> announce = std::nullopt);

    /// Whether a stretch is erased: kDone, kDiffers, kAgain or kStopped. By the loader's erase
    /// check where it has one, and by reading where it has not or does not agree.
    [[nodiscard]] Step IsErased(std::uint16_t address, std::uint32_t sizeBytes,
                                std::optional<std::uint32_t> announce = std::nullopt);

    /// Reads a block and holds it against what should be there; a second time where it differs, so
    /// that no mistake on the wire is taken for one in the chip. kDone, with `difference` written;
    /// kAgain or kStopped.
    [[nodiscard]] Step Compare(const Block& block, Difference& difference);
    /// What the last Compare has read.
    [[nodiscard]] std::span<const std::uint8_t> Found() const { return m_found; }

private:
    void NoteDifference(const Block& block);

    Work& m_work;
    std::vector<std::uint8_t> m_found;
};

}  // namespace guard
