// SPDX-License-Identifier: MIT
#include "vboard/host/TtyPort.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <chrono>

#include "tests/host/HostBench.h"
#include "vboard/host/LineSettings.h"

namespace host {
namespace {

using std::chrono_literals::operator""ms;

termios Raw(tcflag_t controlFlags, cc_t vmin = 1, cc_t vtime = 0) {
    termios settings = vboard::FirstOpenSettings();
    cfmakeraw(&settings);
    settings.c_cflag |= controlFlags;
    settings.c_cc[VMIN] = vmin;
    settings.c_cc[VTIME] = vtime;
    return settings;
}

/// A chip in its loader behind an open port at 9600 8E1. It answers a sync, 80, with 90.
class LoaderPort : public testing::Test {
protected:
    LoaderPort() : bench(vboard::ChipMode::kLoader), file(bench.port.Open(O_RDWR).file) {
        EXPECT_EQ(file->SetAttributes(TCSANOW, Raw(PARENB)), 0);
    }
    /// The chip sends 90 while the port expects another parity.
    void LetTheChipSpeakWithTheOtherParity(tcflag_t inputFlags) {
        EXPECT_EQ(file->Write(Bytes{0x80}, false), 1);
        EXPECT_EQ(file->Drain(), 0);
        termios odd = Raw(PARENB | PARODD);
        odd.c_iflag |= inputFlags;
        EXPECT_EQ(file->SetAttributes(TCSANOW, odd), 0);
    }
    HostBench bench;
    std::unique_ptr<vboard::DeviceFile> file;
};

TEST_F(LoaderPort, WithoutInpckAParityErrorIsNotSeen) {
    LetTheChipSpeakWithTheOtherParity(0);
    EXPECT_EQ(bench.ReadPort(*file), (Bytes{0x90}));
    EXPECT_NE(bench.scribe.Take().find("port: parity error"), std::string::npos);
}

TEST_F(LoaderPort, WithInpckADamagedCharacterReadsAsZero) {
    LetTheChipSpeakWithTheOtherParity(INPCK);
    EXPECT_EQ(bench.ReadPort(*file), (Bytes{0x00}));
}

TEST_F(LoaderPort, WithIgnparADamagedCharacterIsLeftOut) {
    LetTheChipSpeakWithTheOtherParity(INPCK | IGNPAR);
    EXPECT_EQ(bench.ReadPort(*file), Bytes{});
}

TEST_F(LoaderPort, WithParmrkADamagedCharacterIsMarked) {
    LetTheChipSpeakWithTheOtherParity(INPCK | PARMRK);
    EXPECT_EQ(bench.ReadPort(*file), (Bytes{0xFF, 0x00, 0x90}));
}

TEST_F(LoaderPort, ACharacterWithoutAReceiverIsLost) {
    termios deaf = Raw(PARENB);
    deaf.c_cflag &= ~static_cast<tcflag_t>(CREAD);
    EXPECT_EQ(file->SetAttributes(TCSANOW, deaf), 0);
    EXPECT_EQ(file->Write(Bytes{0x80}, false), 1);
    EXPECT_EQ(bench.ReadPort(*file), Bytes{});
    EXPECT_NE(bench.scribe.Take().find("arrived at a closed receiver"), std::string::npos);
}

TEST_F(LoaderPort, TheLastCloseLetsTheQueueDrainAndForgetsTheRest) {
    EXPECT_EQ(file->Write(Bytes{0x80}, false), 1);
    bench.clock.Pass(5ms);
    EXPECT_EQ(file->Write(Bytes{0x80, 0x80}, false), 2);
    file.reset();
    EXPECT_EQ(bench.serialWire.PendingToChip(), 0U);
    bench.clock.Pass(5ms);
    file = bench.port.Open(O_RDWR).file;
    EXPECT_EQ(bench.ReadPort(*file), Bytes{});
}

TEST_F(LoaderPort, SettingsOutliveTheLastClose) {
    file.reset();
    file = bench.port.Open(O_RDWR).file;
    EXPECT_EQ(vboard::FormatOf(bench.port.Attributes()),
              (vboard::SerialFormat{9600, 8, vboard::Parity::kEven, 1}));
}

TEST_F(LoaderPort, TcsaflushForgetsWhatNobodyRead) {
    EXPECT_EQ(file->Write(Bytes{0x80}, false), 1);
    bench.clock.Pass(5ms);
    EXPECT_EQ(file->SetAttributes(TCSAFLUSH, Raw(PARENB)), 0);
    EXPECT_EQ(bench.ReadPort(*file), Bytes{});
    EXPECT_EQ(file->SetAttributes(17, Raw(PARENB)), -EINVAL);
}

TEST_F(LoaderPort, TcsadrainSendsWithTheOldSettingsFirst) {
    EXPECT_EQ(file->Write(Bytes{0x80}, false), 1);
    EXPECT_EQ(file->SetAttributes(TCSADRAIN, Raw(0)), 0);
    EXPECT_NE(bench.scribe.Take().find("loader_state=answering"), std::string::npos);
}

TEST_F(LoaderPort, SpeedZeroHangsUp) {
    termios hungUp = Raw(PARENB);
    cfsetspeed(&hungUp, B0);
    EXPECT_EQ(file->SetAttributes(TCSANOW, hungUp), 0);
    int lines = 0;
    EXPECT_EQ(file->Ioctl(TIOCMGET, &lines), 0);
    EXPECT_EQ(lines & (TIOCM_DTR | TIOCM_RTS), 0);
}

TEST_F(LoaderPort, ARequestForNothingIsAFault) {
    EXPECT_EQ(file->Ioctl(FIONREAD, nullptr), -EFAULT);
    EXPECT_EQ(file->Ioctl(TIOCMGET, nullptr), -EFAULT);
}

TEST_F(LoaderPort, RequestsByNumberDoWhatTheCallsDo) {
    EXPECT_EQ(file->Write(Bytes{0x80}, false), 1);
    EXPECT_EQ(file->Ioctl(TCSBRK, reinterpret_cast<void*>(1)), 0);
    EXPECT_EQ(bench.serialWire.PendingToChip(), 0U);
    bench.clock.Pass(5ms);
    EXPECT_EQ(file->Ioctl(TCFLSH, reinterpret_cast<void*>(TCIFLUSH)), 0);
    EXPECT_EQ(bench.ReadPort(*file), Bytes{});
    EXPECT_EQ(file->Ioctl(TCFLSH, reinterpret_cast<void*>(9)), -EINVAL);
    EXPECT_EQ(file->Ioctl(TCXONC, reinterpret_cast<void*>(TCOOFF)), 0);
    EXPECT_EQ(file->Ioctl(TCXONC, reinterpret_cast<void*>(9)), -EINVAL);
    winsize size{1, 1, 1, 1};
    EXPECT_EQ(file->Ioctl(TIOCGWINSZ, &size), 0);
    EXPECT_EQ(size.ws_col, 0);
    int discipline = 5;
    EXPECT_EQ(file->Ioctl(TIOCSETD, &discipline), -EINVAL);
    EXPECT_EQ(file->Ioctl(TIOCGETD, &discipline), 0);
    EXPECT_EQ(discipline, 0);
}

TEST_F(LoaderPort, TheFifoHandsOnFewerCharactersAfterFourCharacterTimes) {
    HostBench slow(vboard::ChipMode::kLoader, 16);
    const auto port = slow.port.Open(O_RDWR).file;
    EXPECT_EQ(port->SetAttributes(TCSANOW, Raw(PARENB)), 0);
    EXPECT_EQ(port->Write(Bytes{0x80}, false), 1);
    const vboard::Duration character = vboard::SerialFormat{}.CharacterTime();
    slow.clock.Pass(character * 2);
    EXPECT_FALSE(port->Ready().readable);
    slow.clock.Pass(character * 4);
    EXPECT_TRUE(port->Ready().readable);
}

TEST(LineSettings, EveryStandardSpeedIsKnown) {
    const std::pair<speed_t, std::uint32_t> kSpeeds[] = {
        {B50, 50},           {B300, 300},        {B1200, 1200},     {B9600, 9600},
        {B38400, 38400},     {B115200, 115200},  {B230400, 230400}, {B921600, 921600},
        {B1000000, 1000000}, {B4000000, 4000000}};
    for (const auto& [constant, bitsPerSecond] : kSpeeds) {
        termios settings = vboard::FirstOpenSettings();
        cfsetspeed(&settings, constant);
        EXPECT_EQ(vboard::FormatOf(settings).bitsPerSecond, bitsPerSecond);
    }
}

TEST(LineSettings, SizesParityAndStopBitsAreRead) {
    termios settings = vboard::FirstOpenSettings();
    settings.c_cflag &= ~static_cast<tcflag_t>(CSIZE);
    settings.c_cflag |= CS5 | CSTOPB | PARENB | PARODD;
    EXPECT_EQ(vboard::FormatOf(settings), (vboard::SerialFormat{9600, 5, vboard::Parity::kOdd, 2}));
    settings.c_cflag = B9600 | CS7;
    EXPECT_EQ(vboard::FormatOf(settings),
              (vboard::SerialFormat{9600, 7, vboard::Parity::kNone, 1}));
}

TEST(LineSettings, GoThroughTheKernelsShapeUnchanged) {
    termios settings = Raw(PARENB | CSTOPB, 7, 9);
    const termios back = vboard::FromKernel(vboard::ToKernel(settings));
    EXPECT_EQ(back.c_iflag, settings.c_iflag);
    EXPECT_EQ(back.c_oflag, settings.c_oflag);
    EXPECT_EQ(back.c_cflag, settings.c_cflag);
    EXPECT_EQ(back.c_lflag, settings.c_lflag);
    EXPECT_EQ(back.c_cc[VMIN], 7);
    EXPECT_EQ(back.c_cc[VTIME], 9);
    EXPECT_EQ(cfgetospeed(&back), static_cast<speed_t>(B9600));
}

}  // namespace
}  // namespace host
