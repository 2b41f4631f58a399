// SPDX-License-Identifier: MIT
#include "LoaderFrames.h"

#include <array>

namespace loader {

Bytes Checksum(const Bytes& frameWithoutChecksum) {
    std::array<unsigned, 2> missing{0xFF, 0xFF};
    for (std::size_t offset = 0; offset < frameWithoutChecksum.size(); ++offset) {
        missing[offset % 2] ^= frameWithoutChecksum[offset];
    }
    return {static_cast<std::uint8_t>(missing[0]), static_cast<std::uint8_t>(missing[1])};
}

bool ChecksumHolds(const Bytes& frame) {
    if (frame.size() < 2) {
        return false;
    }
    const Bytes body(frame.begin(), frame.end() - 2);
    return body + Checksum(body) == frame;
}

Bytes Frame(std::uint8_t command, std::uint16_t address, std::uint16_t lengthField,
            const Bytes& data) {
    const auto low = [](unsigned word) { return static_cast<std::uint8_t>(word & 0xFFU); };
    const auto high = [](unsigned word) { return static_cast<std::uint8_t>(word >> 8U); };
    const std::uint8_t count = low(static_cast<unsigned>(data.size()) + 4);
    const Bytes header{0x80,
                       command,
                       count,
                       count,
                       low(address),
                       high(address),
                       low(lengthField),
                       high(lengthField)};
    const Bytes body = header + data;
    return body + Checksum(body);
}

Bytes ErasedPasswordFrame() {
    return Frame(0x10, 0, 0, Repeat(0xFF, 32));
}

Bytes WriteFrame(std::uint16_t address, const Bytes& data) {
    return Frame(0x12, address, static_cast<std::uint16_t>(data.size()), data);
}

Bytes EraseMainFrame() {
    return FromText("80 16 04 04 00 21 04 A5 7F 69");
}
Bytes MassEraseFrame() {
    return FromText("80 18 04 04 00 FF 06 A5 7D B9");
}
Bytes VersionRequestFrame() {
    return FromText("80 1E 04 04 FF FF FF FF 7B E5");
}

}  // namespace loader
