// SPDX-License-Identifier: MIT
#include "vboard/host/Host.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <chrono>
#include <utility>
#include <vector>

#include "tests/host/HostBench.h"
#include "vboard/text/HexText.h"

namespace host {
namespace {

using vboard::CallKind;
using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""us;

/// What happens to a program from outside, written down; both return, as in no real run.
class Control : public vboard::ProgramControl {
public:
    void Kill() override { text += "killed "; }
    void WaitsForEver(std::string_view call, std::string_view path,
                      std::string_view awaited) override {
        text += std::string(call) + " of " + std::string(path) + " waits for " +
                std::string(awaited) + " ";
    }
    std::string text;
};

class HostTest : public testing::Test {
protected:
    HostTest() : host(bench.clock, bench.scribe, bench.faults, control) {
        host.AddGpios(bench.gpios);
        host.AddDevice("/dev/ttyS1", bench.port);
        host.AddDevice("/dev/knxspi", bench.comm);
    }
    std::unique_ptr<vboard::OpenFile> Open(std::string_view path, int flags = O_RDWR) {
        int error = 0;
        return host.Open(CallKind::kOpen, path, flags, {}, error);
    }
    int OpenError(std::string_view path) {
        int error = 0;
        EXPECT_EQ(host.Open(CallKind::kOpen, path, O_RDWR, {}, error), nullptr);
        return error;
    }
    HostBench bench{vboard::ChipMode::kLoader};
    Control control;
    vboard::Host host;
};

TEST_F(HostTest, OwnsItsDevicesAndAllHardwareOfTheirKind) {
    for (const char* path : {"/dev/ttyS1", "/dev/knxspi", "/dev/ttyS0", "/dev/ttyUSB3",
                             "/dev/ttymxc1", "/sys/class/gpio", "/sys/class/gpio/gpio1/value"}) {
        EXPECT_TRUE(host.Owns(path)) << path;
    }
    for (const char* path : {"/dev/null", "/dev/tty", "/sys/class/gpiochip", "/etc/passwd", ""}) {
        EXPECT_FALSE(host.Owns(path)) << path;
    }
}

TEST_F(HostTest, KnowsWhatAPathNames) {
    EXPECT_EQ(host.Find("/dev/ttyS1"), vboard::PathKind::kTerminal);
    EXPECT_EQ(host.Find("/dev/knxspi"), vboard::PathKind::kDevice);
    EXPECT_EQ(host.Find("/sys/class/gpio/export"), vboard::PathKind::kFile);
    EXPECT_EQ(host.Find("/sys/class/gpio"), vboard::PathKind::kFolder);
    EXPECT_EQ(host.Find("/dev/ttyS0"), vboard::PathKind::kNone);
}

TEST_F(HostTest, WhatTheBoardDoesNotHaveIsNotThere) {
    EXPECT_EQ(OpenError("/dev/ttyS0"), ENOENT);
    EXPECT_EQ(OpenError("/sys/class/gpio/gpio90/value"), ENOENT);
}

TEST_F(HostTest, AReadThatNothingCanAnswerIsAVerdict) {
    const auto file = Open("/dev/ttyS1");
    Bytes buffer(1);
    EXPECT_EQ(host.Read(*file, buffer), -EINTR);
    EXPECT_EQ(control.text, "read of /dev/ttyS1 waits for a byte ");
}

TEST_F(HostTest, AWaitWithOthersIsLeftToThem) {
    const auto file = Open("/dev/ttyS1");
    std::vector<vboard::Watched> watched{{file.get(), {true, false}, {}}};
    EXPECT_EQ(host.Select("poll", watched, std::nullopt, [] { return false; }),
              vboard::kWouldWaitForEver);
    EXPECT_EQ(control.text, "");
    EXPECT_EQ(host.Select("poll", watched, std::nullopt), -EINTR);
    EXPECT_EQ(control.text, "poll of /dev/ttyS1 waits for a file to become ready ");
}

TEST_F(HostTest, AQuestionWithoutAWaitMovesTheClockAndAnswersForItsOwnMoment) {
    const auto file = Open("/dev/ttyS1");
    termios settings{};
    EXPECT_EQ(host.GetAttributes(*file, settings), 0);
    settings.c_cflag |= PARENB;
    EXPECT_EQ(host.SetAttributes(*file, TCSANOW, settings), 0);
    EXPECT_EQ(host.Write(CallKind::kWrite, *file, Bytes{0x80}), 1);
    std::vector<vboard::Watched> watched{{file.get(), {true, false}, {}}};
    EXPECT_EQ(host.Select("poll", watched, vboard::Duration{0}), 0);
    EXPECT_FALSE(watched[0].ready.readable);
    EXPECT_EQ(bench.clock.Now().time_since_epoch(), 1ms);
    EXPECT_EQ(host.Select("poll", watched, vboard::Duration{0}), 0);
    EXPECT_EQ(bench.clock.Now().time_since_epoch(), 2ms);
    // The answer comes 292 microseconds later: the third question does not sleep through it.
    EXPECT_EQ(host.Select("poll", watched, vboard::Duration{0}), 0);
    EXPECT_LT(bench.clock.Now().time_since_epoch(), 2300us);
    EXPECT_EQ(host.Select("poll", watched, vboard::Duration{0}), 1);
    EXPECT_TRUE(watched[0].ready.readable);
}

TEST_F(HostTest, AskingForTheTimeTakesAMicrosecond) {
    EXPECT_EQ(host.AskTime().time_since_epoch(), 0us);
    EXPECT_EQ(host.AskTime().time_since_epoch(), 1us);
}

TEST_F(HostTest, ADescriptorDoesOnlyWhatItWasOpenedFor) {
    Bytes buffer(1);
    EXPECT_EQ(host.Read(*Open("/dev/ttyS1", O_WRONLY), buffer), -EBADF);
    EXPECT_EQ(host.Write(CallKind::kWrite, *Open("/dev/ttyS1", O_RDONLY), Bytes{1}), -EBADF);
}

TEST_F(HostTest, ARequestFilledUpWithItsSignIsTheSame) {
    const auto file = Open("/dev/ttyS1");
    std::array<std::uint8_t, 64> settings{};
    const auto signExtended =
        static_cast<unsigned long>(static_cast<long>(static_cast<std::int32_t>(0x802C542AU)));
    EXPECT_EQ(host.Ioctl(*file, signExtended, settings.data()), 0);
    EXPECT_EQ(host.Ioctl(*Open("/dev/knxspi"), TCGETS, settings.data()), -ENOTTY);
    EXPECT_EQ(host.Ioctl(*file, TCGETS, nullptr), -EFAULT);
}

TEST_F(HostTest, FionbioTurnsWaitingOff) {
    const auto file = Open("/dev/ttyS1");
    int on = 1;
    EXPECT_EQ(host.Ioctl(*file, FIONBIO, &on), 0);
    Bytes buffer(1);
    EXPECT_EQ(host.Read(*file, buffer), -EAGAIN);
}

/// What a program's calls announce: ">" as one begins to act, and the call when it has ended.
class Calls : public vboard::Probe {
public:
    [[nodiscard]] bool Listening() const override { return true; }
    void OnCallBegins() override { m_text += "> "; }
    void OnCall(const vboard::HostCall& call) override {
        m_text += std::string(call.name) + " " + std::string(call.target) + " " +
                  std::string(call.detail) + " = " + NameOf(call.result) + " " +
                  vboard::HexText(call.data) + "\n";
    }
    std::string Take() { return std::exchange(m_text, {}); }

private:
    std::string m_text;
};

TEST_F(HostTest, EveryFlagOfAnOpeningHasItsWord) {
    Calls calls;
    vboard::Host told(bench.clock, calls, bench.faults, control);
    told.AddDevice("/dev/ttyS1", bench.port);
    for (const auto& [flags, words] :
         {std::pair(O_RDONLY | O_NOCTTY, "O_RDONLY|O_NOCTTY"),
          {O_WRONLY | O_NONBLOCK | O_TRUNC, "O_WRONLY|O_NONBLOCK|O_TRUNC"},
          {O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, "O_RDWR|O_CREAT|O_APPEND|O_CLOEXEC"}}) {
        int error = 0;
        EXPECT_NE(told.Open(CallKind::kOpen, "/dev/ttyS1", flags, {}, error), nullptr);
        const std::string text = calls.Take();
        EXPECT_NE(text.find(std::string("open /dev/ttyS1 ") + words + " = "), std::string::npos)
            << text;
    }
}

TEST_F(HostTest, TellsACallWhenItHasEndedAndBeforeWhenItBeginsToAct) {
    Calls calls;
    vboard::Host told(bench.clock, calls, bench.faults, control);
    told.AddDevice("/dev/ttyS1", bench.port);
    int error = 0;
    const auto file = told.Open(CallKind::kOpen, "/dev/ttyS1", O_RDWR, {}, error);
    termios settings{};
    EXPECT_EQ(told.GetAttributes(*file, settings), 0);
    settings.c_iflag = settings.c_oflag = settings.c_lflag = 0;
    settings.c_cflag = B19200 | CS7 | CSTOPB | PARENB | PARODD | CREAD | CLOCAL | CRTSCTS | HUPCL;
    static_cast<void>(calls.Take());
    EXPECT_EQ(told.SetAttributes(*file, TCSANOW, settings), 0);
    EXPECT_EQ(calls.Take(),
              "> tcsetattr /dev/ttyS1 19200 7O2 raw cread clocal crtscts hupcl vmin=1 "
              "vtime=0 = 0 \n");
    EXPECT_EQ(told.Write(CallKind::kWrite, *file, Bytes{0x80}), 1);
    EXPECT_EQ(calls.Take(), "> write /dev/ttyS1  = 1 80\n");
    EXPECT_EQ(told.Write(CallKind::kWrite, *file, {static_cast<std::uint8_t*>(nullptr), 1}),
              -EFAULT);
    EXPECT_EQ(calls.Take(), "");
}

TEST_F(HostTest, AnInheritedFileIsNoCallOfTheProgram) {
    const auto file = host.Inherit("/dev/ttyS1", O_RDWR | O_NONBLOCK);
    ASSERT_NE(file, nullptr);
    EXPECT_TRUE(file->nonBlocking);
    EXPECT_EQ(host.Inherit("/dev/ttyS7", O_RDWR), nullptr);
}

}  // namespace
}  // namespace host
