// SPDX-License-Identifier: MIT
#include "vboard/host/LineSettings.h"

#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace vboard {
namespace {

struct Speed {
    speed_t constant;
    std::uint32_t bitsPerSecond;
};

constexpr std::array<Speed, 30> kSpeeds{{
    {B50, 50},           {B75, 75},           {B110, 110},         {B134, 134},
    {B150, 150},         {B200, 200},         {B300, 300},         {B600, 600},
    {B1200, 1200},       {B1800, 1800},       {B2400, 2400},       {B4800, 4800},
    {B9600, 9600},       {B19200, 19200},     {B38400, 38400},     {B57600, 57600},
    {B115200, 115200},   {B230400, 230400},   {B460800, 460800},   {B500000, 500000},
    {B576000, 576000},   {B921600, 921600},   {B1000000, 1000000}, {B1152000, 1152000},
    {B1500000, 1500000}, {B2000000, 2000000}, {B2500000, 2500000}, {B3000000, 3000000},
    {B3500000, 3500000}, {B4000000, 4000000},
}};

constexpr std::uint32_t kFallbackBitsPerSecond = 9600;

/// struct termios of the kernel: KernelSettings without the speeds.
constexpr std::size_t kShortSizeBytes = 36;

struct Request {
    unsigned long number;
    bool reads;
    int action;
    std::size_t sizeBytes;
};

constexpr std::array<Request, 8> kRequests{{
    {TCGETS, true, 0, kShortSizeBytes},
    {TCSETS, false, TCSANOW, kShortSizeBytes},
    {TCSETSW, false, TCSADRAIN, kShortSizeBytes},
    {TCSETSF, false, TCSAFLUSH, kShortSizeBytes},
    {0x802C542AUL, true, 0, sizeof(KernelSettings)},           // TCGETS2
    {0x402C542BUL, false, TCSANOW, sizeof(KernelSettings)},    // TCSETS2
    {0x402C542CUL, false, TCSADRAIN, sizeof(KernelSettings)},  // TCSETSW2
    {0x402C542DUL, false, TCSAFLUSH, sizeof(KernelSettings)},  // TCSETSF2
}};

const Request* FindRequest(unsigned long number) {
    const auto* found = std::find_if(kRequests.begin(), kRequests.end(),
                                     [number](const Request& r) { return r.number == number; });
    return found == kRequests.end() ? nullptr : found;
}

std::uint32_t BitsPerSecond(const termios& settings) {
    const speed_t constant = settings.c_cflag & CBAUD;
    if (constant == kOtherSpeed) {
        const speed_t asked = settings.c_ospeed;
        return asked == kOtherSpeed || asked == 0 ? kFallbackBitsPerSecond : asked;
    }
    const auto* found = std::find_if(kSpeeds.begin(), kSpeeds.end(),
                                     [constant](const Speed& s) { return s.constant == constant; });
    return found == kSpeeds.end() ? kFallbackBitsPerSecond : found->bitsPerSecond;
}

std::uint8_t DataBits(tcflag_t flags) {
    switch (flags & CSIZE) {
        case CS5:
            return 5;
        case CS6:
            return 6;
        case CS7:
            return 7;
        default:
            return 8;
    }
}

}  // namespace

termios FirstOpenSettings() {
    termios settings{};
    settings.c_iflag = ICRNL | IXON;
    settings.c_oflag = OPOST | ONLCR;
    settings.c_cflag = B9600 | CS8 | CREAD | HUPCL | CLOCAL;
    settings.c_lflag = ISIG | ICANON | ECHO | ECHOE | ECHOK | ECHOCTL | ECHOKE | IEXTEN;
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    static_cast<void>(cfsetispeed(&settings, B9600));
    static_cast<void>(cfsetospeed(&settings, B9600));
    return settings;
}

SerialFormat FormatOf(const termios& settings) {
    SerialFormat format;
    format.bitsPerSecond = BitsPerSecond(settings);
    format.dataBits = DataBits(settings.c_cflag);
    format.stopBits = (settings.c_cflag & CSTOPB) != 0 ? 2 : 1;
    format.parity = Parity::kNone;
    if ((settings.c_cflag & PARENB) != 0) {
        format.parity = (settings.c_cflag & PARODD) != 0 ? Parity::kOdd : Parity::kEven;
    }
    return format;
}

bool ReadsSettings(unsigned long request) {
    const Request* found = FindRequest(request);
    return found != nullptr && found->reads;
}

std::optional<int> ActionOf(unsigned long request) {
    const Request* found = FindRequest(request);
    return found == nullptr || found->reads ? std::nullopt : std::optional(found->action);
}

std::size_t SettingsBytes(unsigned long request) {
    const Request* found = FindRequest(request);
    return found == nullptr ? 0 : found->sizeBytes;
}

KernelSettings ToKernel(const termios& settings) {
    KernelSettings kernel{settings.c_iflag,
                          settings.c_oflag,
                          settings.c_cflag,
                          settings.c_lflag,
                          settings.c_line,
                          {},
                          0,
                          0};
    std::copy_n(std::begin(settings.c_cc), kernel.controlCharacters.size(),
                kernel.controlCharacters.begin());
    kernel.inputSpeed = BitsPerSecond(settings);
    kernel.outputSpeed = kernel.inputSpeed;
    return kernel;
}

termios FromKernel(const KernelSettings& kernel) {
    termios settings{};
    settings.c_iflag = kernel.inputFlags;
    settings.c_oflag = kernel.outputFlags;
    settings.c_cflag = kernel.controlFlags;
    settings.c_lflag = kernel.localFlags;
    settings.c_line = kernel.lineDiscipline;
    std::copy(kernel.controlCharacters.begin(), kernel.controlCharacters.end(),
              std::begin(settings.c_cc));
    settings.c_ispeed = settings.c_cflag & CBAUD;
    settings.c_ospeed = settings.c_cflag & CBAUD;
    if (settings.c_ospeed == kOtherSpeed && kernel.outputSpeed != 0) {
        settings.c_ospeed = kernel.outputSpeed;
    }
    return settings;
}

void StoreSettings(unsigned long request, const termios& settings, void* argument) {
    const KernelSettings kernel = ToKernel(settings);
    std::memcpy(argument, &kernel, FindRequest(request)->sizeBytes);
}

termios LoadSettings(unsigned long request, const void* argument) {
    std::array<std::uint8_t, sizeof(KernelSettings)> bytes{};
    std::memcpy(bytes.data(), argument, FindRequest(request)->sizeBytes);
    return FromKernel(std::bit_cast<KernelSettings>(bytes));
}

}  // namespace vboard
