// SPDX-License-Identifier: MIT
#ifndef FLASHMCU_FLASHMCU_H
#define FLASHMCU_FLASHMCU_H

#include <cstdint>
#include <string>

#include "flashmcu/MspBoardProfile.h"

// The front end: command line, the three flows (reset, read version, program), the version query.

// What holds unless the command line says otherwise: board model BRDA.
inline constexpr MspBoardProfile kDefaultBoardProfile = {
    "/dev/ttyS1", "/dev/knxspi", "90", "86", "91",
};

// The settings of one run. Texts point into the argument vector and are never copied; the record
// outlives every flow.
struct ProgramOptions {
    const char* hexFile = nullptr;           // -f
    bool forceProgramming = false;           // -F
    bool readVersionOnly = false;            // -v
    bool resetOnly = false;                  // -r
    std::uint32_t versionLocation = 0x2100;  // -l; address of the version word in the HEX file
    unsigned short hexVersion = 0;           // read from the HEX file
    unsigned short currentVersion = 0;       // reported by the running firmware
    MspBoardProfile profile = kDefaultBoardProfile;  // -m, -d, -c
};

// One version query to the firmware that runs on the MSP, over the communication device.
//   request        02 B4 00             length, message code, one data byte
//   any message    L, then L bytes      L from 0 to 255
//   version reply  L B5 high low ...    L at least 3; further bytes are ignored
class CMspCommPort {
public:
    CMspCommPort();
    ~CMspCommPort();  // closes the device if it is open

    CMspCommPort(const CMspCommPort&) = delete;
    CMspCommPort& operator=(const CMspCommPort&) = delete;

    // False when the device cannot be opened, or is open already.
    [[nodiscard]] bool Open(const char* path);

    // Waits up to `timeoutMs` for the next message to begin and takes its bytes without the length
    // byte. False on a time-out, an error or a short read; `message` is then left alone.
    [[nodiscard]] bool ReadMessage(int timeoutMs, std::string& message);

    // Asks for the version. False, with `version` left alone, when the device is closed, the
    // request cannot be written, or no message came for 200 ms.
    [[nodiscard]] bool QueryVersion(unsigned short& version);

    int m_fd;  // -1 while closed
};

// Prints the usage text on standard output.
void PrintUsage(const char* programName);

// Detects the MSP and resets it. False when it is not found.
[[nodiscard]] bool ResetMSP(const MspBoardProfile* profile);

// Asks the running firmware for its version. True when the device at `path` could be opened,
// whatever the reply; `version` is written only when a version reply arrived.
[[nodiscard]] bool ReadCurrentVersion(const char* path, unsigned short& version);

// Detects, erases and programs the MSP with the HEX file at path `hexFile`. False, with a line, at
// the first failure.
[[nodiscard]] bool ProgramMSP(const MspBoardProfile* profile, const char* hexFile);

// Takes the arguments into `options`. False on the first one that is wrong, and when there is none;
// the usage text is then printed.
[[nodiscard]] bool ParseOptions(int argc, char** argv, ProgramOptions& options);

// The whole program but for the buffering of standard output. Returns its exit status: 0, or -1
// (255 to the caller) on every failure.
[[nodiscard]] int RunFlashmcu(int argc, char** argv);

#endif
