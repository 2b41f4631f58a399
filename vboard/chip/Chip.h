// SPDX-License-Identifier: MIT
#pragma once

// The microcontroller: power and reset state, and the five parts it is made of.
//
// It gets edges and characters and hands characters and messages to sinks that the wires implement.
// It knows nothing of files, paths, host lines or the program under test.

#include <cstdint>
#include <span>

#include "vboard/chip/Application.h"
#include "vboard/chip/BootLoader.h"
#include "vboard/chip/ChipModel.h"
#include "vboard/chip/EntryDetector.h"
#include "vboard/chip/EraseMargins.h"
#include "vboard/chip/Flash.h"
#include "vboard/chip/Memory.h"
#include "vboard/chip/Pins.h"
#include "vboard/chip/PulseFilter.h"
#include "vboard/chip/SerialFormat.h"
#include "vboard/chip/SignalOutput.h"
#include "vboard/chip/Sinks.h"
#include "vboard/faults/Faults.h"
#include "vboard/probe/Modes.h"
#include "vboard/probe/Probe.h"
#include "vboard/time/VirtualClock.h"

namespace vboard {

/// All that a chip remembers besides its memory; kept in board files.
struct ChipState {
    ChipMode mode = ChipMode::kApplication;
    PinLevel hold = PinLevel::kLow;
    PinLevel rstNmi = PinLevel::kHigh;
    PinLevel tck = PinLevel::kHigh;
    std::uint8_t tckFalls = 0;  ///< Falls of TCK counted since RST/NMI went low, at most 2.
    bool loaderUnlocked = false;
    bool operator==(const ChipState&) const = default;
};

/// One part on a board. Nothing happens in it but at edges, at what is received, and at instants
/// that it has asked the clock for.
class Chip {
public:
    /// `model` and `options` are copied. `memory` holds what is in the chip and is changed in
    /// place, byte by byte, at the instants at which the flash changes; `eraseWords` keeps how well
    /// it is erased. The two, `clock`, `probe` and `faults` must outlive the chip.
    Chip(VirtualClock& clock, Probe& probe, Faults& faults, const ChipModel& model,
         const ChipOptions& options, Memory memory, EraseWords eraseWords);
    ~Chip() = default;
    Chip(const Chip&) = delete;
    Chip& operator=(const Chip&) = delete;

    /// The sinks are not owned; without one, what is sent is lost.
    void ConnectSerial(SerialSink* sink);
    void ConnectMessages(MessageSink* sink);

    /// Puts the chip into a kept state without any edge being seen, and announces all its signals.
    void Restore(const ChipState& state);
    [[nodiscard]] ChipState State() const;

    /// A pin moves to `level`; the same level again is no edge.
    void SetPin(Pin pin, PinLevel level);

    /// The supply comes or goes. Going, it ends whatever the chip was doing at once: an erase or a
    /// programming run stops where it is and the loader forgets its password. Coming back, the chip
    /// starts as after a rise of RST/NMI.
    void SetPower(bool on);

    /// A character has arrived at the receive pin (told at the end of its stop bit).
    void Receive(const ReceivedCharacter& character);

    /// A message has arrived on the second link.
    void ReceiveMessage(std::span<const std::uint8_t> message);

    /// The format in which the chip sends and receives at present.
    [[nodiscard]] const SerialFormat& Format() const;

    /// True and the version when the application runs; false when it does not.
    [[nodiscard]] bool RunningVersion(std::uint16_t& version) const;

    /// Brings `memory` to this instant. A block being programmed changes byte by byte, but the
    /// bytes are put there when somebody can see them: at its end, at its interruption, and here.
    /// Whoever reads the memory while a program under test is stopped at any instant calls this
    /// first.
    void UpdateMemory();

private:
    [[nodiscard]] static ChipMode ModeFor(const ChipState& state);

    void Act(EntryDetector::Verdict verdict);
    void EndAll();
    void SetMode(ChipMode mode);
    void Run(bool firmware);

    Flash m_flash;
    EntryDetector m_detector;
    PulseFilter m_rstNmiFilter;
    PulseFilter m_tckFilter;
    BootLoader m_loader;
    Application m_application;
    ChipMode m_mode = ChipMode::kStopped;
    SignalOutput m_holdSignal;
    SignalOutput m_rstNmiSignal;
    SignalOutput m_tckSignal;
    SignalOutput m_modeSignal;
};

}  // namespace vboard
