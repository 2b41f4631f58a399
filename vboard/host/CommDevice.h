// SPDX-License-Identifier: MIT
#pragma once

// The communication device: the tristate switch (an ioctl) and length-prefixed messages to and from
// the application.

#include <cstdint>
#include <deque>
#include <string>

#include "vboard/host/DeviceFile.h"
#include "vboard/wires/Harness.h"
#include "vboard/wires/MessageWire.h"

namespace vboard {

/// _IOW('k', 1, int): the tristate switch; the argument points to an int, 1 = on, 0 = off.
inline constexpr unsigned long kTristateRequest = 0x40046B01UL;

class CommDevice : public Device {
public:
    /// All must outlive the device. `path` names it in transcripts.
    CommDevice(VirtualClock& clock, Harness& harness, MessageWire& wire);

    Opened Open(int flags) override;

    /// What has arrived is somebody else's.
    void ForgetInput() { m_received.clear(); }

private:
    friend class CommFile;

    IoResult Read(std::span<std::uint8_t> buffer, bool nonBlocking);
    IoResult Write(std::span<const std::uint8_t> data);

    VirtualClock& m_clock;
    Harness& m_harness;
    MessageWire& m_wire;
    std::deque<std::uint8_t> m_received;  ///< Length byte, message, length byte, message ...
    unsigned m_openings = 0;
};

}  // namespace vboard
