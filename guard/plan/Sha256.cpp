// SPDX-License-Identifier: MIT
#include "guard/plan/Sha256.h"

#include <bit>

namespace guard {
namespace {

// FIPS 180-4, 4.2.2: the first 32 bits of the fractional parts of the cube roots of the primes.
constexpr std::array<std::uint32_t, 64> kRound{
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

constexpr std::size_t kLengthAt = 56;

}  // namespace

void Sha256::Put(std::uint8_t byte) {
    m_block.at(m_count++ % kBlockBytes) = byte;
    if (m_count % kBlockBytes == 0) {
        TakeBlock();
    }
}

void Sha256::Add(std::span<const std::uint8_t> bytes) {
    for (const std::uint8_t byte : bytes) {
        Put(byte);
    }
}

// FIPS 180-4, 6.2.2.
void Sha256::TakeBlock() {
    std::array<std::uint32_t, 64> w{};
    for (std::size_t t = 0; t < 16; ++t) {
        for (std::size_t i = 0; i < 4; ++i) {
            w.at(t) = w.at(t) << 8U | m_block.at(4 * t + i);
        }
    }
    for (std::size_t t = 16; t < w.size(); ++t) {
        const std::uint32_t x = w.at(t - 15);
        const std::uint32_t y = w.at(t - 2);
        w.at(t) = w.at(t - 16) + (std::rotr(x, 7) ^ std::rotr(x, 18) ^ x >> 3U) + w.at(t - 7) +
                  (std::rotr(y, 17) ^ std::rotr(y, 19) ^ y >> 10U);
    }
    auto [a, b, c, d, e, f, g, h] = m_state;
    for (std::size_t t = 0; t < w.size(); ++t) {
        const std::uint32_t one = h + (std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25)) +
                                  ((e & f) ^ (~e & g)) + kRound.at(t) + w.at(t);
        const std::uint32_t two =
            (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
        h = g;
        g = f;
        f = e;
        e = d + one;
        d = c;
        c = b;
        b = a;
        a = one + two;
    }
    const std::array<std::uint32_t, 8> more{a, b, c, d, e, f, g, h};
    for (std::size_t i = 0; i < m_state.size(); ++i) {
        m_state.at(i) += more.at(i);
    }
}

std::string Sha256::Digits() {
    const std::uint64_t bits = m_count * 8;
    Put(0x80);
    while (m_count % kBlockBytes != kLengthAt) {
        Put(0);
    }
    for (int shift = 56; shift >= 0; shift -= 8) {
        Put(static_cast<std::uint8_t>(bits >> static_cast<unsigned>(shift)));
    }
    std::string digits;
    for (const std::uint32_t word : m_state) {
        for (int shift = 28; shift >= 0; shift -= 4) {
            digits += "0123456789abcdef"[word >> static_cast<unsigned>(shift) & 0xFU];
        }
    }
    return digits;
}

std::string Sha256Of(std::span<const std::uint8_t> bytes) {
    Sha256 sum;
    sum.Add(bytes);
    return sum.Digits();
}

}  // namespace guard
