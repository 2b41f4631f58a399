// SPDX-License-Identifier: MIT
#include "flashmcu/MSPCommands.h"

#include <cstddef>
#include <cstring>

#include "flashmcu/Log.h"

namespace {

constexpr const char* kLogPath = "flashmcu/MSPCommands";

constexpr unsigned char kHeader = 0x80;
constexpr int kHeaderBytes = 8;
constexpr int kChecksumBytes = 2;
constexpr int kBareFrameBytes = kHeaderBytes + kChecksumBytes;
constexpr int kPasswordBytes = 32;
constexpr int kPasswordFrameBytes = kBareFrameBytes + kPasswordBytes;
constexpr int kMaxDataBytes = 250;

constexpr unsigned char kReceivePassword = 0x10;
constexpr unsigned char kReceiveDataBlock = 0x12;
constexpr unsigned char kTransmitDataBlock = 0x14;
constexpr unsigned char kErase = 0x16;
constexpr unsigned char kMassErase = 0x18;
constexpr unsigned char kEraseCheck = 0x1C;
constexpr unsigned char kTransmitVersion = 0x1E;

constexpr unsigned short kEraseSegmentControl = 0xA502;
constexpr unsigned short kEraseMainOrInfoControl = 0xA504;
constexpr unsigned short kMassEraseControl = 0xA506;

// The loader's password is the content of the interrupt vector table; this is an erased one.
constexpr unsigned char kDefaultPassword[kPasswordBytes] = {
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

struct ReplyName {
    unsigned char code;
    const char* text;  // absent in the last entry
};

constexpr ReplyName kReplyNames[] = {
    {DATA_ACK, "DATA_ACK"},
    {DATA_NAK, "DATA_NAK"},
    {0xFF, nullptr},
};

unsigned char LowByte(int value) {
    return static_cast<unsigned char>(value & 0xFF);
}

unsigned char HighByte(int value) {
    return LowByte(value >> 8);
}

bool HasRoom(const unsigned char* buff, int bufflen, int neededBytes) {
    return buff != nullptr && bufflen >= neededBytes;
}

void WriteHeader(unsigned char* frame, unsigned char command, int dataBytes, unsigned short address,
                 unsigned short lengthField) {
    frame[0] = kHeader;
    frame[1] = command;
    frame[2] = LowByte(dataBytes + 4);
    frame[3] = LowByte(dataBytes + 4);
    frame[4] = LowByte(address);
    frame[5] = HighByte(address);
    frame[6] = LowByte(lengthField);
    frame[7] = HighByte(lengthField);
}

// Closes a frame whose header and data fill `count` bytes; returns the frame's length.
int AppendChecksum(unsigned char* frame, int count) {
    int even = 0;
    int odd = 0;
    for (int offset = 0; offset < count; offset += 2) {
        even ^= frame[offset];
        odd ^= frame[offset + 1];
    }
    frame[count] = LowByte(~even);
    frame[count + 1] = LowByte(~odd);
    return count + kChecksumBytes;
}

int BuildBareFrame(unsigned char* frame, unsigned char command, unsigned short address,
                   unsigned short lengthField) {
    WriteHeader(frame, command, 0, address, lengthField);
    return AppendChecksum(frame, kHeaderBytes);
}

std::string BufferRefusal(const char* builder, int neededBytes, int bufflen) {
    return std::string("CMSPBSLCommand::") + builder + " buff == null or bufflen < " +
           std::to_string(neededBytes) + ". Given Bufflen =  " + std::to_string(bufflen);
}

std::string DataRoomRefusal(int bufflen, long long datalen) {
    return "CMSPBSLCommand::BuildWriteDataFrame buff == null or bufflen < datalen + 10. "
           "Given Bufflen =  " +
           std::to_string(bufflen) + " datalen = " + std::to_string(datalen);
}

std::string DataRefusal(long long datalen) {
    return "CMSPBSLCommand::BuildWriteDataFrame data == null or datalen > 250. Given datalen =  " +
           std::to_string(datalen);
}

}  // namespace

int CMSPBSLCommand::BuildPasswordFrame(unsigned char* buff, int bufflen,
                                       const unsigned char* password, int passwordLen) {
    if (!HasRoom(buff, bufflen, kPasswordFrameBytes)) {
        LogLine(kLogPath, __LINE__, kLogError,
                BufferRefusal("BuildPasswordFrame", kPasswordFrameBytes, bufflen));
        return 0;
    }
    WriteHeader(buff, kReceivePassword, kPasswordBytes, 0, 0);
    if (password == nullptr || passwordLen != kPasswordBytes) {
        // Oddity (default-password): a missing password, or one of any length but 32, is no error:
        // the caller gets a frame with the erased device's password.
        std::memcpy(buff + kHeaderBytes, kDefaultPassword, sizeof(kDefaultPassword));
        LogLine(kLogPath, __LINE__, kLogInfo,
                "CMSPBSLCommand::BuildPasswordFrame using default pwd");
    } else {
        std::memcpy(buff + kHeaderBytes, password, kPasswordBytes);
    }
    return AppendChecksum(buff, kHeaderBytes + kPasswordBytes);
}

int CMSPBSLCommand::BuildWriteDataFrame(unsigned char* buff, int bufflen, const unsigned char* data,
                                        int datalen, unsigned short address) {
    // Oddity (length-minus-one): a length of -1 rounds to 0 and builds a frame without data.
    // Wider than int, so that the largest odd length does not overflow.
    const long long rounded = static_cast<long long>(datalen) + (datalen & 1);
    const bool roomy = rounded + kBareFrameBytes <= bufflen;
    const bool small = rounded <= kMaxDataBytes;

    if (buff != nullptr && roomy && data != nullptr && small && rounded >= 0) {
        const int dataBytes = static_cast<int>(rounded);
        WriteHeader(buff, kReceiveDataBlock, dataBytes, address,
                    static_cast<unsigned short>(dataBytes));
        // Oddity (pad-byte-from-caller): for an odd length the byte that follows the caller's block
        // is read and sent as the last one.
        std::memcpy(buff + kHeaderBytes, data, static_cast<std::size_t>(dataBytes));
        return AppendChecksum(buff, kHeaderBytes + dataBytes);
    }

    // Oddity (write-refusal-pairing): the two lines do not follow their wording. A buffer too small
    // logs the data line, data too long the buffer line, and both faults together log nothing.
    if (buff == nullptr || roomy) {
        LogLine(kLogPath, __LINE__, kLogError, DataRoomRefusal(bufflen, rounded));
    }
    if (data == nullptr || small) {
        LogLine(kLogPath, __LINE__, kLogError, DataRefusal(rounded));
    }
    return 0;
}

int CMSPBSLCommand::BuildReadDataFrame(unsigned char* buff, int bufflen, int count,
                                       unsigned short address) {
    const bool roomy = bufflen >= kBareFrameBytes;
    // Oddity (negative-read-count): a negative count is accepted and its low byte sent.
    if (buff != nullptr && roomy && count <= kMaxDataBytes) {
        return BuildBareFrame(buff, kTransmitDataBlock, address, LowByte(count));
    }
    // Oddity (silent-read-refusal): a present buffer that is too small is refused without a line.
    if (buff == nullptr || roomy) {
        // Oddity (read-refusal-text): the line names BuildWriteDataFrame, not this builder.
        LogLine(kLogPath, __LINE__, kLogError, DataRoomRefusal(bufflen, count));
    }
    return 0;
}

int CMSPBSLCommand::EraseSegmentFrame(unsigned char* buff, int bufflen, unsigned short address) {
    const bool even = (address & 1) == 0;
    const bool roomy = HasRoom(buff, bufflen, kBareFrameBytes);
    if (!even) {
        LogLine(kLogPath, __LINE__, kLogError,
                "CMSPBSLCommand::EraseSegmentFrame given segment address is not even numbered");
    }
    if (!roomy) {
        LogLine(kLogPath, __LINE__, kLogError,
                BufferRefusal("EraseSegmentFrame", kBareFrameBytes, bufflen));
    }
    return even && roomy ? BuildBareFrame(buff, kErase, address, kEraseSegmentControl) : 0;
}

int CMSPBSLCommand::EraseMainOrInfoFrame(unsigned char* buff, int bufflen, unsigned short address) {
    const bool even = (address & 1) == 0;
    const bool roomy = HasRoom(buff, bufflen, kBareFrameBytes);
    if (!even) {
        LogLine(kLogPath, __LINE__, kLogError,
                "CMSPBSLCommand::EraseMainOrInfoFrame given segment address is not even numbered");
    }
    if (!roomy) {
        LogLine(kLogPath, __LINE__, kLogError,
                BufferRefusal("EraseMainOrInfoFrame", kBareFrameBytes, bufflen));
    }
    return even && roomy ? BuildBareFrame(buff, kErase, address, kEraseMainOrInfoControl) : 0;
}

int CMSPBSLCommand::EraseMassFrame(unsigned char* buff, int bufflen) {
    if (!HasRoom(buff, bufflen, kBareFrameBytes)) {
        LogLine(kLogPath, __LINE__, kLogError,
                BufferRefusal("EraseMassFrame", kBareFrameBytes, bufflen));
        return 0;
    }
    return BuildBareFrame(buff, kMassErase, 0xFF00, kMassEraseControl);
}

int CMSPBSLCommand::EraseCheckFrame(unsigned char* buff, int bufflen, unsigned short address,
                                    unsigned short length) {
    if (!HasRoom(buff, bufflen, kBareFrameBytes)) {
        LogLine(kLogPath, __LINE__, kLogError,
                BufferRefusal("EraseCheckFrame", kBareFrameBytes, bufflen));
        return 0;
    }
    return BuildBareFrame(buff, kEraseCheck, address, length);
}

int CMSPBSLCommand::ReceiveBSLVersionFrame(unsigned char* buff, int bufflen) {
    if (!HasRoom(buff, bufflen, kBareFrameBytes)) {
        LogLine(kLogPath, __LINE__, kLogError,
                BufferRefusal("ReceiveBSLVersionFrame", kBareFrameBytes, bufflen));
        return 0;
    }
    return BuildBareFrame(buff, kTransmitVersion, 0xFFFF, 0xFFFF);
}

std::string CMSPBSLCommand::TranslateRetValToString(unsigned char retVal) {
    for (const ReplyName* name = kReplyNames; name->text != nullptr; ++name) {
        if (name->code == retVal) {
            return name->text;
        }
    }
    // Oddity (raw-reply-byte): the line shows the reply as one raw character, not as a number.
    std::string message =
        "CMSPBSLCommand::TranslateRetValToString - no translation found for retVal: ";
    message += static_cast<char>(retVal);
    LogLine(kLogPath, __LINE__, kLogError, message);
    return "Returnvalue translation not found";
}
