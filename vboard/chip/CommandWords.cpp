// SPDX-License-Identifier: MIT
#include "vboard/chip/CommandWords.h"

#include "vboard/probe/LoaderCodes.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

std::string WordsForErase(const Frame& frame) {
    switch (frame.lengthField) {
        case kEraseSegmentWord:
            return Formatted("erase segment at {:#06x}", frame.address);
        case kEraseAreaWord:
            return Formatted("erase main or info at {:#06x}", frame.address);
        default:
            return Formatted("erase {:#06x} at {:#06x}", frame.lengthField, frame.address);
    }
}

std::string PlainWords(const Frame& frame) {
    const auto address = frame.address;
    const auto length = frame.lengthField;
    switch (frame.command) {
        case kReceivePassword:
            return "password";
        case kReceiveBlock:
            return Formatted("write {} bytes at {:#06x}", frame.data.size(), address);
        case kTransmitBlock:
            return Formatted("read {} bytes at {:#06x}", length, address);
        case kEraseFlash:
            return WordsForErase(frame);
        case kMassErase:
            return "mass erase";
        case kLoadProgramCounter:
            return Formatted("load program counter with {:#06x}", address);
        case kEraseCheck:
            return Formatted("erase check of {} bytes at {:#06x}", length, address);
        case kTransmitVersion:
            return "loader version";
        case kChangeSpeed:
            return Formatted("change baud rate to {}", length & 0xFF);
        case kSetMemoryOffset:
            return Formatted("set memory offset to {:#06x}", length);
        default:
            return Formatted("command {:#04x}", frame.command);
    }
}

}  // namespace

std::string CommandWords(const Frame& frame, std::string_view refusal) {
    std::string words = PlainWords(frame);
    if (!refusal.empty()) {
        words.append(": ").append(refusal);
    }
    return words;
}

}  // namespace vboard
