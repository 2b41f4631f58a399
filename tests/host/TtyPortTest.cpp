// SPDX-License-Identifier: MIT
#include "vboard/host/TtyPort.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/serial.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <type_traits>
#include <utility>

#include "tests/host/HostBench.h"
#include "vboard/host/LineSettings.h"
#include "vboard/text/Format.h"
#include "vboard/text/HexText.h"

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
    HostBench bench;
    std::unique_ptr<vboard::DeviceFile> file;
};

constexpr vboard::SerialFormat kSound{9600, 8, vboard::Parity::kEven, 1};
constexpr vboard::SerialFormat kOddParity{9600, 8, vboard::Parity::kOdd, 1};
constexpr vboard::SerialFormat kSlow{4800, 8, vboard::Parity::kNone, 1};

/// What the chip sends, in which format, and what the program reads of it with these input flags.
struct Arrival {
    tcflag_t inputFlags;
    std::uint8_t value;
    vboard::SerialFormat format;
    const char* read;
    const char* announced;
};

TEST_F(LoaderPort, DamagedCharactersAreSeenAsTheInputFlagsSay) {
    const Arrival kAll[] = {
        {0, 0x90, kOddParity, "90", "<90; port: parity error"},
        {0, 0x00, kSlow, "00", "<00; port: framing error"},
        {INPCK, 0x90, kOddParity, "00", "<90; port: parity error"},
        {INPCK, 0x00, kSlow, "00", "<00; port: framing error"},
        {INPCK | IGNPAR, 0x90, kOddParity, "", "<90; port: parity error"},
        {INPCK | IGNPAR | PARMRK, 0x90, kOddParity, "", "<90; port: parity error"},
        {INPCK | PARMRK, 0x90, kOddParity, "ff 00 90", "<90; port: parity error"},
        {PARMRK, 0x90, kOddParity, "90", "<90; port: parity error"},
        {INPCK, 0xFF, kSound, "ff", "<ff"},
        {INPCK | PARMRK, 0xFE, kSound, "fe", "<fe"},
        {INPCK | PARMRK, 0xFF, kSound, "ff ff", "<ff"},
        {PARMRK | IGNPAR, 0xFF, kSound, "ff", "<ff"},
        {PARMRK | ISTRIP, 0xFF, kSound, "ff", "<ff"}};
    for (const Arrival& row : kAll) {
        termios settings = Raw(PARENB);
        settings.c_iflag |= row.inputFlags;
        EXPECT_EQ(file->SetAttributes(TCSANOW, settings), 0);
        bench.serialWire.Send(row.value, row.format);
        EXPECT_EQ(vboard::HexText(bench.ReadPort(*file)), row.read) << row.inputFlags;
        EXPECT_EQ(bench.scribe.Take(), row.announced);
    }
}

/// VMIN, VTIME and the size of a read; what it returns when, as "2 at 51145 us".
struct TimedRead {
    cc_t vmin;
    cc_t vtime;
    std::size_t size;
    const char* outcome;
};

TEST_F(LoaderPort, AReadEndsAsVminAndVtimeSay) {
    // Characters that begin after 0, 50 and 250 ms.
    const TimedRead kAll[] = {
        {0, 0, 8, "0 at 1000 us"},   {0, 1, 8, "1 at 1145 us"},  {1, 0, 8, "1 at 1145 us"},
        {2, 0, 8, "2 at 51145 us"},  {3, 0, 2, "2 at 51145 us"}, {3, 1, 8, "2 at 151145 us"},
        {3, 3, 8, "3 at 251145 us"}, {2, 1, 8, "2 at 51145 us"}, {9, 2, 3, "3 at 251145 us"},
        {9, 1, 1, "1 at 1145 us"},   {1, 1, 0, "0 at 0 us"},     {4, 0, 4, "for ever at 251145 us"},
        {9, 9, 9, "3 at 1151145 us"}};
    for (const TimedRead& row : kAll) {
        HostBench timed(vboard::ChipMode::kLoader);
        const auto port = timed.port.Open(O_RDWR).file;
        EXPECT_EQ(port->SetAttributes(TCSANOW, Raw(PARENB, row.vmin, row.vtime)), 0);
        for (const auto at : {0ms, 50ms, 250ms}) {
            timed.clock.After(at, [&timed] { timed.serialWire.Send(0x41, kSound); });
        }
        Bytes bytes(row.size);
        const auto count = port->Read(bytes, false);
        EXPECT_EQ(vboard::Formatted(
                      "{} at {} us",
                      count == vboard::kWouldWaitForEver ? "for ever" : std::to_string(count),
                      timed.clock.Now().time_since_epoch().count() / 1000),
                  row.outcome)
            << int{row.vmin} << " " << int{row.vtime};
    }
}

TEST_F(LoaderPort, IsReadyFromItsVminOnAndBelowAQuarterOfAKibibyteToSend) {
    const auto readable = [this](cc_t vmin, cc_t vtime) {
        EXPECT_EQ(file->SetAttributes(TCSANOW, Raw(PARENB, vmin, vtime)), 0);
        return file->Ready().readable;
    };
    EXPECT_FALSE(readable(0, 0));
    bench.serialWire.Send(0x41, kSound);
    bench.serialWire.Send(0x42, kSound);
    bench.clock.Pass(5ms);
    EXPECT_TRUE(readable(0, 0));
    EXPECT_TRUE(readable(2, 0));
    EXPECT_FALSE(readable(3, 0));
    EXPECT_TRUE(readable(3, 1));
    EXPECT_EQ(file->Write(Bytes(256), false), 256);
    EXPECT_FALSE(file->Ready().writable);
    bench.clock.Pass(kSound.CharacterTime());
    EXPECT_TRUE(file->Ready().writable);
}

TEST_F(LoaderPort, ABreakIsAQuarterOfASecondLowOnceEverythingIsSent) {
    EXPECT_EQ(file->Write(Bytes{0x41}, false), 1);
    EXPECT_EQ(file->SendBreak(), 0);
    EXPECT_EQ(bench.clock.Now().time_since_epoch(), kSound.CharacterTime() + 250ms);
    EXPECT_EQ(file->Ioctl(TIOCSBRK, nullptr), 0);
    EXPECT_EQ(file->Ioctl(TIOCCBRK, nullptr), 0);
    EXPECT_EQ(file->Ioctl(TIOCSBRK, nullptr), 0);
    file.reset();
    EXPECT_EQ(bench.scribe.Take(),
              ">41; chip: character 0x41 ignored: no sync; > low; chip: character 0x00 damaged in "
              "place of a sync: not answered; > high; > low; > high; > low; > high");
}

TEST_F(LoaderPort, AskingWhatIsLeftToSendOrToReadTakesAMillisecondAtMost) {
    int count = 0;
    const auto takes = [&](unsigned long request) {
        const vboard::Instant before = bench.clock.Now();
        EXPECT_EQ(file->Ioctl(request, &count), 0);
        return bench.clock.Now() - before;
    };
    EXPECT_EQ(takes(TIOCOUTQ), 0ms);
    EXPECT_EQ(takes(FIONREAD), 1ms);
    EXPECT_EQ(file->Write(Bytes{0x41, 0x42}, false), 2);
    EXPECT_EQ(takes(TIOCOUTQ), 1ms);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(takes(TIOCOUTQ), kSound.CharacterTime() - 1ms);
    EXPECT_EQ(takes(TIOCOUTQ), 1ms);
    EXPECT_EQ(count, 1);
    bench.serialWire.Send(0x43, kSound);
    EXPECT_EQ(takes(FIONREAD), 1ms);
    EXPECT_EQ(takes(FIONREAD), kSound.CharacterTime() - 1ms);
    EXPECT_EQ(takes(FIONREAD), 0ms);
    EXPECT_EQ(count, 1);
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
    int before = 0;
    EXPECT_EQ(file->Ioctl(TIOCMGET, &before), 0);
    EXPECT_EQ(before & (TIOCM_DTR | TIOCM_RTS), TIOCM_DTR | TIOCM_RTS);
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
    EXPECT_EQ(file->Ioctl(TIOCSETD, &discipline), 0);
}

TEST_F(LoaderPort, TheFifoHandsOnFewerCharactersAfterFourCharacterTimes) {
    HostBench slow(vboard::ChipMode::kLoader, 16);
    const auto port = slow.port.Open(O_RDWR).file;
    EXPECT_EQ(port->SetAttributes(TCSANOW, Raw(PARENB)), 0);
    EXPECT_EQ(port->Write(Bytes{0x80}, false), 1);
    const vboard::Duration character = vboard::SerialFormat{}.CharacterTime();
    slow.clock.Pass(character * 6 - vboard::Duration{1});
    EXPECT_FALSE(port->Ready().readable);
    slow.clock.Pass(vboard::Duration{1});
    EXPECT_TRUE(port->Ready().readable);
}

TEST_F(LoaderPort, ReadsWhatIsThereInPieces) {
    for (const std::uint8_t value : Bytes{0xFF, 0x00, 0x90}) {
        bench.serialWire.Send(value, kSound);
    }
    bench.clock.Pass(5ms);
    Bytes one(1);
    std::string read;
    while (file->Read(one, true) == 1) {
        read += vboard::HexText(one) + " ";
    }
    EXPECT_EQ(read, "ff 00 90 ");
}

TEST_F(LoaderPort, AWriteThatMayNotWaitForRoomTakesAMillisecondAndIsToldToComeAgain) {
    EXPECT_EQ(file->Write(Bytes(vboard::TtyPort::kTransmitQueueBytes + 1), true),
              static_cast<vboard::IoResult>(vboard::TtyPort::kTransmitQueueBytes));
    const vboard::Instant before = bench.clock.Now();
    EXPECT_EQ(file->Write(Bytes{0x80}, true), -EAGAIN);
    EXPECT_EQ(bench.clock.Now() - before, 1ms);
}

TEST_F(LoaderPort, AReadThatMayReturnNothingDoesSoAtItsTime) {
    EXPECT_EQ(file->SetAttributes(TCSANOW, Raw(PARENB, 0, 2)), 0);
    Bytes bytes(8);
    EXPECT_EQ(file->Read(bytes, false), 0);
    EXPECT_EQ(bench.clock.Now().time_since_epoch(), 200ms);
}

/// A request, what it is passed, and how a transcript has it.
struct RequestWords {
    unsigned long request;
    int argument;
    bool byPointer;
    const char* words;
};

TEST_F(LoaderPort, EveryRequestHasItsWords) {
    constexpr int kAllLines = TIOCM_DTR | TIOCM_RTS | TIOCM_CTS | TIOCM_DSR | TIOCM_CAR;
    const RequestWords kAll[] = {{FIONREAD, 7, true, "FIONREAD 7"},
                                 {TIOCOUTQ, 8, true, "TIOCOUTQ 8"},
                                 {TIOCMGET, kAllLines, true, "TIOCMGET DTR|RTS|CTS|DSR|CAR"},
                                 {TIOCMSET, 0, true, "TIOCMSET none"},
                                 {TIOCMBIS, TIOCM_DTR, true, "TIOCMBIS DTR"},
                                 {TIOCMBIC, TIOCM_RTS, true, "TIOCMBIC RTS"},
                                 {TIOCEXCL, 0, false, "TIOCEXCL"},
                                 {TIOCNXCL, 0, false, "TIOCNXCL"},
                                 {TIOCGEXCL, 0, true, "TIOCGEXCL"},
                                 {TIOCGWINSZ, 0, true, "TIOCGWINSZ"},
                                 {TIOCGETD, 0, true, "TIOCGETD"},
                                 {TIOCSETD, 0, true, "TIOCSETD"},
                                 {TCSBRK, 1, false, "TCSBRK 1"},
                                 {TCSBRKP, 0, false, "TCSBRKP"},
                                 {TIOCSBRK, 0, false, "TIOCSBRK"},
                                 {TIOCCBRK, 0, false, "TIOCCBRK"},
                                 {TIOCGICOUNT, 0, true, "TIOCGICOUNT"},
                                 {TIOCGSERIAL, 0, true, "TIOCGSERIAL"},
                                 {TIOCSSERIAL, 0, true, "TIOCSSERIAL"},
                                 {TCFLSH, TCOFLUSH, false, "TCFLSH 1"},
                                 {TCXONC, TCOON, false, "TCXONC 1"},
                                 {0x5499, 0, false, "0x5499"}};
    for (const RequestWords& row : kAll) {
        int argument = row.argument;
        const void* passed = row.byPointer
                                 ? static_cast<const void*>(&argument)
                                 : reinterpret_cast<const void*>(std::intptr_t{row.argument});
        EXPECT_EQ(file->Describe(row.request, passed), row.words);
    }
    EXPECT_EQ(file->Describe(FIONREAD, nullptr), "FIONREAD");
    EXPECT_EQ(file->Describe(TIOCMGET, nullptr), "TIOCMGET");
}

TEST_F(LoaderPort, TheLinesOfTheProgramAreSetAndTheOthersStay) {
    constexpr int kOthers = TIOCM_CTS | TIOCM_DSR | TIOCM_CAR;
    const auto after = [this](unsigned long request, int argument) {
        EXPECT_EQ(file->Ioctl(request, &argument), 0);
        int lines = 0;
        EXPECT_EQ(file->Ioctl(TIOCMGET, &lines), 0);
        return lines;
    };
    EXPECT_EQ(after(TIOCMSET, 0), kOthers);
    EXPECT_EQ(after(TIOCMBIS, TIOCM_RTS | TIOCM_RI), kOthers | TIOCM_RTS);
    EXPECT_EQ(after(TIOCMBIS, TIOCM_DTR), kOthers | TIOCM_RTS | TIOCM_DTR);
    EXPECT_EQ(after(TIOCMBIC, TIOCM_RTS | TIOCM_CTS), kOthers | TIOCM_DTR);
    EXPECT_EQ(after(TIOCMSET, TIOCM_RTS | TIOCM_RI), kOthers | TIOCM_RTS);
}

TEST_F(LoaderPort, TellsItsDriverAndTakesNoOther) {
    serial_struct told{};
    EXPECT_EQ(file->Ioctl(TIOCGSERIAL, &told), 0);
    EXPECT_EQ(told.type, PORT_16550A);
    EXPECT_EQ(told.line, 0);
    EXPECT_EQ(told.irq, 0);
    EXPECT_EQ(told.port, 0U);
    EXPECT_EQ(told.baud_base, 4'000'000);
    EXPECT_EQ(told.xmit_fifo_size, 16);
    EXPECT_EQ(told.custom_divisor, 0);
    EXPECT_EQ(told.closing_wait, 3000);
    EXPECT_EQ(told.close_delay, 50);
    const auto setting = [&](auto member) {
        serial_struct changed = told;
        changed.*member = static_cast<std::decay_t<decltype(changed.*member)>>(changed.*member + 1);
        return file->Ioctl(TIOCSSERIAL, &changed);
    };
    EXPECT_EQ(setting(&serial_struct::flags), 0);
    EXPECT_EQ(setting(&serial_struct::type), -EPERM);
    EXPECT_EQ(setting(&serial_struct::line), -EPERM);
    EXPECT_EQ(setting(&serial_struct::irq), -EPERM);
    EXPECT_EQ(setting(&serial_struct::port), -EPERM);
    EXPECT_EQ(setting(&serial_struct::baud_base), -EPERM);
    EXPECT_EQ(setting(&serial_struct::custom_divisor), -EPERM);
}

TEST_F(LoaderPort, CountsWhatPassesItAndItsErrors) {
    EXPECT_EQ(file->Write(Bytes{0x80}, false), 1);
    EXPECT_EQ(file->Drain(), 0);
    termios other = Raw(PARENB);
    other.c_cflag = (other.c_cflag & ~tcflag_t{CSIZE}) | CS7;
    cfsetspeed(&other, B19200);
    EXPECT_EQ(file->SetAttributes(TCSANOW, other), 0);
    bench.clock.Pass(5ms);
    // 90 with an even parity bit, every bit read twice: 0000000 0 0, where the stop bit is missing,
    // and later 0001100 1 1, where parity is wrong.
    serial_icounter_struct counts{};
    EXPECT_EQ(file->Ioctl(TIOCGICOUNT, &counts), 0);
    EXPECT_EQ(counts.tx, 1);
    EXPECT_EQ(counts.rx, 2);
    EXPECT_EQ(counts.parity, 1);
    EXPECT_EQ(counts.frame, 1);
}

TEST_F(LoaderPort, OnlyTheLastCloseForgetsWhatNobodyRead) {
    auto second = bench.port.Open(O_RDWR).file;
    EXPECT_EQ(file->Write(Bytes{0x80}, false), 1);
    bench.clock.Pass(5ms);
    second.reset();
    EXPECT_EQ(bench.ReadPort(*file), (Bytes{0x90}));
    file.reset();
    int lines = 0;
    EXPECT_EQ(bench.port.Open(O_RDWR).file->Ioctl(TIOCMGET, &lines), 0);
    EXPECT_EQ(lines & (TIOCM_DTR | TIOCM_RTS), TIOCM_DTR | TIOCM_RTS);
}

TEST_F(LoaderPort, FlushesAQueueAtATime) {
    EXPECT_EQ(file->Write(Bytes{0x80}, false), 1);
    bench.clock.Pass(5ms);
    EXPECT_EQ(file->Write(Bytes{0x01, 0x02, 0x03}, false), 3);
    EXPECT_EQ(file->Flush(TCOFLUSH), 0);
    EXPECT_EQ(bench.serialWire.PendingToChip(), 1U) << "what is on the wire goes on";
    EXPECT_TRUE(file->Ready().readable);
    EXPECT_EQ(file->Flush(TCIFLUSH), 0);
    EXPECT_FALSE(file->Ready().readable);
    EXPECT_EQ(file->Flush(9), -EINVAL);
}

TEST_F(LoaderPort, AReadThatASignalEndsHasWhatCameBeforeIt) {
    EXPECT_EQ(file->SetAttributes(TCSANOW, Raw(PARENB, 2)), 0);
    EXPECT_EQ(file->Write(Bytes{0x80}, false), 1);
    bench.clock.After(1000ms, [] {});
    SignalAfter signal(20ms);
    bench.clock.SetPacer(&signal);
    Bytes bytes(2);
    EXPECT_EQ(file->Read(bytes, false), 1);
    EXPECT_EQ(bytes[0], 0x90);
    EXPECT_EQ(file->Read(bytes, false), -EINTR);
    bench.clock.SetPacer(nullptr);
}

TEST_F(LoaderPort, AWriteWithoutRoomWaitsUntilAQuarterOfAKibibyteIsLeft) {
    constexpr auto kQueue = static_cast<int>(vboard::TtyPort::kTransmitQueueBytes);
    EXPECT_EQ(file->Write(Bytes(kQueue + 10, 0x41), false), kQueue + 10);
    EXPECT_EQ(bench.clock.Now().time_since_epoch(), kSound.CharacterTime() * (kQueue - 255));
    EXPECT_EQ(bench.serialWire.PendingToChip(), 265U);
}

TEST_F(LoaderPort, ASignalEndsAWaitForRoomForAnEmptyQueueAndForTheEndOfABreak) {
    constexpr auto kQueue = static_cast<int>(vboard::TtyPort::kTransmitQueueBytes);
    SignalAfter signal(20ms);
    bench.clock.SetPacer(&signal);
    EXPECT_EQ(file->Write(Bytes(kQueue + 10, 0x41), false), kQueue);
    EXPECT_EQ(file->Write(Bytes(kQueue, 0x41), false), 17) << "as many as have gone";
    EXPECT_EQ(file->Write(Bytes{0x41}, false), -EINTR);
    EXPECT_EQ(file->Drain(), -EINTR);
    EXPECT_EQ(file->Flush(TCOFLUSH), 0);
    EXPECT_EQ(file->SendBreak(), -EINTR);
    bench.clock.SetPacer(nullptr);
}

TEST_F(LoaderPort, ASpeedAboveItsHighestStaysWhatItWas) {
    // A speed without a constant, as the kernel's own request has it.
    constexpr tcflag_t kOther = 010000;
    for (const auto& [asked, kept] : {std::pair(4'000'001U, 9600U),
                                      {250'000U, 250'000U},
                                      {4'000'001U, 250'000U},
                                      {4'000'000U, 4'000'000U}}) {
        termios settings = Raw(PARENB);
        settings.c_cflag = (settings.c_cflag & ~tcflag_t{CBAUD}) | kOther;
        settings.c_ispeed = asked;
        settings.c_ospeed = asked;
        EXPECT_EQ(file->SetAttributes(TCSANOW, settings), 0);
        EXPECT_EQ(vboard::FormatOf(bench.port.Attributes()).bitsPerSecond, kept);
        EXPECT_EQ(bench.port.Attributes().c_ispeed, bench.port.Attributes().c_ospeed);
    }
}

TEST_F(LoaderPort, ExclusiveUseIsToldAndKeepsOthersOut) {
    const auto told = [this] {
        int exclusive = -1;
        EXPECT_EQ(file->Ioctl(TIOCGEXCL, &exclusive), 0);
        return exclusive;
    };
    EXPECT_EQ(told(), 0);
    EXPECT_EQ(file->Ioctl(TIOCEXCL, nullptr), 0);
    EXPECT_EQ(told(), 1);
    EXPECT_EQ(bench.port.Open(O_RDWR).error, EBUSY);
    EXPECT_EQ(file->Ioctl(TIOCNXCL, nullptr), 0);
    EXPECT_EQ(told(), 0);
    EXPECT_NE(bench.port.Open(O_RDWR).file, nullptr);
}

TEST(LineSettings, EverySpeedOfTermiosIsKnown) {
#define SPEED(number) std::pair<speed_t, std::uint32_t>(B##number, number)
    for (const auto& [constant, bitsPerSecond] :
         {SPEED(50),      SPEED(75),      SPEED(110),     SPEED(134),     SPEED(150),
          SPEED(200),     SPEED(300),     SPEED(600),     SPEED(1200),    SPEED(1800),
          SPEED(2400),    SPEED(4800),    SPEED(9600),    SPEED(19200),   SPEED(38400),
          SPEED(57600),   SPEED(115200),  SPEED(230400),  SPEED(460800),  SPEED(500000),
          SPEED(576000),  SPEED(921600),  SPEED(1000000), SPEED(1152000), SPEED(1500000),
          SPEED(2000000), SPEED(2500000), SPEED(3000000), SPEED(3500000), SPEED(4000000)}) {
        termios settings = vboard::FirstOpenSettings();
        cfsetspeed(&settings, constant);
        EXPECT_EQ(vboard::FormatOf(settings).bitsPerSecond, bitsPerSecond);
    }
#undef SPEED
    termios hungUp = vboard::FirstOpenSettings();
    cfsetspeed(&hungUp, B0);
    EXPECT_EQ(vboard::FormatOf(hungUp).bitsPerSecond, 9600U) << "what no speed stands for";
}

TEST(ANewPort, HasTheSettingsOfTheFirstOpeningOnItsWire) {
    HostBench bench;
    EXPECT_EQ(bench.serialWire.HostFormat(),
              (vboard::SerialFormat{9600, 8, vboard::Parity::kNone, 1}));
    EXPECT_EQ(bench.port.KeptAttributes(), vboard::ToKernel(vboard::FirstOpenSettings()));
    bench.port.RestoreAttributes(Raw(PARENB));
    EXPECT_EQ(bench.port.Attributes().c_cflag, Raw(PARENB).c_cflag);
}

TEST(LineSettings, OfTheFirstOpeningAreTheKernelsOwn) {
    const termios settings = vboard::FirstOpenSettings();
    EXPECT_EQ(settings.c_iflag, 02400U);
    EXPECT_EQ(settings.c_oflag, 05U);
    EXPECT_EQ(settings.c_cflag, 06275U);
    EXPECT_EQ(settings.c_lflag, 0105073U);
    EXPECT_EQ(settings.c_cc[VMIN], 1);
    EXPECT_EQ(settings.c_cc[VTIME], 0);
}

TEST(LineSettings, SizesParityAndStopBitsAreRead) {
    using vboard::Parity;
    const std::pair<tcflag_t, vboard::SerialFormat> kRows[] = {
        {CS5 | CSTOPB | PARENB | PARODD, {9600, 5, Parity::kOdd, 2}},
        {CS6 | PARENB, {9600, 6, Parity::kEven, 1}},
        {CS7 | PARODD, {9600, 7, Parity::kNone, 1}},
        {CS8, {9600, 8, Parity::kNone, 1}}};
    for (const auto& [flags, format] : kRows) {
        termios settings = vboard::FirstOpenSettings();
        settings.c_cflag = B9600 | flags;
        EXPECT_EQ(vboard::FormatOf(settings), format) << flags;
    }
}

TEST(LineSettings, OfTheKernelsShortShapeAreStoredToTheirLastByteAndNotBeyond) {
    termios settings = vboard::FirstOpenSettings();
    settings.c_cc[18] = 0x5A;
    std::array<std::uint8_t, 64> bytes{};
    bytes.fill(0xEE);
    vboard::StoreSettings(TCGETS, settings, bytes.data());
    EXPECT_EQ(bytes[35], 0x5A);
    EXPECT_EQ(bytes[36], 0xEE);
    EXPECT_EQ(vboard::LoadSettings(TCSETS, bytes.data()).c_cc[18], 0x5A);
    for (const auto request : {static_cast<unsigned long>(TCGETS), 0x802C542AUL}) {
        EXPECT_TRUE(vboard::ReadsSettings(request)) << request;
        EXPECT_EQ(vboard::ActionOf(request), std::nullopt) << request;
    }
    for (const auto& [request, action] : {std::pair(static_cast<unsigned long>(TCSETS), TCSANOW),
                                          {TCSETSW, TCSADRAIN},
                                          {TCSETSF, TCSAFLUSH},
                                          {0x402C542BUL, TCSANOW},
                                          {0x402C542CUL, TCSADRAIN},
                                          {0x402C542DUL, TCSAFLUSH}}) {
        EXPECT_FALSE(vboard::ReadsSettings(request)) << request;
        EXPECT_EQ(vboard::ActionOf(request), action) << request;
    }
}

TEST(LineSettings, GoThroughTheKernelsShapeUnchanged) {
    termios settings = Raw(PARENB | CSTOPB, 7, 9);
    settings.c_line = 3;
    settings.c_cc[18] = 0x5A;
    const vboard::KernelSettings kernel = vboard::ToKernel(settings);
    EXPECT_EQ(kernel.inputSpeed, 9600U);
    EXPECT_EQ(kernel.outputSpeed, 9600U);
    const termios back = vboard::FromKernel(vboard::ToKernel(settings));
    EXPECT_EQ(back.c_iflag, settings.c_iflag);
    EXPECT_EQ(back.c_oflag, settings.c_oflag);
    EXPECT_EQ(back.c_cflag, settings.c_cflag);
    EXPECT_EQ(back.c_lflag, settings.c_lflag);
    EXPECT_EQ(back.c_cc[VMIN], 7);
    EXPECT_EQ(back.c_cc[VTIME], 9);
    EXPECT_EQ(back.c_line, 3);
    EXPECT_EQ(back.c_cc[18], 0x5A);
    EXPECT_EQ(cfgetospeed(&back), static_cast<speed_t>(B9600));
    EXPECT_EQ(back.c_ispeed, static_cast<speed_t>(B9600));
    vboard::KernelSettings other = kernel;
    other.controlFlags = (other.controlFlags & ~std::uint32_t{CBAUD}) | vboard::kOtherSpeed;
    for (const auto& [told, read] : {std::pair(250'000U, 250'000U), {0U, 9600U}}) {
        other.outputSpeed = told;
        EXPECT_EQ(vboard::FormatOf(vboard::FromKernel(other)).bitsPerSecond, read);
    }
    termios slowest = vboard::FromKernel(other);
    for (const auto& [told, read] : {std::pair(0U, 9600U), {1U, 1U}}) {
        slowest.c_ospeed = told;
        EXPECT_EQ(vboard::FormatOf(slowest).bitsPerSecond, read);
    }
}

}  // namespace
}  // namespace host
