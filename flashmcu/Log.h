// SPDX-License-Identifier: MIT
#ifndef FLASHMCU_LOG_H
#define FLASHMCU_LOG_H

#include <cstdio>
#include <string>

// The one shape of a log line, on standard output: "PATH:LINE LEVEL MESSAGE".
// PATH names the emitting source without its extension (a constant of each source, so that it does
// not depend on where the checkout lies), LINE is __LINE__ of the emitting statement, LEVEL is one
// of the words below. Every level is always printed.
inline constexpr const char* kLogError = "error";
inline constexpr const char* kLogWarn = "warn";
inline constexpr const char* kLogInfo = "info";
inline constexpr const char* kLogVerbose = "verbose";

// Where the lines go instead, in a program that keeps standard output for words of its own. The
// tool sets none.
using LogSink = void (*)(const char* path, int line, const char* level, const std::string& message);
inline LogSink logSink = nullptr;

inline void LogLine(const char* path, int line, const char* level, const std::string& message) {
    if (logSink != nullptr) {
        logSink(path, line, level, message);
        return;
    }
    // Oddity (zero-byte-ends-message): a zero byte inside a message (a raw byte, a file name) ends
    // the printed text there.
    (void)std::printf("%s:%d %s %s\n", path, line, level, message.c_str());
}

#endif
