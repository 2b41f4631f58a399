// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "tests/support/Expected.h"

// What the reader of images says, as lines of the conversation.
namespace reader_log {

inline std::string Said(const std::string& level, const std::string& message) {
    return expected::LogOf("IntelHexFileWrapper", level, message);
}

inline const std::string kReadError =
    Said("error", "CIntelHexWrapper::ReadLineToBuffer() Error reading char from file.");
inline const std::string kLineFailed =
    Said("error", "CIntelHexWrapper::GetNextData() ReadLineToBuffer failed ");
// Where the text ends before its end-of-file record.
inline const std::string kEndOfText = kReadError + kLineFailed;

}  // namespace reader_log
