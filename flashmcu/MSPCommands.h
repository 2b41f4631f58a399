// SPDX-License-Identifier: MIT
#ifndef FLASHMCU_MSPCOMMANDS_H
#define FLASHMCU_MSPCOMMANDS_H

#include <string>

// Reply bytes of the MSP430 bootstrap loader (BSL).
inline constexpr unsigned char DATA_ACK = 0x90;  // frame or sync byte accepted
inline constexpr unsigned char DATA_NAK = 0xA0;  // frame refused

// Builds the frames of the MSP430's ROM bootstrap loader and names its replies. Knows nothing of
// ports or lines.
//
//   offset  0     1    2      3      4    5     6      7      8..7+n  8+n     9+n
//           0x80  CMD  4 + n  4 + n  adr  adr   len    len    data    check   check
//                                    low  high  low    high           even    odd
//
// n is even; the two check bytes are the inverted XOR of all bytes at even and at odd offsets
// before them. The layout and the command bytes are those of the chip maker's bootstrap loader
// user's guide (SLAU319).
//
// Every builder takes the caller's buffer and its capacity in bytes and returns the length of the
// frame in bytes. It returns 0 when it refuses, and then leaves the buffer alone; otherwise it
// writes the frame and nothing behind it. An absent (null) buffer and a capacity of any sign are
// refused like one that is too small. Refusals are logged but for the silent ones said below.
class CMSPBSLCommand {
public:
    // Command 0x10, 42 bytes. `password` points to 32 bytes; when it is absent or `passwordLen` is
    // not 32, the password of an erased device (32 bytes of 0xFF) goes out instead, with an info
    // line.
    [[nodiscard]] static int BuildPasswordFrame(unsigned char* buff, int bufflen,
                                                const unsigned char* password, int passwordLen);

    // Command 0x12, n + 10 bytes with n = `datalen` rounded up to even, at most 250. `data` must
    // have n readable bytes: the pad byte of an odd block is whatever follows the block. Refusals
    // log one, two or no lines.
    [[nodiscard]] static int BuildWriteDataFrame(unsigned char* buff, int bufflen,
                                                 const unsigned char* data, int datalen,
                                                 unsigned short address);

    // Command 0x14, 10 bytes: asks for `count` bytes, at most 250, from `address` on. A present
    // buffer below 10 bytes is refused in silence.
    [[nodiscard]] static int BuildReadDataFrame(unsigned char* buff, int bufflen, int count,
                                                unsigned short address);

    // Command 0x16, 10 bytes: erases the segment that holds the even `address`.
    [[nodiscard]] static int EraseSegmentFrame(unsigned char* buff, int bufflen,
                                               unsigned short address);

    // Command 0x16, 10 bytes: erases the whole main or information memory that holds the even
    // `address`.
    [[nodiscard]] static int EraseMainOrInfoFrame(unsigned char* buff, int bufflen,
                                                  unsigned short address);

    // Command 0x18, 10 bytes: erases the whole flash; the loader wants no password for it.
    [[nodiscard]] static int EraseMassFrame(unsigned char* buff, int bufflen);

    // Command 0x1C, 10 bytes: asks whether `length` bytes from `address` on are erased.
    [[nodiscard]] static int EraseCheckFrame(unsigned char* buff, int bufflen,
                                             unsigned short address, unsigned short length);

    // Command 0x1E, 10 bytes: asks for the loader's version.
    [[nodiscard]] static int ReceiveBSLVersionFrame(unsigned char* buff, int bufflen);

    // The name of a reply byte ("DATA_ACK", "DATA_NAK"); for any other byte one error line and
    // "Returnvalue translation not found".
    [[nodiscard]] static std::string TranslateRetValToString(unsigned char retVal);
};

#endif
