// SPDX-License-Identifier: MIT
#include "HexText.h"

namespace hex {
namespace {

Bytes Body(std::uint8_t type, std::uint16_t address, const Bytes& data) {
    return Bytes{static_cast<std::uint8_t>(data.size()), static_cast<std::uint8_t>(address >> 8U),
                 static_cast<std::uint8_t>(address & 0xFFU), type} +
           data;
}

std::string Line(const Bytes& bytes) {
    std::string line = ":";
    for (const char digit : ToText(bytes)) {
        if (digit != ' ') {
            line += digit;
        }
    }
    return line + "\n";
}

}  // namespace

std::uint8_t Checksum(std::uint8_t type, std::uint16_t address, const Bytes& data) {
    unsigned sum = 0;
    for (const std::uint8_t byte : Body(type, address, data)) {
        sum += byte;
    }
    return static_cast<std::uint8_t>((0x100U - sum % 0x100U) % 0x100U);
}

std::string Record(std::uint8_t type, std::uint16_t address, const Bytes& data) {
    return Line(Body(type, address, data) + Bytes{Checksum(type, address, data)});
}

std::string Data(std::uint16_t address, const Bytes& data) {
    return Record(0x00, address, data);
}

std::string Segment(std::uint16_t segment) {
    return Record(
        0x02, 0,
        {static_cast<std::uint8_t>(segment >> 8U), static_cast<std::uint8_t>(segment & 0xFFU)});
}

std::string EndOfFile() {
    return ":00000001FF\n";
}

std::string DataWithChecksum(std::uint16_t address, const Bytes& data, std::uint8_t checksum) {
    return Line(Body(0x00, address, data) + Bytes{checksum});
}

}  // namespace hex
