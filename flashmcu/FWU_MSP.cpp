// SPDX-License-Identifier: MIT
#include "flashmcu/FWU_MSP.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/types.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "flashmcu/Log.h"
#include "flashmcu/MSPCommands.h"

namespace {

constexpr const char* kLogPath = "flashmcu/FWU_MSP";

constexpr int kFrameBufferBytes = sizeof(CFWUMsp::m_frameBuffer);

constexpr std::size_t kGpioNumberMaxChars = 31;
constexpr std::size_t kDirectionPathBytes = 64;
constexpr unsigned long kTristateRequest = 0x40046B01;  // _IOW('k', 1, int)

constexpr unsigned kNoPauseUs = 0;
constexpr unsigned kLineSettleUs = 100'000;

constexpr unsigned char kSyncByte = 0x80;
constexpr unsigned short kMainFlashAddress = 0x2100;
constexpr int kEraseRounds = 20;
constexpr int kPasswordBytes = 32;
constexpr int kVersionReplyBytes = 22;
constexpr int kBlockMaxBytes = 250;
constexpr int kBlockAttempts = 3;

void WriteFromStart(std::FILE* file, const char* text, std::size_t length) {
    std::rewind(file);
    // Oddity (write-never-negative): the C library never returns such a count, so this never aborts
    // and write errors stay unnoticed.
    if (static_cast<ssize_t>(std::fwrite(text, 1, length, file)) < 0) {
        std::abort();
    }
}

// The rewind before each number flushes the one before it, so that the kernel gets every number as
// a write of its own.
void WriteGpioNumber(std::FILE* file, const char* gpio) {
    // Oddity (gpio-number-cut): of a number with more than 31 characters the first 31 are written.
    WriteFromStart(file, gpio, strnlen(gpio, kGpioNumberMaxChars));
}

bool FormatDirectionPath(char (&path)[kDirectionPathBytes], const char* gpio) {
    return std::snprintf(path, sizeof(path), "/sys/class/gpio/gpio%s/direction", gpio) >= 0;
}

bool WriteDirection(const char* path, const char* direction) {
    std::FILE* file = std::fopen(path, "rb+");
    if (file == nullptr) {
        return false;
    }
    WriteFromStart(file, direction, std::strlen(direction));
    (void)std::fclose(file);
    return true;
}

speed_t SpeedOf(unsigned baud) {
    switch (baud) {
        case 2400:
            return B2400;
        case 4800:
            return B4800;
        case 19200:
            return B19200;
        case 38400:
            return B38400;
        case 57600:
            return B57600;
        case 115200:
            return B115200;
        case 230400:
            return B230400;
        case 460800:
            return B460800;
        default:
            // Oddity (unknown-baud): every rate that is not listed is taken for 9600, silently.
            return B9600;
    }
}

tcflag_t CharacterSizeOf(unsigned char dataBits) {
    switch (dataBits) {
        case 5:
            return CS5;
        case 6:
            return CS6;
        case 7:
            return CS7;
        default:
            return CS8;
    }
}

unsigned short BigEndianWord(const unsigned char* bytes) {
    return static_cast<unsigned short>(bytes[0] * 256 + bytes[1]);
}

}  // namespace

// ------ lines ------------------------------------------------------------------------------------

CFWUMsp::CFWUMsp(const MspBoardProfile* profile)
    : m_profile(profile), m_serialFd(-1), m_frameBuffer{}, m_dataBuffer{} {
    // Oddity (construction-goes-on): lines that cannot be exported show only as messages; the
    // object is usable either way.
    ExportGPIOs();
}

CFWUMsp::~CFWUMsp() {
    m_hexReader.Close();
    CloseSerial();
    (void)SetGPIOTriState(0);
    UnexportGPIOs();
}

bool CFWUMsp::SetGPIOValue(std::string gpio, bool value) {
    const std::string path = "/sys/class/gpio/gpio" + gpio + "/value";
    std::FILE* file = std::fopen(path.c_str(), "w+");
    if (file == nullptr) {
        LogLine(kLogPath, __LINE__, kLogError,
                "CFWUMsp::SetGPIOValue ->Error opening gpio" + std::move(gpio) + "/value!");
        return false;
    }
    std::rewind(file);
    // Oddity (value-write-unseen): a level that the kernel refuses (a line that is an input) still
    // gives true and no line.
    (void)std::fwrite(value ? "1" : "0", 1, 1, file);
    (void)std::fclose(file);
    return true;
}

bool CFWUMsp::SetGPIOTriState(int state) {
    const int fd = open(m_profile->communicationPort, O_RDWR);
    if (fd < 0) {
        // Oddity (tristate-fixed-path): the message names /dev/knxspi at any device.
        LogLine(kLogPath, __LINE__, kLogError,
                "CFWUMsp::SetGPIOTriState open /dev/knxspi failed fd:" + std::to_string(fd));
        return false;
    }
    int argument = state;
    // Oddity (tristate-switch-unseen): a device that opens but refuses the request gives true.
    (void)ioctl(fd, kTristateRequest, &argument);
    (void)close(fd);
    return true;
}

void CFWUMsp::ExportGPIOs() {
    std::FILE* file = std::fopen("/sys/class/gpio/export", "ab");
    if (file == nullptr) {
        LogLine(kLogPath, __LINE__, kLogError, "MSP Test: Error opening GPIO export!");
        return;
    }
    // Oddity (export-refusal-unseen): the kernel's refusals (line already exported, no such line)
    // are not looked at.
    WriteGpioNumber(file, m_profile->tckGpio);
    WriteGpioNumber(file, m_profile->rxdNmiGpio);
    WriteGpioNumber(file, m_profile->resetGpio);
    (void)std::fclose(file);

    char path[kDirectionPathBytes];
    if (!FormatDirectionPath(path, m_profile->resetGpio)) {
        LogLine(kLogPath, __LINE__, kLogError,
                "MSP Test: Failed to combine the direction file for RESET_GPIO.");
        return;
    }
    if (!WriteDirection(path, "out")) {
        LogLine(kLogPath, __LINE__, kLogError,
                "MSP Test: Error opening the direction file of RESET_GPIO!");
    }
}

void CFWUMsp::UnexportGPIOs() {
    std::FILE* file = std::fopen("/sys/class/gpio/unexport", "ab");
    if (file == nullptr) {
        // Oddity (unexport-says-export): the message is the one of the export file.
        LogLine(kLogPath, __LINE__, kLogError, "MSP Test: Error opening GPIO export!");
        return;
    }
    WriteGpioNumber(file, m_profile->tckGpio);
    WriteGpioNumber(file, m_profile->rxdNmiGpio);
    WriteGpioNumber(file, m_profile->resetGpio);
    (void)std::fclose(file);
}

bool CFWUMsp::SetGPIODirections(bool input) {
    const char* direction = input ? "in" : "out";
    char path[kDirectionPathBytes];

    if (!FormatDirectionPath(path, m_profile->tckGpio)) {
        LogLine(kLogPath, __LINE__, kLogError,
                "MSP Test: Failed to combine the direction file for MSP_TCK_GPIO.");
        return false;
    }
    if (!WriteDirection(path, direction)) {
        LogLine(kLogPath, __LINE__, kLogError,
                "MSP Test: Error opening the direction file of the MSP_TCK_GPIO!");
        return false;
    }

    if (!FormatDirectionPath(path, m_profile->rxdNmiGpio)) {
        LogLine(kLogPath, __LINE__, kLogError,
                "MSP Test: Failed to combine the direction file for RxD_NMI_GPIO.");
        return false;
    }
    if (!WriteDirection(path, direction)) {
        LogLine(kLogPath, __LINE__, kLogError,
                "MSP Test: Error opening the direction file of the RxD_NMI_GPIO!");
        return false;
    }
    return true;
}

bool CFWUMsp::ReleaseGPIOs() {
    // Oddity (release-always-true): lines that could not be let go show only as messages.
    DriveLine(m_profile->rxdNmiGpio, false, kLineSettleUs);
    (void)SetGPIODirections(true);
    return true;
}

bool CFWUMsp::FileExists(const char* path) {
    const std::ifstream file(path);
    return file.is_open();
}

void CFWUMsp::DriveLine(const char* gpio, bool value, unsigned pauseUs) {
    (void)SetGPIOValue(gpio, value);
    if (pauseUs != kNoPauseUs) {
        (void)usleep(pauseUs);
    }
}

// ------ link -------------------------------------------------------------------------------------
//
// Every exchange: clear m_frameBuffer, build, one write, clear it again, one read. No retries, no
// time-out.

bool CFWUMsp::OpenSerial(const char* device, unsigned baud, unsigned char dataBits, bool parity,
                         bool oddParity, bool twoStopBits, bool rtsCts) {
    if (m_serialFd >= 0) {
        return false;
    }
    m_serialFd = open(device, O_RDWR | O_NOCTTY);
    if (m_serialFd == -1) {
        // Oddity (foreign-class-name): the message names a class that this program does not have.
        LogLine(kLogPath, __LINE__, kLogError,
                "TalSerial::Open failed errno: " + std::to_string(errno));
        return false;
    }

    // Oddity (parity-unverified): the input flags stay 0, so even parity is sent but received bytes
    // are taken with any.
    termios settings = {};
    cfmakeraw(&settings);
    const speed_t speed = SpeedOf(baud);
    (void)cfsetispeed(&settings, speed);
    (void)cfsetospeed(&settings, speed);
    // Oddity (always-eight-bits): cfmakeraw has set CS8 and the size is only ORed in, so characters
    // have 8 bits at any dataBits.
    settings.c_cflag |= CREAD | CLOCAL | CharacterSizeOf(dataBits);
    settings.c_cflag |= parity ? PARENB : 0U;
    // Oddity (odd-without-parity): oddParity sets PARODD even where no parity is asked for.
    settings.c_cflag |= oddParity ? PARODD : 0U;
    settings.c_cflag |= twoStopBits ? CSTOPB : 0U;
    settings.c_cflag |= rtsCts ? CRTSCTS : 0U;
    if (tcsetattr(m_serialFd, TCSANOW, &settings) == -1) {
        // Oddity (silent-settings-failure): neither this nor an open port has a line of its own;
        // the caller's shows no reason.
        CloseSerial();
        return false;
    }
    return true;
}

void CFWUMsp::CloseSerial() {
    if (m_serialFd >= 0) {
        (void)close(m_serialFd);
        m_serialFd = -1;
    }
}

int CFWUMsp::ReadReply() {
    ClearFrameBuffer();
    if (m_serialFd < 0) {
        return 0;
    }
    // Oddity (silent-target-blocks): a target that never answers holds the program in this read;
    // nothing ends the wait.
    const ssize_t count = read(m_serialFd, m_frameBuffer, sizeof(m_frameBuffer));
    return std::max(static_cast<int>(count), 0);
}

bool CFWUMsp::SendFrameExpectReply(int frameLength, const unsigned char* expected,
                                   int expectedLength) {
    if (frameLength < 0 || frameLength > kFrameBufferBytes || !SendFrame(frameLength)) {
        return false;
    }
    const int count = ReadReply();
    return count == expectedLength && std::equal(m_frameBuffer, m_frameBuffer + count, expected);
}

bool CFWUMsp::HasProgrammingPort() const {
    return m_profile->programmingPort[0] != '\0';
}

bool CFWUMsp::OpenProgrammingPort() {
    return OpenSerial(m_profile->programmingPort, 9600, 8, true, false, false, false);
}

void CFWUMsp::ClearFrameBuffer() {
    std::memset(m_frameBuffer, 0, sizeof(m_frameBuffer));
}

bool CFWUMsp::SendFrame(int frameLength) {
    return m_serialFd >= 0 &&
           write(m_serialFd, m_frameBuffer, static_cast<std::size_t>(frameLength)) == frameLength;
}

bool CFWUMsp::ExchangeFrame(int frameLength) {
    // Oddity (one-read-one-reply): the reply is whatever one read gives; an acknowledge with a
    // second byte behind it is a failure.
    return SendFrame(frameLength) && ReadReply() == 1 && m_frameBuffer[0] == DATA_ACK;
}

// ------ entry ------------------------------------------------------------------------------------
//
//       ms 0                   500 600 700 800 900 1000
//    RESET ^^^^^^^^^^^^^^^^^^^^______________________    ^ 1   _ 0   x as found
// tristate ^^^^^^^^^^^^^^^^^^^^^^^^__________________
//      TCK xxxxxxxxxxxxxxxxxxxx________^^__^^^^____^^
//  RxD/NMI xxxxxxxxxxxxxxxxxxxx__________________^^^^

bool CFWUMsp::StartBSL() {
    // Oddity (entry-always-true): no step is tested; with every line missing the sequence keeps its
    // timing and still gives true.
    // Oddity (reset-high-twice): the preparation has set this level already.
    DriveLine(m_profile->resetGpio, true, 500'000);
    DriveLine(m_profile->tckGpio, false, kNoPauseUs);
    DriveLine(m_profile->rxdNmiGpio, false, kNoPauseUs);
    DriveLine(m_profile->resetGpio, false, 100'000);
    // Oddity (tristate-off-at-entry): the switch that the preparation turned on goes off before the
    // pulses, not after the work.
    (void)SetGPIOTriState(0);
    (void)usleep(100'000);
    DriveLine(m_profile->tckGpio, true, 50'000);
    DriveLine(m_profile->tckGpio, false, 50'000);
    DriveLine(m_profile->tckGpio, true, 100'000);
    DriveLine(m_profile->tckGpio, false, 50'000);
    DriveLine(m_profile->rxdNmiGpio, true, 50'000);
    DriveLine(m_profile->tckGpio, true, 50'000);
    return true;
}

void CFWUMsp::RestartMSP() {
    (void)SetGPIOTriState(1);
    // Oddity (restart-directions): the BSL lines' directions are left as found; after a detection
    // they are inputs, the kernel refuses both levels unseen, and only RESET_GPIO moves.
    DriveLine(m_profile->tckGpio, false, kNoPauseUs);
    DriveLine(m_profile->rxdNmiGpio, false, kNoPauseUs);
    DriveLine(m_profile->resetGpio, true, 500'000);
    DriveLine(m_profile->resetGpio, false, 100'000);
    (void)SetGPIOTriState(0);
    (void)usleep(100'000);
}

// ------ session ----------------------------------------------------------------------------------

bool CFWUMsp::SendSync() {
    ClearFrameBuffer();
    m_frameBuffer[0] = kSyncByte;
    return ExchangeFrame(1);
}

bool CFWUMsp::SendPassword(const unsigned char* password) {
    ClearFrameBuffer();
    const int frameLength = CMSPBSLCommand::BuildPasswordFrame(m_frameBuffer, kFrameBufferBytes,
                                                               password, kPasswordBytes);
    return frameLength != 0 && ExchangeFrame(frameLength);
}

bool CFWUMsp::WriteDataBlock(const unsigned char* data, int length, unsigned short address) {
    ClearFrameBuffer();
    const int frameLength = CMSPBSLCommand::BuildWriteDataFrame(m_frameBuffer, kFrameBufferBytes,
                                                                data, length, address);
    return frameLength != 0 && ExchangeFrame(frameLength);
}

bool CFWUMsp::EraseMainFlashSegment() {
    // Older chips need several erase cycles in a row: the rounds are the design, not retries.
    for (int round = 0; round < kEraseRounds; ++round) {
        if (!SendSync()) {
            // Oddity (erase-without-sync): a failed sync costs only its round; with all 20 failed
            // nothing was erased and the result is true.
            LogLine(kLogPath, __LINE__, kLogError,
                    "bool CFWUMsp::EraseMainFlashSegment() send sync failed in round " +
                        std::to_string(round));
            continue;
        }
        ClearFrameBuffer();
        const int frameLength = CMSPBSLCommand::EraseMainOrInfoFrame(
            m_frameBuffer, kFrameBufferBytes, kMainFlashAddress);
        if (frameLength == 0) {
            continue;
        }
        if (!ExchangeFrame(frameLength)) {
            const std::string number = std::to_string(round);
            LogLine(kLogPath, __LINE__, kLogError,
                    "bool CFWUMsp::EraseMainFlashSegment() failed in round " + number);
            return false;
        }
    }
    return true;
}

bool CFWUMsp::GetBSLVersion(unsigned short* deviceFamily, unsigned short* bslVersion,
                            const unsigned char* password) {
    if (!HasProgrammingPort()) {
        LogLine(kLogPath, __LINE__, kLogError, "CFWUMsp::GetBSLVersion -> No comport specified!");
        return false;
    }
    (void)SetGPIOTriState(1);
    DriveLine(m_profile->resetGpio, true, kLineSettleUs);
    if (!SetGPIODirections(false)) {
        (void)SetGPIODirections(true);
        return false;
    }
    if (!StartBSL()) {
        ReleaseAfterBSL();
        return false;
    }
    if (!OpenProgrammingPort()) {
        LogLine(kLogPath, __LINE__, kLogError, "CFWUMsp::GetBSLVersion -> error opening comport");
        ReleaseAfterBSL();
        return false;
    }
    // Oddity (version-silent-failure): a failed sync or password has no line; the caller sees
    // false.
    if (!SendSync() || !SendPassword(password) || !SendSync() || !RequestBSLVersion() ||
        !ReceiveBSLVersion(deviceFamily, bslVersion)) {
        CloseSerial();
        ReleaseAfterBSL();
        return false;
    }
    // Oddity (version-leaves-port-open): after success the port and the lines stay as they are, so
    // a second call cannot open the port.
    return true;
}

void CFWUMsp::ReleaseAfterBSL() {
    (void)ReleaseGPIOs();
    (void)SetGPIODirections(true);
}

bool CFWUMsp::RequestBSLVersion() {
    ClearFrameBuffer();
    const int frameLength =
        CMSPBSLCommand::ReceiveBSLVersionFrame(m_frameBuffer, kFrameBufferBytes);
    // Oddity (inverted-version-write): a request that was written in full ends the call with false
    // and no line; the reply is read only after a write that fell short.
    return frameLength != 0 && !SendFrame(frameLength);
}

bool CFWUMsp::ReceiveBSLVersion(unsigned short* deviceFamily, unsigned short* bslVersion) {
    if (ReadReply() != kVersionReplyBytes) {
        LogLine(kLogPath, __LINE__, kLogError,
                "CFWUMsp::GetBSLVersion Respond has a wrong count of bytes");
        return false;
    }
    // Oddity (version-reply-unchecked): the reply's header and checksum are not looked at.
    *deviceFamily = BigEndianWord(m_frameBuffer + 4);
    *bslVersion = BigEndianWord(m_frameBuffer + 18);
    LogLine(kLogPath, __LINE__, kLogInfo,
            "CFWUMsp::GetBSLVersion DeviceFamily: " + std::to_string(*deviceFamily) +
                " BSL: " + std::to_string(*bslVersion));
    return true;
}

// ------ download ---------------------------------------------------------------------------------

bool CFWUMsp::SendFirmwareToMSP() {
    // Oddity (stale-pad-byte): the buffer is cleared only here, so an odd record sends one byte of
    // an earlier, longer record after its own (0 when there was none).
    std::memset(m_dataBuffer, 0, sizeof(m_dataBuffer));
    unsigned short wAddress = 0;
    int nRead = 0;
    bool result = false;

    // Oddity (unreadable-record-ends-download): a record that cannot be taken ends the loop like
    // the end-of-file record: success after at least one block, the rest of the image unwritten.
    while (m_hexReader.GetNextData(m_dataBuffer, kBlockMaxBytes, wAddress, nRead)) {
        if (nRead <= 0) {
            continue;
        }
        result = true;
        int tryCount = 0;
        bool accepted = false;
        while (!accepted) {
            if (!SendSync()) {
                // Oddity (sync-failure-is-success): before a block's first frame the result is
                // still true here, so the download ends early and reports success.
                LogLine(kLogPath, __LINE__, kLogError,
                        "CFWUMsp::SendFirmwareToMSP -> error send sync for address: " +
                            std::to_string(wAddress));
                return result;
            }
            accepted = WriteDataBlock(m_dataBuffer, nRead, wAddress);
            result = accepted;
            if (!accepted) {
                ++tryCount;
                LogLine(kLogPath, __LINE__, kLogError,
                        "CFWUMsp::SendFirmwareToMSP -> error WriteDataBlock nRead " +
                            std::to_string(nRead) + " wAddress " + std::to_string(wAddress) +
                            " try " + std::to_string(tryCount));
                if (tryCount == kBlockAttempts) {
                    return false;
                }
            }
        }
    }

    if (!result) {
        LogLine(kLogPath, __LINE__, kLogError,
                "CFWUMsp::SendFirmwareToMSP -> error getting first data");
    }
    return result;
}

// ------ operations -------------------------------------------------------------------------------
//
// Oddity (cleanup-differs): after a failed direction step RunSystemTest releases the BSL lines,
// ClearMSP only turns them to input, and UpdateMSP leaves them as they are.
//
// Oddity (tristate-left-on): a failure between tristate on and StartBSL leaves the switch on until
// the object is destroyed.
//
// Oddity (silent-no-answer): RunSystemTest and ClearMSP have no error line of their own for a sync
// that is not acknowledged.

bool CFWUMsp::RunSystemTest() {
    if (!HasProgrammingPort()) {
        LogLine(kLogPath, __LINE__, kLogError, "CFWUMsp::RunSystemTest -> No comport specified!");
        return false;
    }
    if (!SetGPIOTriState(1)) {
        LogLine(kLogPath, __LINE__, kLogError,
                "CFWUMsp::RunSystemTest -> error setting gpio to tristate mode");
        return false;
    }
    DriveLine(m_profile->resetGpio, true, kLineSettleUs);
    const bool result = SetGPIODirections(false) && EnterAndDetect();
    (void)ReleaseGPIOs();
    return result;
}

bool CFWUMsp::EnterAndDetect() {
    LogLine(kLogPath, __LINE__, kLogVerbose, "StartBSL()");
    if (!StartBSL()) {
        return false;
    }
    LogLine(kLogPath, __LINE__, kLogVerbose, "OpenSerial()");
    if (!OpenProgrammingPort()) {
        LogLine(kLogPath, __LINE__, kLogError, "CFWUMsp::RunSystemTest -> error opening comport");
        return false;
    }
    LogLine(kLogPath, __LINE__, kLogVerbose, "SendSync()");
    const bool synchronised = SendSync();
    if (synchronised) {
        LogLine(kLogPath, __LINE__, kLogInfo,
                "CFWUMsp::RunSystemTest -> SendSync OK -> SystemTest OK");
    }
    CloseSerial();
    return synchronised;
}

bool CFWUMsp::ClearMSP() {
    if (!HasProgrammingPort()) {
        LogLine(kLogPath, __LINE__, kLogError, "CFWUMsp::ClearMSP -> No comport specified!");
        return false;
    }
    bool result = false;
    if (!SetGPIOTriState(1)) {
        LogLine(kLogPath, __LINE__, kLogError,
                "CFWUMsp::ClearMSP -> error setting gpio to tristate mode");
    } else {
        DriveLine(m_profile->resetGpio, true, kLineSettleUs);
        if (SetGPIODirections(false)) {
            result = EnterAndMassErase();
            (void)ReleaseGPIOs();
        }
    }
    // Oddity (doubled-release): ReleaseGPIOs has turned both lines to input already; they are
    // turned once more.
    (void)SetGPIODirections(true);
    return result;
}

bool CFWUMsp::EnterAndMassErase() {
    LogLine(kLogPath, __LINE__, kLogVerbose, "StartBSL()");
    if (!StartBSL()) {
        return false;
    }
    LogLine(kLogPath, __LINE__, kLogVerbose, "OpenSerial()");
    if (!OpenProgrammingPort()) {
        LogLine(kLogPath, __LINE__, kLogError, "CFWUMsp::ClearMSP -> error opening comport");
        return false;
    }
    LogLine(kLogPath, __LINE__, kLogVerbose, "SendSync()");
    const bool result = SendSync() && MassErase();
    CloseSerial();
    return result;
}

bool CFWUMsp::MassErase() {
    ClearFrameBuffer();
    const int frameLength = CMSPBSLCommand::EraseMassFrame(m_frameBuffer, kFrameBufferBytes);
    if (frameLength == 0) {
        return false;
    }
    if (!ExchangeFrame(frameLength)) {
        LogLine(kLogPath, __LINE__, kLogError, "CFWUMsp::ClearMSP() failed");
        return false;
    }
    return true;
}

bool CFWUMsp::UpdateMSP(const std::string& fileName, const unsigned char* password) {
    LogLine(kLogPath, __LINE__, kLogInfo, "CFWUMsp::UpdateMSP -> starting update MSP");
    if (!HasProgrammingPort() || fileName.empty()) {
        // Oddity (no-comport-for-no-file): one message for two faults; this is also the one way out
        // without the "finish" line.
        LogLine(kLogPath, __LINE__, kLogError, "CFWUMsp::UpdateMSP -> No comport specified!");
        return false;
    }
    bool result = false;
    if (!m_hexReader.Open(fileName)) {
        LogLine(kLogPath, __LINE__, kLogError,
                "CFWUMsp::UpdateMSP -> error opening file: " + fileName);
    } else {
        result = PrepareAndProgram(password);
        m_hexReader.Close();
    }
    LogLine(kLogPath, __LINE__, kLogInfo, "CFWUMsp::UpdateMSP -> finish update MSP");
    return result;
}

bool CFWUMsp::PrepareAndProgram(const unsigned char* password) {
    if (!SetGPIOTriState(1)) {
        // Oddity (tristate-text-differs): worded and capitalised unlike the same fault in the other
        // two operations.
        LogLine(kLogPath, __LINE__, kLogError, "CFWUMsp::UpdateMSP -> Error setting gpio tristate");
        return false;
    }
    DriveLine(m_profile->resetGpio, true, kLineSettleUs);
    if (!SetGPIODirections(false)) {
        return false;
    }
    const bool result = EnterAndProgram(password);
    (void)ReleaseGPIOs();
    return result;
}

bool CFWUMsp::EnterAndProgram(const unsigned char* password) {
    if (!StartBSL()) {
        LogLine(kLogPath, __LINE__, kLogError, "CFWUMsp::UpdateMSP -> error starting bsl");
        return false;
    }
    if (!OpenProgrammingPort()) {
        LogLine(kLogPath, __LINE__, kLogError, "CFWUMsp::UpdateMSP -> error opening comport");
        return false;
    }
    const bool result = ProgramInSession(password);
    CloseSerial();
    return result;
}

bool CFWUMsp::ProgramInSession(const unsigned char* password) {
    if (!SendSync()) {
        LogLine(kLogPath, __LINE__, kLogError, "CFWUMsp::UpdateMSP -> error send sync");
        return false;
    }
    if (!SendPassword(password)) {
        LogLine(kLogPath, __LINE__, kLogError, "CFWUMsp::UpdateMSP -> error send password");
        return false;
    }
    if (!EraseMainFlashSegment()) {
        LogLine(kLogPath, __LINE__, kLogError, "CFWUMsp::UpdateMSP -> error Erase Main Flash");
        return false;
    }
    if (!SendFirmwareToMSP()) {
        LogLine(kLogPath, __LINE__, kLogError, "CFWUMsp::UpdateMSP -> error sending firmware");
        return false;
    }
    return true;
}
