// SPDX-License-Identifier: MIT
#include "vboard/host/TtyPort.h"

#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace vboard {
namespace {

struct Speed {
    speed_t constant;
    std::uint32_t bitsPerSecond;
};

constexpr std::array<Speed, 19> kSpeeds{{
    {B50, 50},       {B75, 75},         {B110, 110},       {B134, 134},       {B150, 150},
    {B200, 200},     {B300, 300},       {B600, 600},       {B1200, 1200},     {B1800, 1800},
    {B2400, 2400},   {B4800, 4800},     {B9600, 9600},     {B19200, 19200},   {B38400, 38400},
    {B57600, 57600}, {B115200, 115200}, {B230400, 230400}, {B460800, 460800},
}};

constexpr std::uint32_t kFallbackBitsPerSecond = 9600;

/// The line's FIFO hands on fewer characters than its trigger after this many character times of
/// silence.
constexpr int kFifoTimeoutCharacters = 4;

std::uint32_t BitsPerSecond(speed_t constant) {
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

/// What a Linux serial port is set to when it is opened for the first time: 9600 8N1, cooked.
termios FirstOpenSettings() {
    termios attributes{};
    attributes.c_iflag = ICRNL | IXON;
    attributes.c_oflag = OPOST | ONLCR;
    attributes.c_cflag = B9600 | CS8 | CREAD | HUPCL | CLOCAL;
    attributes.c_lflag = ISIG | ICANON | ECHO | ECHOE | ECHOK | ECHOCTL | ECHOKE | IEXTEN;
    attributes.c_cc[VMIN] = 1;
    attributes.c_cc[VTIME] = 0;
    static_cast<void>(cfsetispeed(&attributes, B9600));
    static_cast<void>(cfsetospeed(&attributes, B9600));
    return attributes;
}

void StoreInt(void* argument, int value) {
    std::memcpy(argument, &value, sizeof value);
}

int LoadInt(const void* argument) {
    int value = 0;
    std::memcpy(&value, argument, sizeof value);
    return value;
}

}  // namespace

SerialFormat FormatOf(const termios& attributes) {
    SerialFormat format;
    format.bitsPerSecond = BitsPerSecond(cfgetospeed(&attributes));
    format.dataBits = DataBits(attributes.c_cflag);
    format.stopBits = (attributes.c_cflag & CSTOPB) != 0 ? 2 : 1;
    format.parity = Parity::kNone;
    if ((attributes.c_cflag & PARENB) != 0) {
        format.parity = (attributes.c_cflag & PARODD) != 0 ? Parity::kOdd : Parity::kEven;
    }
    return format;
}

class TtyFile : public DeviceFile {
public:
    explicit TtyFile(TtyPort& port) : m_port(port) {}
    ~TtyFile() override { m_port.Close(); }
    TtyFile(const TtyFile&) = delete;
    TtyFile& operator=(const TtyFile&) = delete;

    IoResult Read(std::span<std::uint8_t> buffer, bool nonBlocking) override {
        return m_port.Read(buffer, nonBlocking);
    }
    IoResult Write(std::span<const std::uint8_t> data, bool /*nonBlocking*/) override {
        return m_port.Write(data);
    }
    IoResult Ioctl(unsigned long request, void* argument) override {
        return m_port.Ioctl(request, argument);
    }
    [[nodiscard]] Readiness Ready() const override { return {m_port.EnoughToSelect(), true}; }
    IoResult GetAttributes(termios& attributes) override {
        attributes = m_port.Attributes();
        return 0;
    }
    IoResult SetAttributes(int action, const termios& attributes) override {
        return m_port.SetAttributes(action, attributes);
    }
    IoResult Drain() override { return m_port.Drain(); }
    IoResult Flush(int queue) override { return m_port.Flush(queue); }
    // A break reaches the loader as a character that never ends; it is ignored there.
    IoResult SendBreak() override { return 0; }
    [[nodiscard]] bool IsTerminal() const override { return true; }

private:
    TtyPort& m_port;
};

TtyPort::TtyPort(VirtualClock& clock, Probe& probe, SerialWire& wire, unsigned receiveTrigger)
    : m_clock(clock),
      m_probe(probe),
      m_wire(wire),
      m_receiveTrigger(receiveTrigger),
      m_attributes(FirstOpenSettings()),
      m_modemLines(TIOCM_CTS | TIOCM_DSR | TIOCM_CAR) {
    m_wire.SetHostFormat(FormatOf(m_attributes));
    m_wire.ConnectHost([this](const ReceivedCharacter& character) { Arrived(character); });
}

Device::Opened TtyPort::Open(int /*flags*/) {
    if (m_openings++ == 0) {
        m_modemLines |= TIOCM_DTR | TIOCM_RTS;
    }
    return {std::make_unique<TtyFile>(*this), 0};
}

void TtyPort::Close() {
    if (m_openings > 1) {
        --m_openings;
        return;
    }
    // The last close waits for the transmit queue and forgets what nobody has read.
    static_cast<void>(Drain());
    m_openings = 0;
    m_clock.Cancel(m_fifoTimeout);
    m_fifo.clear();
    m_input.clear();
    if ((m_attributes.c_cflag & HUPCL) != 0) {
        m_modemLines &= ~(TIOCM_DTR | TIOCM_RTS);
    }
}

void TtyPort::Arrived(const ReceivedCharacter& character) {
    if (m_openings == 0 || (m_attributes.c_cflag & CREAD) == 0) {
        if (m_probe.Listening()) {
            m_probe.OnNote("port", "a character arrived at a closed receiver and is lost");
        }
        return;
    }
    m_fifo.push_back(character);
    m_clock.Cancel(m_fifoTimeout);
    if (m_fifo.size() >= m_receiveTrigger) {
        HandOn();
        return;
    }
    m_fifoTimeout = m_clock.After(m_wire.HostFormat().CharacterTime() * kFifoTimeoutCharacters,
                                  [this] { HandOn(); });
}

void TtyPort::HandOn() {
    for (const ReceivedCharacter& character : m_fifo) {
        Accept(character);
    }
    m_fifo.clear();
}

void TtyPort::Accept(const ReceivedCharacter& character) {
    const tcflag_t flags = m_attributes.c_iflag;
    const bool damaged = character.framingError || character.parityError;
    if (damaged && m_probe.Listening()) {
        m_probe.OnNote("port", character.framingError ? "framing error" : "parity error");
    }
    // termios(3): errors count only with INPCK; then IGNPAR drops the byte, PARMRK marks it, and
    // otherwise it reads as 0.
    if (!damaged || (flags & INPCK) == 0) {
        m_input.push_back(character.value);
        return;
    }
    if ((flags & IGNPAR) != 0) {
        return;
    }
    if ((flags & PARMRK) != 0) {
        m_input.insert(m_input.end(), {0xFF, 0x00, character.value});
        return;
    }
    m_input.push_back(0);
}

bool TtyPort::EnoughToSelect() const {
    const std::size_t minimum = m_attributes.c_cc[VTIME] == 0 ? m_attributes.c_cc[VMIN] : 1;
    return m_input.size() >= std::max<std::size_t>(1, minimum);
}

/// termios(3), non-canonical reads: the four cases of VMIN and VTIME. False when the wait would
/// never end.
bool TtyPort::WaitForInput(std::size_t wanted) {
    const std::size_t minimum = std::min<std::size_t>(m_attributes.c_cc[VMIN], wanted);
    const Duration timeout = std::chrono::milliseconds(100) * m_attributes.c_cc[VTIME];
    if (m_attributes.c_cc[VMIN] == 0) {
        if (timeout.count() > 0) {
            m_clock.RunUntil([this] { return !m_input.empty(); }, m_clock.Now() + timeout);
        }
        return true;
    }
    const std::size_t first = timeout.count() > 0 ? 1 : std::max<std::size_t>(1, minimum);
    const auto atLeast = [this](std::size_t count) {
        return [this, count] { return m_input.size() >= count; };
    };
    if (m_clock.RunUntil(atLeast(first), std::nullopt) != VirtualClock::Waited::kSatisfied) {
        return false;
    }
    while (timeout.count() > 0 && m_input.size() < minimum) {
        const auto waited = m_clock.RunUntil(atLeast(m_input.size() + 1), m_clock.Now() + timeout);
        if (waited != VirtualClock::Waited::kSatisfied) {
            break;
        }
    }
    return true;
}

IoResult TtyPort::Read(std::span<std::uint8_t> buffer, bool nonBlocking) {
    if (buffer.empty()) {
        return 0;
    }
    if (nonBlocking && m_input.empty()) {
        return m_attributes.c_cc[VMIN] == 0 ? 0 : -EAGAIN;
    }
    if (!nonBlocking && !WaitForInput(buffer.size())) {
        return kWouldWaitForEver;
    }
    const std::size_t count = std::min(buffer.size(), m_input.size());
    std::copy_n(m_input.begin(), count, buffer.begin());
    m_input.erase(m_input.begin(), m_input.begin() + static_cast<std::ptrdiff_t>(count));
    return static_cast<IoResult>(count);
}

IoResult TtyPort::Write(std::span<const std::uint8_t> data) {
    for (const std::uint8_t value : data) {
        m_wire.SendToChip(value);
    }
    return static_cast<IoResult>(data.size());
}

IoResult TtyPort::Drain() {
    static_cast<void>(
        m_clock.RunUntil([this] { return m_wire.PendingToChip() == 0; }, std::nullopt));
    return 0;
}

IoResult TtyPort::Flush(int queue) {
    if (queue != TCIFLUSH && queue != TCOFLUSH && queue != TCIOFLUSH) {
        return -EINVAL;
    }
    if (queue != TCOFLUSH) {
        m_clock.Cancel(m_fifoTimeout);
        m_fifo.clear();
        m_input.clear();
    }
    if (queue != TCIFLUSH) {
        m_wire.DropQueuedToChip();
    }
    return 0;
}

IoResult TtyPort::SetAttributes(int action, const termios& attributes) {
    if (action != TCSANOW && action != TCSADRAIN && action != TCSAFLUSH) {
        return -EINVAL;
    }
    if (action != TCSANOW) {
        static_cast<void>(Drain());
    }
    if (action == TCSAFLUSH) {
        static_cast<void>(Flush(TCIFLUSH));
    }
    m_attributes = attributes;
    m_wire.SetHostFormat(FormatOf(attributes));
    return 0;
}

IoResult TtyPort::Ioctl(unsigned long request, void* argument) {
    if (argument == nullptr) {
        return -EFAULT;
    }
    switch (request) {
        case FIONREAD:
            StoreInt(argument, static_cast<int>(m_input.size()));
            return 0;
        case TIOCOUTQ:
            StoreInt(argument, static_cast<int>(m_wire.PendingToChip()));
            return 0;
        case TIOCMGET:
            StoreInt(argument, m_modemLines);
            return 0;
        case TIOCMSET:
            m_modemLines = (m_modemLines & ~(TIOCM_DTR | TIOCM_RTS)) |
                           (LoadInt(argument) & (TIOCM_DTR | TIOCM_RTS));
            return 0;
        case TIOCMBIS:
            m_modemLines |= LoadInt(argument) & (TIOCM_DTR | TIOCM_RTS);
            return 0;
        case TIOCMBIC:
            m_modemLines &= ~(LoadInt(argument) & (TIOCM_DTR | TIOCM_RTS));
            return 0;
        default:
            return -ENOTTY;
    }
}

}  // namespace vboard
