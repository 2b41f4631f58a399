// SPDX-License-Identifier: MIT
#include "flashmcu/flashmcu.h"

#include <fcntl.h>
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "flashmcu/FWU_MSP.h"
#include "flashmcu/IntelHexFileWrapper.h"
#include "flashmcu/Log.h"

namespace {

constexpr const char* kLogPath = "flashmcu/flashmcu";

constexpr int kSuccess = 0;
constexpr int kFailure = -1;

constexpr int kReplyTimeoutMs = 200;
constexpr unsigned kVersionSettleUs = 500'000;
constexpr unsigned kStartUpUs = 500'000;

constexpr unsigned char kVersionRequest[] = {0x02, 0xB4, 0x00};
constexpr unsigned char kVersionReplyCode = 0xB5;

// The loader's password after the mass erase: the erased interrupt vectors.
constexpr unsigned char kErasedPassword[32] = {
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

bool ApplyBoardModel(std::string_view model, MspBoardProfile& profile) {
    if (model == "BRDA" || model == "BRDB") {
        // Oddity (model-overrides-device): the model's port replaces the one of an earlier -d; a
        // later -d replaces the model's.
        profile.programmingPort = kDefaultBoardProfile.programmingPort;
        profile.resetGpio = kDefaultBoardProfile.resetGpio;
        profile.rxdNmiGpio = kDefaultBoardProfile.rxdNmiGpio;
        profile.tckGpio = kDefaultBoardProfile.tckGpio;
        return true;
    }
    if (model == "BRDC") {
        profile.programmingPort = "/dev/ttymxc1";
        profile.resetGpio = "104";
        profile.rxdNmiGpio = "6";
        profile.tckGpio = "5";
        return true;
    }
    // Oddity (model-errno): nothing has set errno here; the text after the colon has no meaning.
    std::perror("IP module not supported.");
    return false;
}

bool ParseVersionLocation(const char* text, std::uint32_t& location) {
    errno = 0;
    // Oddity (location-unchecked): only a number out of range is refused; letters give 0, digits
    // before letters give their number.
    location = static_cast<std::uint32_t>(std::strtoul(text, nullptr, 0));
    if (errno == ERANGE) {
        std::perror("Parsing version location");
        return false;
    }
    return true;
}

// Takes one option, with `value` if an argument follows it (else null); returns the number of
// arguments taken, 0 on refusal.
int TakeOption(std::string_view option, const char* value, ProgramOptions& options) {
    // Oddity (value-looks-like-option): any following argument is the value, so "-f -F" names a
    // file "-F".
    if (value != nullptr) {
        if (option == "-m") {
            return ApplyBoardModel(value, options.profile) ? 2 : 0;
        }
        if (option == "-d") {
            options.profile.programmingPort = value;
            return 2;
        }
        if (option == "-f") {
            options.hexFile = value;
            return 2;
        }
        if (option == "-c") {
            options.profile.communicationPort = value;
            return 2;
        }
        if (option == "-l") {
            return ParseVersionLocation(value, options.versionLocation) ? 2 : 0;
        }
    }
    if (option == "-F") {
        options.forceProgramming = true;
        return 1;
    }
    if (option == "-r") {
        options.resetOnly = true;
        return 1;
    }
    if (option == "-v") {
        options.readVersionOnly = true;
        return 1;
    }
    return 0;
}

bool ShowCurrentVersion(ProgramOptions& options) {
    options.currentVersion = 0;
    if (!ReadCurrentVersion(options.profile.communicationPort, options.currentVersion)) {
        return false;
    }
    LogLine(kLogPath, __LINE__, kLogInfo,
            "Current MSP version is " + std::to_string(options.currentVersion));
    return true;
}

bool ReadHexVersion(ProgramOptions& options) {
    options.hexVersion = 0;
    // Oddity (location-cut): only the low 16 bits of -l count, so 0x12100 means 0x2100.
    const auto location = static_cast<unsigned short>(options.versionLocation);
    if (!GetHexFileVersion(options.hexFile, location, options.hexVersion)) {
        LogLine(kLogPath, __LINE__, kLogError, "Error reading version from HEX file");
        return false;
    }
    LogLine(kLogPath, __LINE__, kLogInfo,
            "HEX file version is " + std::to_string(options.hexVersion));
    return true;
}

bool CheckNewVersion(ProgramOptions& options) {
    options.currentVersion = 0;
    if (!ReadCurrentVersion(options.profile.communicationPort, options.currentVersion)) {
        return false;
    }
    if (options.currentVersion != options.hexVersion) {
        LogLine(kLogPath, __LINE__, kLogError,
                "New MSP firmware version is " + std::to_string(options.currentVersion) +
                    " which does not match hexfile version");
        return false;
    }
    return true;
}

// Programs the image unless the running firmware is already that version; -F programs always.
bool RunProgramming(ProgramOptions& options) {
    if (!ReadHexVersion(options)) {
        return false;
    }
    if (!options.forceProgramming) {
        if (!ShowCurrentVersion(options)) {
            return false;
        }
        if (options.hexVersion == options.currentVersion) {
            LogLine(kLogPath, __LINE__, kLogInfo,
                    "Not programming MSP because it's firmware version is already current");
            return true;
        }
    }
    if (!ProgramMSP(&options.profile, options.hexFile)) {
        return false;
    }
    (void)usleep(kStartUpUs);
    if (!CheckNewVersion(options)) {
        return false;
    }
    LogLine(kLogPath, __LINE__, kLogVerbose, "Success");
    return true;
}

}  // namespace

CMspCommPort::CMspCommPort() : m_fd(-1) {}

CMspCommPort::~CMspCommPort() {
    if (m_fd >= 0) {
        (void)close(m_fd);
    }
}

bool CMspCommPort::Open(const char* path) {
    if (m_fd >= 0) {
        return false;
    }
    m_fd = open(path, O_RDWR);
    return m_fd >= 0;
}

bool CMspCommPort::ReadMessage(int timeoutMs, std::string& message) {
    if (m_fd < 0 || m_fd >= FD_SETSIZE) {
        return false;
    }
    fd_set readable;
    fd_set writable;
    fd_set exceptional;
    FD_ZERO(&readable);
    FD_ZERO(&writable);
    FD_ZERO(&exceptional);
    FD_SET(m_fd, &readable);
    timeval timeout = {};
    timeout.tv_sec = timeoutMs / 1000;
    timeout.tv_usec = static_cast<suseconds_t>(timeoutMs % 1000) * 1000;
    if (select(m_fd + 1, &readable, &writable, &exceptional, &timeout) <= 0) {
        return false;
    }

    unsigned char length = 0;
    if (read(m_fd, &length, 1) != 1) {
        return false;
    }
    // Oddity (message-body-untimed): the time-out covers only the length byte; a device that
    // withholds the rest holds the program.
    char body[UCHAR_MAX + 1];
    if (read(m_fd, body, length) != length) {
        return false;
    }
    message.assign(body, length);
    return true;
}

bool CMspCommPort::QueryVersion(unsigned short& version) {
    if (m_fd < 0) {
        return false;
    }
    if (write(m_fd, kVersionRequest, sizeof(kVersionRequest)) !=
        static_cast<ssize_t>(sizeof(kVersionRequest))) {
        return false;
    }
    // Oddity (query-without-end): other messages at least every 200 ms keep this loop waiting for
    // as long as they come.
    std::string message;
    while (ReadMessage(kReplyTimeoutMs, message)) {
        if (message.size() >= 3 && static_cast<unsigned char>(message[0]) == kVersionReplyCode) {
            version = static_cast<unsigned short>(static_cast<unsigned char>(message[1]) * 256 +
                                                  static_cast<unsigned char>(message[2]));
            return true;
        }
    }
    return false;
}

void PrintUsage(const char* programName) {
    // Oddity (usage-without-v): the synopsis leaves "-v" out, the list below has it.
    (void)std::printf(
        "%s -f <hexfile> [-m <ip-module>] [-d <update-device>] [-c <comm-device>] "
        "[-l <version-location>] [-F] [-r]\n",
        programName);
    (void)std::puts(
        "    -m: Specifies the IP module settings to be used. Default=BRDA. "
        "Other values: BRDB, BRDC");
    (void)std::puts("    -f: Specifies the HEX file to program into the MSP");
    (void)std::puts(
        "    -d: Specifies the RS232 device connected to the MSP programming port. "
        "Default=/dev/ttyS1");
    (void)std::puts(
        "    -c: Specifies the device connected to the MSP communication port. "
        "Used for checking the firmware version. Default=/dev/knxspi");
    (void)std::puts(
        "    -l: Specifies the location of the 16bit version in the HEX file. Default=0x2100");
    (void)std::puts("    -F: If specified, forces programing without checking the version first");
    (void)std::puts("    -r: If specified, the MSP is just resetted");
    (void)std::puts("    -v: If specified, the current MSP version is just read");
}

bool ResetMSP(const MspBoardProfile* profile) {
    CFWUMsp target(profile);
    LogLine(kLogPath, __LINE__, kLogVerbose, "Detecting MSP...");
    if (!target.RunSystemTest()) {
        LogLine(kLogPath, __LINE__, kLogError, "MSP not found");
        return false;
    }
    LogLine(kLogPath, __LINE__, kLogVerbose, "Resetting MSP...");
    // Oddity (reset-unseen): a reset whose lines or switch fail still counts as done.
    target.RestartMSP();
    return true;
}

bool ReadCurrentVersion(const char* path, unsigned short& version) {
    CMspCommPort port;
    if (!port.Open(path)) {
        LogLine(kLogPath, __LINE__, kLogError, "Error opening MSP for reading version");
        return false;
    }
    if (!port.QueryVersion(version)) {
        // Oddity (no-answer-is-version-0): an MSP that does not answer is no failure; its version
        // counts as the caller's 0, also against an image of version 0.
        LogLine(kLogPath, __LINE__, kLogWarn, "Error reading current version from MSP");
    }
    (void)usleep(kVersionSettleUs);
    return true;
}

bool ProgramMSP(const MspBoardProfile* profile, const char* hexFile) {
    CFWUMsp target(profile);
    LogLine(kLogPath, __LINE__, kLogVerbose, "Detecting MSP...");
    if (!target.RunSystemTest()) {
        LogLine(kLogPath, __LINE__, kLogError, "MSP not found");
        return false;
    }
    LogLine(kLogPath, __LINE__, kLogVerbose, "Erasing MSP...");
    if (!target.ClearMSP()) {
        LogLine(kLogPath, __LINE__, kLogError, "MSP not erased");
        return false;
    }
    LogLine(kLogPath, __LINE__, kLogVerbose, "Programming MSP...");
    if (!target.UpdateMSP(hexFile, kErasedPassword)) {
        LogLine(kLogPath, __LINE__, kLogError, "MSP not programmed");
        return false;
    }
    return true;
}

bool ParseOptions(int argc, char** argv, ProgramOptions& options) {
    bool accepted = argc > 1;
    for (int index = 1; accepted && index < argc;) {
        const char* value = index + 1 < argc ? argv[index + 1] : nullptr;
        const int taken = TakeOption(argv[index], value, options);
        accepted = taken > 0;
        index += taken;
    }
    if (!accepted) {
        PrintUsage(argv[0]);
    }
    return accepted;
}

int RunFlashmcu(int argc, char** argv) {
    ProgramOptions options;
    if (!ParseOptions(argc, argv, options)) {
        return kFailure;
    }
    // Oddity (image-ignored): with -r or -v, -f and -F are accepted and have no effect.
    if (options.resetOnly) {
        if (!ResetMSP(&options.profile)) {
            return kFailure;
        }
        if (!options.readVersionOnly) {
            return kSuccess;
        }
    }
    if (options.readVersionOnly) {
        return ShowCurrentVersion(options) ? kSuccess : kFailure;
    }
    if (options.hexFile == nullptr) {
        PrintUsage(argv[0]);
        return kFailure;
    }
    return RunProgramming(options) ? kSuccess : kFailure;
}

#ifndef FLASHMCU_WITHOUT_MAIN
namespace {

// A standard descriptor that is closed would become the next device that is opened, and the log
// would go into the chip.
void FillClosedStandardDescriptors() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) < 0) {
            (void)open("/dev/null", O_RDWR);  // takes the lowest free number, which is this one
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    FillClosedStandardDescriptors();
    // Whoever reads the log may end before us; the chip must not be left half-written for that.
    (void)std::signal(SIGPIPE, SIG_IGN);
    // A pipe, a journal or a killed run then shows every line up to the moment.
    (void)std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    return RunFlashmcu(argc, argv);
}
#endif
