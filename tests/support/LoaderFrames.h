// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "Bytes.h"

// The frames of the MSP430 loader's serial protocol, made here from the protocol and not by the
// builders under test, so that a fault in those does not hide itself.
namespace loader {

constexpr std::uint8_t kSync = 0x80;
constexpr std::uint8_t kAck = 0x90;
constexpr std::uint8_t kNak = 0xA0;

// The two bytes that end a frame: what is missing so that the XOR of all bytes at even offsets,
// and of all bytes at odd offsets, is 0xFF each.
Bytes Checksum(const Bytes& frameWithoutChecksum);
// Whether the last two bytes of the frame are its checksum.
bool ChecksumHolds(const Bytes& frame);

// A whole frame: header, command, twice the count of what follows up to the data's end, address,
// length field, data, checksum.
Bytes Frame(std::uint8_t command, std::uint16_t address, std::uint16_t lengthField,
            const Bytes& data = {});

// The password frame with the password of an erased device, 32 bytes 0xFF.
Bytes ErasedPasswordFrame();
// The write frame of one block; `data` has an even count.
Bytes WriteFrame(std::uint16_t address, const Bytes& data);
// The erase of main memory as the tool asks for it, at segment address 0x2100.
Bytes EraseMainFrame();
Bytes MassEraseFrame();
Bytes VersionRequestFrame();

}  // namespace loader
