// SPDX-License-Identifier: MIT
#include "vboard/host/Host.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <chrono>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/host/HostBench.h"
#include "vboard/faults/FaultTable.h"
#include "vboard/host/LineSettings.h"
#include "vboard/host/RequestMemory.h"
#include "vboard/text/HexText.h"

namespace host {
namespace {

using vboard::CallKind;
using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;
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
    EXPECT_EQ(host.Find("/sys/class/gpio/"), vboard::PathKind::kFolder);
    EXPECT_EQ(host.Find("/dev/ttyS1/"), vboard::PathKind::kNone);
    EXPECT_EQ(host.WhyNone("/dev/ttyS9"), ENOENT);
    EXPECT_EQ(host.WhyNone("/dev/ttyS1/x"), ENOTDIR);
    EXPECT_EQ(host.NamesIn("/sys/class/gpio"), (std::vector<std::string>{"export", "unexport"}));
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

TEST_F(HostTest, SelectCountsNewsOnALineOnce) {
    ASSERT_EQ(bench.WriteGpio("/sys/class/gpio/export", "86"), 2);
    const auto file = Open("/sys/class/gpio/gpio86/value");
    std::vector<vboard::Watched> watched{{file.get(), {false, false, true}, {}}};
    EXPECT_EQ(host.Select("select", watched, std::nullopt), 1);
}

TEST_F(HostTest, SelectCountsWhatAFileIsReadyForAndPollTheFiles) {
    const auto file = Open("/dev/ttyS1");
    const auto other = Open("/dev/knxspi");
    bench.serialWire.Send(0x41, bench.serialWire.HostFormat());
    bench.clock.Pass(5ms);
    std::vector<vboard::Watched> watched{{file.get(), {true, true, true}, {}},
                                         {other.get(), {true, true, false}, {}}};
    EXPECT_EQ(host.Select("select", watched, std::nullopt), 3);
    EXPECT_EQ(host.Select("poll", watched, std::nullopt), 2);
    EXPECT_TRUE(watched[0].ready.readable && watched[0].ready.writable);
    EXPECT_FALSE(watched[0].ready.urgent || watched[1].ready.readable);
    other->device.reset();
    watched[0].wanted.readable = false;
    EXPECT_EQ(host.Select("select", watched, std::nullopt), 1) << "another thread has closed one";
}

TEST_F(HostTest, AWaitEndsWithWhatComesOrWithASignal) {
    const auto file = Open("/dev/ttyS1");
    const auto comm = Open("/dev/knxspi");
    std::vector<vboard::Watched> watched{{file.get(), {true, false, false}, {}}};
    bench.clock.After(2ms, [this] { bench.serialWire.Send(0x41, bench.serialWire.HostFormat()); });
    EXPECT_EQ(host.Select("poll", watched, std::nullopt), 1);
    EXPECT_EQ(bench.clock.Now().time_since_epoch(),
              2ms + bench.serialWire.HostFormat().CharacterTime());
    bench.port.ForgetInput();
    EXPECT_EQ(host.Select("poll", watched, 5ms), 0);
    SignalAfter signal(bench.clock.Now().time_since_epoch() + 1ms);
    bench.clock.SetPacer(&signal);
    bench.clock.After(1s, [] {});
    EXPECT_EQ(host.Select("poll", watched, 5ms), -EINTR);
    Bytes bytes(1);
    EXPECT_EQ(host.Read(*comm, bytes), -EINTR);
    EXPECT_EQ(host.Pause(3ms), 3ms);
    bench.clock.SetPacer(nullptr);
}

/// How a path is opened, and the errno of it.
struct Opening {
    const char* path;
    int flags;
    int error;
};

TEST_F(HostTest, AnOpeningIsRefusedAsLinuxRefusesIt) {
    const Opening kAll[] = {{"/dev/ttyS1", O_RDWR | O_CREAT | O_EXCL, EEXIST},
                            {"/dev/ttyS1", O_RDONLY | O_DIRECTORY, ENOTDIR},
                            {"/dev/ttyS1", O_PATH, EOPNOTSUPP},
                            {"/dev/ttyS1/", O_RDWR, ENOTDIR},
                            {"/dev/ttyS1/x/y", O_RDWR, ENOTDIR},
                            {"/dev/ttyS1", O_RDWR | O_CREAT, 0},
                            {"/dev/ttyS9", O_RDWR | O_CREAT | O_EXCL, ENOENT},
                            {"/sys/class/gpio", O_RDONLY, 0},
                            {"/sys/class/gpio", O_RDWR, EISDIR},
                            {"/sys/class/gpio", O_RDONLY | O_CREAT, EISDIR},
                            {"/sys/class/gpio", O_RDWR | O_TMPFILE, EOPNOTSUPP},
                            {"/sys/class/gpio/export/x", O_WRONLY, ENOTDIR},
                            {"/sys/class/gpio/x/y", O_WRONLY, ENOENT},
                            {"/sys/class/gpio/export", O_WRONLY, 0}};
    for (const Opening& row : kAll) {
        int error = -1;
        EXPECT_EQ(host.Open(CallKind::kOpen, row.path, row.flags, {}, error) == nullptr,
                  row.error != 0)
            << row.path;
        EXPECT_EQ(error, row.error) << row.path << " " << row.flags;
    }
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
    EXPECT_EQ(file->flags, O_RDWR | O_NONBLOCK);
    Bytes buffer(1);
    EXPECT_EQ(host.Read(*file, buffer), -EAGAIN);
    int off = 0;
    EXPECT_EQ(host.Ioctl(*file, FIONBIO, &off), 0);
    EXPECT_EQ(file->flags, O_RDWR);
    EXPECT_EQ(host.Ioctl(*file, FIONBIO, nullptr), -EFAULT);
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

/// Strikes every call with one fault.
class StruckCalls : public vboard::Faults {
public:
    vboard::CallFault FaultOfCall(CallKind kind, std::string_view /*path*/,
                                  std::size_t sizeBytes) override {
        asked += std::string(vboard::InfoOf(vboard::PlaceOf(kind)).word) + " " +
                 std::to_string(sizeBytes) + " ";
        return fault;
    }
    vboard::CallFault fault;
    std::string asked;
};

/// A port whose calls are told, and can be struck.
class ToldPort : public testing::Test {
protected:
    ToldPort() : told(bench.clock, calls, faults, control) {
        told.AddDevice("/dev/ttyS1", bench.port);
        int error = 0;
        file = told.Open(CallKind::kOpen, "/dev/ttyS1", O_RDWR, {}, error);
        static_cast<void>(calls.Take());
        faults.asked.clear();
    }
    /// Every call that has bytes or a fault of its own, one after the other.
    std::string All() {
        using Kind = CallKind;
        int error = 0;
        Bytes buffer{0xEE, 0xEE, 0xEE};
        std::vector<vboard::Watched> watched{{file.get(), {true, true, false}, {}}};
        const bool opened = told.Open(Kind::kFopen, "/dev/ttyS1", O_RDONLY, "r", error) != nullptr;
        std::string results = std::to_string(opened ? 1 : 0) + " " + NameOf(-error);
        int lines = 0;
        for (const auto result :
             {told.Write(Kind::kWrite, *file, buffer), told.Write(Kind::kFlush, *file, Bytes{}),
              told.Ioctl(*file, TIOCMGET, &lines), told.Select("poll", watched, 5ms),
              told.Close(*told.Inherit("/dev/ttyS1", O_RDWR))}) {
            results += " " + NameOf(result);
        }
        return results + "\n" + calls.Take();
    }
    HostBench bench{vboard::ChipMode::kLoader};
    Control control;
    Calls calls;
    StruckCalls faults;
    vboard::Host told;
    std::unique_ptr<vboard::OpenFile> file;
};

TEST_F(ToldPort, CallsThatAreLeftAloneAreToldAsTheyWent) {
    EXPECT_EQ(All(),
              "1 0 3 0 0 1 0\n"
              "fopen /dev/ttyS1 r = 0 \n"
              "> write /dev/ttyS1  = 3 ee ee ee\n"
              "> flush /dev/ttyS1  = 0 \n"
              "> ioctl /dev/ttyS1 TIOCMGET DTR|RTS|CTS|DSR|CAR = 0 \n"
              "poll /dev/ttyS1 timeout 5000 us = 1 \n"
              "close /dev/ttyS1  = 0 \n");
    EXPECT_EQ(told.Pause(1ms), 0ms);
    EXPECT_EQ(faults.asked, "fopen 0 write 3 flush 0 ioctl 0 select 0 close 0 pause 0 ");
    EXPECT_EQ(told.Close(*file), 0);
    EXPECT_EQ(file->device, nullptr);
}

TEST_F(ToldPort, AWaitWhoseOthersAreReadyTakesAMillisecondAndIsToldWithThem) {
    std::vector<vboard::Watched> watched{{file.get(), {true, false, false}, {}}};
    const auto one = [] { return vboard::IoResult{1}; };
    EXPECT_EQ(told.Select("poll", watched, std::nullopt, one), 0);
    EXPECT_EQ(bench.clock.Now().time_since_epoch(), 1ms);
    EXPECT_EQ(calls.Take(), "poll /dev/ttyS1 no timeout = 1 \n");
}

TEST_F(ToldPort, CallsThatAnErrnoStrikesFailWithIt) {
    faults.fault = {vboard::CallFault::Kind::kErrno, EIO, 0, {}};
    EXPECT_EQ(All(),
              "0 EIO EIO EIO EIO EIO EIO\n"
              "fopen /dev/ttyS1 r = EIO \n"
              "write /dev/ttyS1  = EIO ee ee ee\n"
              "flush /dev/ttyS1  = EIO \n"
              "> ioctl /dev/ttyS1 TIOCMGET none = EIO \n"
              "poll /dev/ttyS1  = EIO \n"
              "close /dev/ttyS1  = EIO \n");
    EXPECT_EQ(bench.serialWire.PendingToChip(), 0U);
}

TEST_F(ToldPort, CallsThatEndTheProgramFailWithASignalWhereItGoesOn) {
    faults.fault.kind = vboard::CallFault::Kind::kKill;
    EXPECT_EQ(All().substr(0, 43), "0 EINTR EINTR EINTR EINTR EINTR EINTR\nfopen");
    EXPECT_EQ(control.text, "killed killed killed killed killed killed ");
    control.text.clear();
    faults.fault.kind = vboard::CallFault::Kind::kSilence;
    EXPECT_EQ(All().substr(0, 43), "0 EINTR EINTR EINTR EINTR EINTR EINTR\nfopen");
    EXPECT_EQ(told.Pause(1ms), 0ms);
    EXPECT_EQ(control.text.substr(0, 75),
              "fopen of /dev/ttyS1 waits for a call that was ordered not to return write o");
    EXPECT_NE(control.text.find("pause of  waits for a call"), std::string::npos);
}

TEST_F(ToldPort, CallsThatAreCutShortCarryTheirFirstBytes) {
    faults.fault = {vboard::CallFault::Kind::kCount, 0, 2, {}};
    const std::string kShort =
        "1 0 2 0 0 0 0\n"
        "fopen /dev/ttyS1 r = 0 \n"
        "> write /dev/ttyS1  = 2 ee ee\n"
        "> flush /dev/ttyS1  = 0 \n"
        "> ioctl /dev/ttyS1 TIOCMGET DTR|RTS|CTS|DSR|CAR = 0 \n"
        "poll /dev/ttyS1 timeout 5000 us = 0 \n"
        "close /dev/ttyS1  = 0 \n";
    EXPECT_EQ(All(), kShort);
    for (const std::uint8_t value : Bytes{0x41, 0x42, 0x43}) {
        bench.serialWire.Send(value, bench.serialWire.HostFormat());
    }
    bench.clock.Pass(5ms);
    Bytes read(3);
    EXPECT_EQ(told.Read(*file, read), 2);
    EXPECT_EQ(told.Read(*file, read), 1);
    EXPECT_EQ(calls.Take(), "read /dev/ttyS1  = 2 41 42\nread /dev/ttyS1  = 1 43\n");
    faults.fault.count = 0;
    EXPECT_EQ(told.Write(CallKind::kWrite, *file, Bytes{1, 2}), 0);
    EXPECT_EQ(calls.Take(), "write /dev/ttyS1  = 0 01 02\n");
    Bytes buffer(3);
    EXPECT_EQ(told.Read(*file, buffer), 0);
    faults.fault = {vboard::CallFault::Kind::kBytes, 0, 0, {1, 2, 3, 4}};
    file->nonBlocking = true;
    EXPECT_EQ(told.Read(*file, buffer), 3);
    EXPECT_EQ(calls.Take(), "read /dev/ttyS1  = 0 \nread /dev/ttyS1  = 3 01 02 03\n");
}

TEST_F(ToldPort, CallsOfATerminalAreTold) {
    termios cooked = vboard::FirstOpenSettings();
    EXPECT_EQ(told.Ioctl(*file, TCSETS, &cooked), 0);
    EXPECT_EQ(told.Drain(*file), 0);
    EXPECT_EQ(told.Flush(*file, TCIFLUSH), 0);
    EXPECT_EQ(told.Flush(*file, 9), -EINVAL);
    EXPECT_EQ(told.SendBreak(*file), 0);
    EXPECT_EQ(told.ControlFlow(*file, TCOON), 0);
    std::vector<vboard::Watched> none;
    told.TellSelect("select", none, std::nullopt, -EBADF);
    EXPECT_EQ(calls.Take(),
              "> tcsetattr /dev/ttyS1 9600 8N1 iflag=02400 oflag=05 lflag=0105073 cread clocal "
              "hupcl vmin=1 vtime=0 = 0 \n"
              "tcdrain /dev/ttyS1  = 0 \n"
              "tcflush /dev/ttyS1  = 0 \n"
              "tcflush /dev/ttyS1  = EINVAL \n"
              "tcsendbreak /dev/ttyS1  = 0 \n"
              "tcflow /dev/ttyS1  = 0 \n"
              "select  no timeout = EBADF \n");
}

TEST_F(HostTest, AnInheritedFileIsNoCallOfTheProgram) {
    const auto file = host.Inherit("/dev/ttyS1", O_RDWR | O_NONBLOCK);
    ASSERT_NE(file, nullptr);
    EXPECT_TRUE(file->nonBlocking);
    EXPECT_EQ(host.Inherit("/dev/ttyS7", O_RDWR), nullptr);
}

TEST(RequestMemory, IsWhatARequestReadsAndWrites) {
    const std::tuple<unsigned long, std::size_t, std::size_t> kAll[] = {
        {TCGETS, 0, 36},      {TCSETSF, 36, 0},     {0x802C542AUL, 0, 44}, {0x402C542BUL, 44, 0},
        {FIONREAD, 0, 4},     {TIOCOUTQ, 0, 4},     {TIOCMGET, 0, 4},      {TIOCGEXCL, 0, 4},
        {TIOCGETD, 0, 4},     {TIOCMSET, 4, 0},     {TIOCMBIS, 4, 0},      {TIOCMBIC, 4, 0},
        {TIOCSETD, 4, 0},     {FIONBIO, 4, 0},      {TIOCGWINSZ, 0, 8},    {TIOCGICOUNT, 0, 80},
        {TIOCGSERIAL, 0, 72}, {TIOCSSERIAL, 72, 0}, {TIOCEXCL, 0, 0}};
    for (const auto& [request, read, written] : kAll) {
        const vboard::RequestMemory memory = vboard::MemoryOf(request | 0xFFFFFFFF00000000UL);
        EXPECT_EQ(memory.readBytes, read) << request;
        EXPECT_EQ(memory.writtenBytes, written) << request;
    }
}

}  // namespace
}  // namespace host
