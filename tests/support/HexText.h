// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "Bytes.h"

// Intel HEX records as text, written for tests; each ends with a line feed.
namespace hex {

// A record with a right checksum: count, address, type, data.
std::string Record(std::uint8_t type, std::uint16_t address, const Bytes& data);
std::string Data(std::uint16_t address, const Bytes& data);
// The type 02 record: following addresses count from segment x 16.
std::string Segment(std::uint16_t segment);
std::string EndOfFile();
// The checksum byte that Record() would write.
std::uint8_t Checksum(std::uint8_t type, std::uint16_t address, const Bytes& data);
// A data record that carries this checksum byte, right or wrong.
std::string DataWithChecksum(std::uint16_t address, const Bytes& data, std::uint8_t checksum);

}  // namespace hex
