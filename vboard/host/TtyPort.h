// SPDX-License-Identifier: MIT
#pragma once

// The programming port: a UART behind a Linux terminal device.
//
// Kept as a kernel keeps it: line settings (speed, size, parity and stop bits included), a transmit
// queue that drains at the line's speed, a receive FIFO with a trigger level, and reads by VMIN and
// VTIME. Not modelled: canonical mode, echo, signals and software flow control; a program that asks
// for them gets raw bytes.

#include <termios.h>

#include <cstdint>
#include <deque>

#include "vboard/host/DeviceFile.h"
#include "vboard/wires/SerialWire.h"

namespace vboard {

/// The format that a terminal's settings ask for. An unknown speed, and B0, read as 9600.
[[nodiscard]] SerialFormat FormatOf(const termios& attributes);

class TtyPort : public Device {
public:
    /// `receiveTrigger` is the FIFO level at which received characters are handed on (1 to 16);
    /// fewer follow after a pause of four character times. Clock and wire must outlive the port.
    TtyPort(VirtualClock& clock, Probe& probe, SerialWire& wire, unsigned receiveTrigger);

    Opened Open(int flags) override;

    [[nodiscard]] const termios& Attributes() const { return m_attributes; }

private:
    friend class TtyFile;

    void Arrived(const ReceivedCharacter& character);
    void HandOn();
    void Accept(const ReceivedCharacter& character);
    void Close();

    IoResult Read(std::span<std::uint8_t> buffer, bool nonBlocking);
    IoResult Write(std::span<const std::uint8_t> data);
    IoResult Drain();
    IoResult Flush(int queue);
    IoResult SetAttributes(int action, const termios& attributes);
    IoResult Ioctl(unsigned long request, void* argument);
    [[nodiscard]] bool WaitForInput(std::size_t wanted);
    [[nodiscard]] bool EnoughToSelect() const;

    VirtualClock& m_clock;
    Probe& m_probe;
    SerialWire& m_wire;
    unsigned m_receiveTrigger;
    unsigned m_openings = 0;
    termios m_attributes{};
    int m_modemLines;
    std::deque<ReceivedCharacter> m_fifo;
    VirtualClock::Ticket m_fifoTimeout = 0;
    std::deque<std::uint8_t> m_input;
};

}  // namespace vboard
