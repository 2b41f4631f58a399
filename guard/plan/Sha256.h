// SPDX-License-Identifier: MIT
#pragma once

// SHA-256 as FIPS 180-4 has it: so that what was checked, what was programmed and what is in the
// chip can be told apart. Written out here because a library of ciphers would be larger than the
// whole program.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace guard {

/// One sum, made piece by piece (FIPS 180-4).
class Sha256 {
public:
    /// The next piece, of any length.
    void Add(std::span<const std::uint8_t> bytes);
    /// 64 digits in lower case, as sha256sum prints them. Ends the sum: nothing can be added after.
    [[nodiscard]] std::string Digits();

private:
    static constexpr std::size_t kBlockBytes = 64;
    void TakeBlock();
    void Put(std::uint8_t byte);

    std::array<std::uint32_t, 8> m_state{0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                         0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    std::array<std::uint8_t, kBlockBytes> m_block{};
    std::uint64_t m_count = 0;  ///< Bytes added.
};

/// Of all of `bytes`.
[[nodiscard]] std::string Sha256Of(std::span<const std::uint8_t> bytes);

}  // namespace guard
