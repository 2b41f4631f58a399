// SPDX-License-Identifier: MIT
#pragma once

// A board's host side on a bench: every room between a program's calls and the chip, and a scribe
// that writes down what they announce.

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "vboard/board/Board.h"
#include "vboard/host/CommDevice.h"
#include "vboard/host/TtyPort.h"
#include "vboard/wires/Harness.h"
#include "vboard/wires/MessageWire.h"
#include "vboard/wires/SerialWire.h"

namespace host {

using Bytes = std::vector<std::uint8_t>;

/// Writes down what is announced, one entry each, "; " between them.
class Scribe : public vboard::Probe {
public:
    [[nodiscard]] bool Listening() const override { return true; }
    void OnSignal(vboard::Signal signal, std::uint32_t value) override;
    void OnCharacter(const vboard::WireCharacter& character) override;
    void OnBreak(vboard::Direction direction, bool low) override;
    void OnMessage(vboard::Direction direction, std::span<const std::uint8_t> bytes) override;
    void OnNote(std::string_view room, std::string_view text) override;

    /// What has been announced since the last time.
    std::string Take();

private:
    void Add(const std::string& entry);
    std::string m_text;
};

/// A world in which a signal ends every wait after a while.
class SignalAfter : public vboard::Pacer {
public:
    explicit SignalAfter(vboard::Duration length) : m_end(length) {}
    vboard::Duration GoingTo(vboard::Duration sinceStart, vboard::Signals signals) override {
        kinds += signals == vboard::Signals::kRestart ? "restart " : "end ";
        return std::min(sinceStart, m_end);
    }
    [[nodiscard]] vboard::Duration Now() const override { return m_end; }
    std::string kinds;

private:
    vboard::Duration m_end;
};

/// The pins of the chip and the rooms around them, put together by hand.
class HostBench {
public:
    /// The chip starts in `mode`, with an old firmware in its flash. The port's FIFO hands on at
    /// `receiveTrigger` characters.
    explicit HostBench(vboard::ChipMode mode = vboard::ChipMode::kApplication,
                       unsigned receiveTrigger = 1);

    /// Writes `text` to a GPIO file as one write; the count, or -errno.
    vboard::IoResult WriteGpio(std::string_view path, std::string_view text);
    /// All that a GPIO file holds, or the name of the error.
    std::string ReadGpio(std::string_view path);
    /// The name of the error of opening a file with these flags; "" when it can be opened.
    std::string OpenError(std::string_view path, int flags);

    /// The next characters from the port, as many as come within a second.
    Bytes ReadPort(vboard::DeviceFile& port);

    Scribe scribe;
    vboard::VirtualClock clock;
    vboard::Faults faults;

private:
    std::vector<std::uint8_t> m_memory;
    std::array<std::uint32_t, vboard::kMostSegments> m_eraseWords{};
    vboard::ChipOptions m_options;

public:
    vboard::Chip chip;
    vboard::SerialWire serialWire;
    vboard::MessageWire messageWire;
    vboard::Harness harness;
    vboard::SysfsGpio gpios;
    vboard::TtyPort port;
    vboard::CommDevice comm;
};

/// "EBUSY" for -EBUSY; the number for what is no error.
std::string NameOf(vboard::IoResult result);

}  // namespace host
