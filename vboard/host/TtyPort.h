// SPDX-License-Identifier: MIT
#pragma once

// The programming port: a UART behind a Linux terminal device.
//
// Kept as a kernel keeps it: line settings (speed, size, parity and stop bits included), a transmit
// queue that drains at the line's speed, a receive FIFO with a trigger level, reads by VMIN and
// VTIME, modem lines and exclusive use. Not modelled: canonical mode, echo, signals, character
// translation and flow control; a program that asks for them gets raw bytes. The modem inputs (CTS,
// DSR, carrier) are always on.

#include <termios.h>

#include <cstdint>
#include <deque>
#include <span>

#include "vboard/host/DeviceFile.h"
#include "vboard/host/LineSettings.h"
#include "vboard/wires/SerialWire.h"

namespace vboard {

class TtyPort : public Device {
public:
    /// What the driver's transmit queue holds. A blocking write waits for room, another one takes
    /// what fits.
    static constexpr std::size_t kTransmitQueueBytes = 4096;

    /// `receiveTrigger` is the FIFO level at which received characters are handed on (1 to 16);
    /// fewer follow after a pause of four character times. Clock and wire must outlive the port.
    TtyPort(VirtualClock& clock, Probe& probe, SerialWire& wire, unsigned receiveTrigger);

    /// EBUSY while the port is open for exclusive use (TIOCEXCL).
    Opened Open(int flags) override;
    [[nodiscard]] bool IsTerminal() const override { return true; }

    /// They outlive the last close, as a driver keeps them.
    [[nodiscard]] const termios& Attributes() const { return m_attributes; }
    void RestoreAttributes(const termios& attributes);
    /// The same in the shape in which they are kept, asked for whenever the board may have changed.
    [[nodiscard]] const KernelSettings& KeptAttributes() const { return m_keptAttributes; }

    /// What has arrived is somebody else's.
    void ForgetInput() {
        m_fifo.clear();
        m_input.clear();
    }

private:
    friend class TtyFile;

    struct Control;
    [[nodiscard]] static const Control* FindControl(unsigned long request);

    void Arrived(const ReceivedCharacter& character);
    void HandOn();
    void Accept(const ReceivedCharacter& character);
    void Close();

    IoResult Read(std::span<std::uint8_t> buffer, bool nonBlocking);
    IoResult Write(std::span<const std::uint8_t> data, bool nonBlocking);
    IoResult Drain();
    IoResult Flush(int queue);
    IoResult SendBreak();
    [[nodiscard]] static IoResult ControlFlow(int action);
    IoResult SetAttributes(int action, const termios& attributes);
    [[nodiscard]] IoResult WaitForInput(std::size_t wanted);
    [[nodiscard]] IoResult ReadNothing(bool nonBlocking);
    [[nodiscard]] Readiness Ready() const;
    [[nodiscard]] std::size_t Room() const;

    // The requests of ioctl, in TtyControl.cpp.
    IoResult Ioctl(unsigned long request, void* argument);
    [[nodiscard]] static std::string Describe(unsigned long request, const void* argument);
    IoResult CountInput(void* argument);
    IoResult CountOutput(void* argument);
    IoResult ReadModemLines(void* argument);
    IoResult SetModemLines(void* argument);
    IoResult RaiseModemLines(void* argument);
    IoResult DropModemLines(void* argument);
    IoResult BeginExclusiveUse(void* argument);
    IoResult EndExclusiveUse(void* argument);
    IoResult TellExclusiveUse(void* argument);
    IoResult TellWindowSize(void* argument);
    IoResult TellDiscipline(void* argument);
    IoResult SetDiscipline(void* argument);
    IoResult BreakOrDrain(void* argument);
    IoResult Break(void* argument);
    IoResult BeginBreak(void* argument);
    IoResult EndBreak(void* argument);
    IoResult CountEvents(void* argument);
    IoResult TellDriver(void* argument);
    IoResult SetDriver(void* argument);
    IoResult FlushByRequest(void* argument);
    IoResult ControlFlowByRequest(void* argument);

    VirtualClock& m_clock;
    Probe& m_probe;
    SerialWire& m_wire;
    unsigned m_receiveTrigger;
    /// What TIOCGICOUNT tells.
    struct Counts {
        int sent = 0;
        int received = 0;
        int framingErrors = 0;
        int parityErrors = 0;
    };

    unsigned m_openings = 0;
    Counts m_counts;
    bool m_exclusive = false;
    termios m_attributes{};
    KernelSettings m_keptAttributes;
    int m_modemLines;
    std::deque<ReceivedCharacter> m_fifo;
    VirtualClock::Ticket m_fifoTimeout = 0;
    std::deque<std::uint8_t> m_input;
};

}  // namespace vboard
