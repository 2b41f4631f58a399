// SPDX-License-Identifier: MIT
#include "guard/link/Port.h"

#include <termios.h>
#include <unistd.h>

#include <array>

namespace guard {
namespace {

using std::chrono_literals::operator""ms;

constexpr int kPortTries = 3;
constexpr Milliseconds kReadLimit = 100ms;  // VTIME 1
constexpr int kGapReads = 2;
constexpr std::size_t kMostDrained = 1000;

speed_t ConstantOf(unsigned baud) {
    switch (baud) {
        case 19200:
            return B19200;
        case 38400:
            return B38400;
        default:
            return B9600;
    }
}

}  // namespace

bool Port::Open() {
    CFWUMsp& controller = m_target.Controller();
    for (int round = 0; round < kPortTries; ++round) {
        if (controller.OpenSerial(m_target.TheBoard().port.c_str(), kFirstBaud, 8, true, false,
                                  false, false)) {
            if (Configure(kFirstBaud)) {
                return true;
            }
            controller.CloseSerial();
        }
    }
    return false;
}

void Port::Close() {
    if (m_target.Made()) {
        m_target.Controller().CloseSerial();
    }
}

bool Port::Configure(unsigned baud) {
    const int file = m_target.Controller().m_serialFd;
    termios settings{};
    if (tcgetattr(file, &settings) != 0) {
        return false;
    }
    settings.c_iflag |= INPCK;
    settings.c_cc[VMIN] = 0;
    settings.c_cc[VTIME] = 1;
    (void)cfsetispeed(&settings, ConstantOf(baud));
    (void)cfsetospeed(&settings, ConstantOf(baud));
    if (tcsetattr(file, TCSANOW, &settings) != 0) {
        return false;
    }
    m_baud = baud;
    return true;
}

bool Port::ChangeBaud(unsigned baud) {
    for (int round = 0; round < kPortTries; ++round) {
        if (Configure(baud)) {
            return true;
        }
    }
    return false;
}

Duration Port::TimeOf(std::size_t count) const {
    constexpr std::uint64_t kSecond = 1'000'000'000;
    return Duration{static_cast<Duration::rep>(count * kBitsPerCharacter * kSecond / m_baud)};
}

bool Port::Send(std::span<const std::uint8_t> bytes) {
    const int file = m_target.Controller().m_serialFd;
    for (int round = 0; round < kPortTries && !bytes.empty(); ++round) {
        const ssize_t count = write(file, bytes.data(), bytes.size());
        bytes = bytes.subspan(count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return bytes.empty();
}

std::size_t Port::Receive(std::span<std::uint8_t> buffer, Duration limit) {
    const int file = m_target.Controller().m_serialFd;
    std::size_t got = 0;
    auto readsLeft = limit / kReadLimit + 1;
    while (got < buffer.size() && readsLeft > 0) {
        const ssize_t count = read(file, buffer.data() + got, buffer.size() - got);
        --readsLeft;
        if (count > 0) {
            got += static_cast<std::size_t>(count);
            readsLeft = kGapReads;
        }
    }
    return got;
}

void Port::Forget() {
    (void)tcflush(m_target.Controller().m_serialFd, TCIOFLUSH);
}

std::size_t Port::Drain() {
    Forget();
    const int file = m_target.Controller().m_serialFd;
    std::array<std::uint8_t, 64> waste;
    std::size_t total = 0;
    ssize_t count = 0;
    do {
        count = read(file, waste.data(), waste.size());
        total += count > 0 ? static_cast<std::size_t>(count) : 0;
    } while (count > 0 && total < kMostDrained);
    return total;
}

}  // namespace guard
