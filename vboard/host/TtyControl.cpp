// SPDX-License-Identifier: MIT

// The requests that a program passes to the port's ioctl, in one table.

#include <linux/serial.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

#include "vboard/host/TtyPort.h"

#include "vboard/text/Format.h"

namespace vboard {
namespace {

constexpr int kProgramsLines = TIOCM_DTR | TIOCM_RTS;

/// What the third word of an ioctl is, for this request.
enum class Argument : std::uint8_t { kNone, kNumber, kPointer };

void StoreInt(void* argument, int value) {
    std::memcpy(argument, &value, sizeof value);
}

int LoadInt(const void* argument) {
    int value = 0;
    std::memcpy(&value, argument, sizeof value);
    return value;
}

/// A number that was passed in the place of a pointer.
int NumberIn(const void* argument) {
    return static_cast<int>(reinterpret_cast<std::intptr_t>(argument));
}

std::string ModemLinesText(int lines) {
    constexpr std::array<std::pair<int, const char*>, 5> kNames{{{TIOCM_DTR, "DTR"},
                                                                 {TIOCM_RTS, "RTS"},
                                                                 {TIOCM_CTS, "CTS"},
                                                                 {TIOCM_DSR, "DSR"},
                                                                 {TIOCM_CAR, "CAR"}}};
    std::string text;
    for (const auto& [line, name] : kNames) {
        if ((lines & line) != 0) {
            text += Formatted("{}{}", text.empty() ? "" : "|", name);
        }
    }
    return text.empty() ? "none" : text;
}

/// What TIOCGSERIAL tells of the UART: a 16550A, whose clock gives the port's highest speed.
serial_struct Driver() {
    constexpr int kPort16550A = 4;  // linux/serial.h, PORT_16550A
    serial_struct driver{};
    driver.type = kPort16550A;
    driver.baud_base = 4'000'000;
    driver.xmit_fifo_size = 16;
    driver.closing_wait = 3000;  // In hundredths of a second, as a driver begins with.
    driver.close_delay = 50;
    return driver;
}

}  // namespace

struct TtyPort::Control {
    unsigned long request;
    const char* name;
    Argument takes;
    IoResult (TtyPort::*carryOut)(void* argument);
};

const TtyPort::Control* TtyPort::FindControl(unsigned long request) {
    static constexpr std::array<Control, 21> kControls{{
        {FIONREAD, "FIONREAD", Argument::kPointer, &TtyPort::CountInput},
        {TIOCOUTQ, "TIOCOUTQ", Argument::kPointer, &TtyPort::CountOutput},
        {TIOCMGET, "TIOCMGET", Argument::kPointer, &TtyPort::ReadModemLines},
        {TIOCMSET, "TIOCMSET", Argument::kPointer, &TtyPort::SetModemLines},
        {TIOCMBIS, "TIOCMBIS", Argument::kPointer, &TtyPort::RaiseModemLines},
        {TIOCMBIC, "TIOCMBIC", Argument::kPointer, &TtyPort::DropModemLines},
        {TIOCEXCL, "TIOCEXCL", Argument::kNone, &TtyPort::BeginExclusiveUse},
        {TIOCNXCL, "TIOCNXCL", Argument::kNone, &TtyPort::EndExclusiveUse},
        {TIOCGEXCL, "TIOCGEXCL", Argument::kPointer, &TtyPort::TellExclusiveUse},
        {TIOCGWINSZ, "TIOCGWINSZ", Argument::kPointer, &TtyPort::TellWindowSize},
        {TIOCGETD, "TIOCGETD", Argument::kPointer, &TtyPort::TellDiscipline},
        {TIOCSETD, "TIOCSETD", Argument::kPointer, &TtyPort::SetDiscipline},
        {TCSBRK, "TCSBRK", Argument::kNumber, &TtyPort::BreakOrDrain},
        {TCSBRKP, "TCSBRKP", Argument::kNumber, &TtyPort::Break},
        {TIOCSBRK, "TIOCSBRK", Argument::kNone, &TtyPort::BeginBreak},
        {TIOCCBRK, "TIOCCBRK", Argument::kNone, &TtyPort::EndBreak},
        {TIOCGICOUNT, "TIOCGICOUNT", Argument::kPointer, &TtyPort::CountEvents},
        {TIOCGSERIAL, "TIOCGSERIAL", Argument::kPointer, &TtyPort::TellDriver},
        {TIOCSSERIAL, "TIOCSSERIAL", Argument::kPointer, &TtyPort::SetDriver},
        {TCFLSH, "TCFLSH", Argument::kNumber, &TtyPort::FlushByRequest},
        {TCXONC, "TCXONC", Argument::kNumber, &TtyPort::ControlFlowByRequest},
    }};
    const auto* found = std::find_if(kControls.begin(), kControls.end(),
                                     [request](const Control& c) { return c.request == request; });
    return found == kControls.end() ? nullptr : found;
}

IoResult TtyPort::Ioctl(unsigned long request, void* argument) {
    const Control* control = FindControl(request);
    if (control == nullptr) {
        return -ENOTTY;
    }
    if (control->takes == Argument::kPointer && argument == nullptr) {
        return -EFAULT;
    }
    return (this->*control->carryOut)(argument);
}

std::string TtyPort::Describe(unsigned long request, const void* argument) {
    const Control* control = FindControl(request);
    if (control == nullptr) {
        return Formatted("{:#x}", request);
    }
    switch (request) {
        case TIOCMGET:
        case TIOCMSET:
        case TIOCMBIS:
        case TIOCMBIC:
            return argument == nullptr
                       ? control->name
                       : Formatted("{} {}", control->name, ModemLinesText(LoadInt(argument)));
        case TCSBRK:
        case TCFLSH:
        case TCXONC:
            return Formatted("{} {}", control->name, NumberIn(argument));
        case FIONREAD:
        case TIOCOUTQ:
            return argument == nullptr ? control->name
                                       : Formatted("{} {}", control->name, LoadInt(argument));
        default:
            return control->name;
    }
}

IoResult TtyPort::CountInput(void* argument) {
    StoreInt(argument, static_cast<int>(m_input.size()));
    if (m_input.empty()) {
        m_clock.RunUntil([this] { return !m_input.empty(); }, m_clock.Now() + kFruitlessStep);
    }
    return 0;
}

IoResult TtyPort::CountOutput(void* argument) {
    const std::size_t pending = m_wire.PendingToChip();
    StoreInt(argument, static_cast<int>(pending));
    if (pending > 0) {
        m_clock.RunUntil([this, pending] { return m_wire.PendingToChip() < pending; },
                         m_clock.Now() + kFruitlessStep);
    }
    return 0;
}

IoResult TtyPort::ReadModemLines(void* argument) {
    StoreInt(argument, m_modemLines);
    return 0;
}

IoResult TtyPort::SetModemLines(void* argument) {
    m_modemLines = (m_modemLines & ~kProgramsLines) | (LoadInt(argument) & kProgramsLines);
    return 0;
}

IoResult TtyPort::RaiseModemLines(void* argument) {
    m_modemLines |= LoadInt(argument) & kProgramsLines;
    return 0;
}

IoResult TtyPort::DropModemLines(void* argument) {
    m_modemLines &= ~(LoadInt(argument) & kProgramsLines);
    return 0;
}

IoResult TtyPort::BeginExclusiveUse(void* /*argument*/) {
    m_exclusive = true;
    return 0;
}

IoResult TtyPort::EndExclusiveUse(void* /*argument*/) {
    m_exclusive = false;
    return 0;
}

IoResult TtyPort::TellExclusiveUse(void* argument) {
    StoreInt(argument, m_exclusive ? 1 : 0);
    return 0;
}

IoResult TtyPort::TellWindowSize(void* argument) {
    const winsize unknown{};
    std::memcpy(argument, &unknown, sizeof unknown);
    return 0;
}

IoResult TtyPort::TellDiscipline(void* argument) {
    StoreInt(argument, 0);
    return 0;
}

IoResult TtyPort::SetDiscipline(void* argument) {
    return LoadInt(argument) == 0 ? 0 : -EINVAL;
}

IoResult TtyPort::BreakOrDrain(void* argument) {
    return argument == nullptr ? SendBreak() : Drain();
}

IoResult TtyPort::Break(void* /*argument*/) {
    return SendBreak();
}

IoResult TtyPort::BeginBreak(void* /*argument*/) {
    static_cast<void>(Drain());
    m_wire.SetBreakToChip(true);
    return 0;
}

IoResult TtyPort::EndBreak(void* /*argument*/) {
    m_wire.SetBreakToChip(false);
    return 0;
}

IoResult TtyPort::CountEvents(void* argument) {
    serial_icounter_struct counts{};
    counts.tx = m_counts.sent;
    counts.rx = m_counts.received;
    counts.frame = m_counts.framingErrors;
    counts.parity = m_counts.parityErrors;
    std::memcpy(argument, &counts, sizeof counts);
    return 0;
}

IoResult TtyPort::TellDriver(void* argument) {
    const serial_struct driver = Driver();
    std::memcpy(argument, &driver, sizeof driver);
    return 0;
}

// Programs set what they have got, with a flag changed. Nothing here depends on the flags; another
// chip, line or clock can't be had.
IoResult TtyPort::SetDriver(void* argument) {
    serial_struct asked{};
    std::memcpy(&asked, argument, sizeof asked);
    const serial_struct own = Driver();
    const bool same = asked.type == own.type && asked.line == own.line && asked.irq == own.irq &&
                      asked.port == own.port && asked.baud_base == own.baud_base &&
                      asked.custom_divisor == own.custom_divisor;
    return same ? 0 : -EPERM;
}

IoResult TtyPort::FlushByRequest(void* argument) {
    return Flush(NumberIn(argument));
}

IoResult TtyPort::ControlFlowByRequest(void* argument) {
    return ControlFlow(NumberIn(argument));
}

}  // namespace vboard
