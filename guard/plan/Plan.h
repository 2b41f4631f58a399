// SPDX-License-Identifier: MIT
#pragma once

// What has to be done to a chip so that it holds an image: canonical blocks in their order, and the
// stretches between them that have to be erased. Pure: no device, no time.
//
// The chip starts nothing while the reset vector at 0xFFFE is erased. So everything else is written
// first, then the other vectors, and that word last of all.

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "guard/boards/Board.h"
#include "image/MemoryImage.h"

namespace guard {

/// A block that one frame of the loader carries: even address, even count, at most 250 bytes.
struct Block {
    std::uint16_t address = 0;
    std::vector<std::uint8_t> bytes;
    bool operator==(const Block&) const = default;
};

/// A stretch of main memory without data; even address and size.
struct Gap {
    std::uint16_t address = 0;
    std::uint32_t sizeBytes = 0;
    bool operator==(const Gap&) const = default;
};

/// All that a chip has to be given. Blocks do not overlap.
struct Plan {
    std::vector<Block> body;    ///< All but the vectors, by address.
    std::vector<Gap> gaps;      ///< Of main memory below the vectors, by address.
    std::vector<Block> commit;  ///< The vectors from 0xFFE0 on; the word at 0xFFFE is the last.

    /// The bytes of each list, added up.
    [[nodiscard]] std::uint32_t BodyBytes() const;
    [[nodiscard]] std::uint32_t GapBytes() const;
    [[nodiscard]] std::uint32_t CommitBytes() const;
};

/// The interrupt vectors begin here and end with the address space (SLAU319, password).
inline constexpr std::uint16_t kVectorsAddress = 0xFFE0;
/// The last of them: where the chip starts.
inline constexpr std::uint16_t kResetVectorAddress = 0xFFFE;
/// What one frame of the loader carries.
inline constexpr std::size_t kMaxBlockBytes = 250;

/// `memory` covers nothing outside of the chip's main and information memory. Half a word is
/// filled up with 0xFF.
[[nodiscard]] Plan MakePlan(const image::MemoryImage& memory, const Part& part);

/// The image's vectors, 0xFF where it has none: the password of a chip that holds it.
[[nodiscard]] std::array<std::uint8_t, 32> VectorsOf(const image::MemoryImage& memory);

/// The blocks' bytes in their order, one after another, as a check sum of the content takes them.
[[nodiscard]] std::vector<std::uint8_t> ContentOf(const Plan& plan);

}  // namespace guard
