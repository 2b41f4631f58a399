// SPDX-License-Identifier: MIT
#include "vboard/host/TtyPort.h"

#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "vboard/host/LineSettings.h"

namespace vboard {
namespace {

/// The line's FIFO hands on fewer characters than its trigger after this many character times of
/// silence.
constexpr int kFifoTimeoutCharacters = 4;

/// select and poll call the port writable, and a blocking writer goes on, below this many waiting
/// characters.
constexpr std::size_t kWritableBelow = 256;

/// What the port's hardware can do; it refuses no speed, and keeps its own above this one.
constexpr std::uint32_t kHighestBitsPerSecond = 4'000'000;

/// tcsendbreak holds the line low this long.
constexpr Duration kBreakTime = std::chrono::milliseconds{250};

}  // namespace

class TtyFile : public DeviceFile {
public:
    explicit TtyFile(TtyPort& port) : m_port(port) {}
    ~TtyFile() override { m_port.Close(); }
    TtyFile(const TtyFile&) = delete;
    TtyFile& operator=(const TtyFile&) = delete;

    IoResult Read(std::span<std::uint8_t> buffer, bool nonBlocking) override {
        return m_port.Read(buffer, nonBlocking);
    }
    IoResult Write(std::span<const std::uint8_t> data, bool nonBlocking) override {
        return m_port.Write(data, nonBlocking);
    }
    IoResult Ioctl(unsigned long request, void* argument) override {
        return m_port.Ioctl(request, argument);
    }
    [[nodiscard]] std::string Describe(unsigned long request, const void* argument) const override {
        return TtyPort::Describe(request, argument);
    }
    [[nodiscard]] Readiness Ready() const override { return m_port.Ready(); }
    IoResult GetAttributes(termios& attributes) override {
        attributes = m_port.Attributes();
        return 0;
    }
    IoResult SetAttributes(int action, const termios& attributes) override {
        return m_port.SetAttributes(action, attributes);
    }
    IoResult Drain() override { return m_port.Drain(); }
    IoResult Flush(int queue) override { return m_port.Flush(queue); }
    IoResult SendBreak() override { return m_port.SendBreak(); }
    IoResult ControlFlow(int action) override { return TtyPort::ControlFlow(action); }
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
    RestoreAttributes(m_attributes);
    m_wire.ConnectHost([this](const ReceivedCharacter& character) { Arrived(character); });
}

void TtyPort::RestoreAttributes(const termios& attributes) {
    m_attributes = attributes;
    m_keptAttributes = ToKernel(attributes);
    m_wire.SetHostFormat(FormatOf(attributes));
}

Device::Opened TtyPort::Open(int /*flags*/) {
    if (m_exclusive) {
        return {nullptr, EBUSY};
    }
    if (m_openings++ == 0) {
        // Whether the last close hung up (HUPCL) is so no matter: nothing is wired to these lines.
        m_modemLines |= TIOCM_DTR | TIOCM_RTS;
    }
    return {std::make_unique<TtyFile>(*this), 0};
}

void TtyPort::Close() {
    if (m_openings > 1) {
        --m_openings;
        return;
    }
    // The last close lets go of the line, waits for the transmit queue and forgets what nobody has
    // read.
    m_wire.SetBreakToChip(false);
    static_cast<void>(Drain());
    m_openings = 0;
    m_exclusive = false;
    m_clock.Cancel(m_fifoTimeout);
    m_fifo.clear();
    m_input.clear();
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
    m_counts.received += 1;
    m_counts.framingErrors += character.framingError ? 1 : 0;
    m_counts.parityErrors += character.parityError ? 1 : 0;
    // termios(3): errors count only with INPCK; then IGNPAR drops the byte, PARMRK marks it, and
    // otherwise it reads as 0.
    if (!damaged || (flags & INPCK) == 0) {
        m_input.push_back(character.value);
        // A byte that could be taken for the mark of an error stands there twice.
        if ((flags & PARMRK) != 0 && (flags & (IGNPAR | ISTRIP)) == 0 && character.value == 0xFF) {
            m_input.push_back(character.value);
        }
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

Readiness TtyPort::Ready() const {
    const std::size_t minimum = m_attributes.c_cc[VTIME] == 0 ? m_attributes.c_cc[VMIN] : 1;
    return {m_input.size() >= std::max<std::size_t>(1, minimum),
            m_wire.PendingToChip() < kWritableBelow};
}

/// termios(3), non-canonical reads: the four cases of VMIN and VTIME. 0, or kWouldWaitForEver, or
/// -EINTR when a signal came before any byte.
IoResult TtyPort::WaitForInput(std::size_t wanted) {
    const std::size_t minimum = std::min<std::size_t>(m_attributes.c_cc[VMIN], wanted);
    const Duration timeout = std::chrono::milliseconds(100) * m_attributes.c_cc[VTIME];
    if (m_attributes.c_cc[VMIN] == 0) {
        if (timeout.count() > 0) {
            const auto waited = m_clock.RunUntil([this] { return !m_input.empty(); },
                                                 m_clock.Now() + timeout, Signals::kRestart);
            return waited == VirtualClock::Waited::kInterrupted ? -EINTR : 0;
        }
        return 0;
    }
    const std::size_t first = timeout.count() > 0 ? 1 : std::max<std::size_t>(1, minimum);
    const auto atLeast = [this](std::size_t count) {
        return [this, count] { return m_input.size() >= count; };
    };
    const auto began = m_clock.RunUntil(atLeast(first), std::nullopt, Signals::kRestart);
    if (began != VirtualClock::Waited::kSatisfied) {
        return began == VirtualClock::Waited::kNothingLeft ? kWouldWaitForEver
               : m_input.empty()                           ? -EINTR
                                                           : 0;
    }
    while (timeout.count() > 0 && m_input.size() < minimum) {
        const auto waited = m_clock.RunUntil(atLeast(m_input.size() + 1), m_clock.Now() + timeout);
        if (waited != VirtualClock::Waited::kSatisfied) {
            break;
        }
    }
    return 0;
}

IoResult TtyPort::Read(std::span<std::uint8_t> buffer, bool nonBlocking) {
    if (buffer.empty()) {
        return 0;
    }
    if (const IoResult failed = nonBlocking ? 0 : WaitForInput(buffer.size()); failed != 0) {
        return failed;
    }
    if (m_input.empty()) {
        return ReadNothing(nonBlocking);
    }
    const std::size_t count = std::min(buffer.size(), m_input.size());
    std::copy_n(m_input.begin(), count, buffer.begin());
    m_input.erase(m_input.begin(), m_input.begin() + static_cast<std::ptrdiff_t>(count));
    return static_cast<IoResult>(count);
}

/// The answer to a read that found nothing.
IoResult TtyPort::ReadNothing(bool nonBlocking) {
    const bool mayReturnNothing = m_attributes.c_cc[VMIN] == 0;
    const bool neverWaits = mayReturnNothing && m_attributes.c_cc[VTIME] == 0;
    if (nonBlocking || neverWaits) {
        m_clock.RunUntil([this] { return !m_input.empty(); }, m_clock.Now() + kFruitlessStep);
    }
    return nonBlocking && !neverWaits ? -EAGAIN : 0;
}

std::size_t TtyPort::Room() const {
    return kTransmitQueueBytes - std::min(kTransmitQueueBytes, m_wire.PendingToChip());
}

IoResult TtyPort::Write(std::span<const std::uint8_t> data, bool nonBlocking) {
    std::size_t written = 0;
    while (written < data.size()) {
        const auto part = data.subspan(written, std::min(Room(), data.size() - written));
        for (const std::uint8_t value : part) {
            m_wire.SendToChip(value);
        }
        m_counts.sent += static_cast<int>(part.size());
        written += part.size();
        if (written == data.size() || (nonBlocking && written > 0)) {
            break;
        }
        const auto roomAgain = [this] { return Ready().writable; };
        if (nonBlocking) {
            m_clock.RunUntil(roomAgain, m_clock.Now() + kFruitlessStep);
            return -EAGAIN;
        }
        const auto waited = m_clock.RunUntil(roomAgain, std::nullopt, Signals::kRestart);
        if (waited == VirtualClock::Waited::kInterrupted) {
            return written > 0 ? static_cast<IoResult>(written) : -EINTR;
        }
    }
    return static_cast<IoResult>(written);
}

IoResult TtyPort::Drain() {
    const auto waited = m_clock.RunUntil([this] { return m_wire.PendingToChip() == 0; },
                                         std::nullopt, Signals::kRestart);
    return waited == VirtualClock::Waited::kInterrupted ? -EINTR : 0;
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

IoResult TtyPort::SendBreak() {
    static_cast<void>(Drain());
    m_wire.SetBreakToChip(true);
    const Duration left = m_clock.Pass(kBreakTime);
    m_wire.SetBreakToChip(false);
    return left > Duration::zero() ? -EINTR : 0;
}

// There is no flow control: what is asked for is taken, and nothing stops.
IoResult TtyPort::ControlFlow(int action) {
    const bool known = action == TCOOFF || action == TCOON || action == TCIOFF || action == TCION;
    return known ? 0 : -EINVAL;
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
    const termios before = m_attributes;
    const std::uint32_t bitsPerSecond = FormatOf(m_attributes).bitsPerSecond;
    m_attributes = attributes;
    if (FormatOf(m_attributes).bitsPerSecond > kHighestBitsPerSecond) {
        // As a driver has it: the rest is taken, the speed stays what it was.
        m_attributes.c_cflag = (attributes.c_cflag & ~tcflag_t{CBAUD}) | (before.c_cflag & CBAUD);
        m_attributes.c_ispeed = before.c_ispeed;
        m_attributes.c_ospeed = before.c_ospeed;
    }
    // libc has no word for a speed without a constant: such a speed stays as it was.
    if (m_attributes.c_ospeed == kOtherSpeed) {
        m_attributes.c_ospeed = bitsPerSecond;
    }
    if ((m_attributes.c_cflag & CBAUD) == B0) {
        m_modemLines &= ~(TIOCM_DTR | TIOCM_RTS);
    }
    m_keptAttributes = ToKernel(m_attributes);
    m_wire.SetHostFormat(FormatOf(m_attributes));
    return 0;
}

}  // namespace vboard
