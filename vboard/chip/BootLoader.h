// SPDX-License-Identifier: MIT
#pragma once

// The ROM bootstrap loader on its serial line: a sync character, a frame, an answer, and again.
//
//     off --Enter--> sync --0x80--> (answers 0x90) --> frame --whole or damaged--> working
//                     ^                                                               |
//                     +--------------------- answering <------------------------------+
//
// The line is half duplex and the receiver is made of software: a character whose start bit comes
// while the loader works or answers is lost. What comes in place of a sync is passed over, a
// damaged sync is not answered, and a damaged frame is answered 0xA0 as soon as the damage is seen;
// what is left of it then meets a loader that answers or waits for a sync.

#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

#include "vboard/chip/ChipModel.h"
#include "vboard/chip/Flash.h"
#include "vboard/chip/FrameDecoder.h"
#include "vboard/chip/LoaderCommands.h"
#include "vboard/chip/SerialFormat.h"
#include "vboard/chip/SignalOutput.h"
#include "vboard/chip/Sinks.h"
#include "vboard/faults/Faults.h"
#include "vboard/probe/Modes.h"
#include "vboard/probe/Probe.h"
#include "vboard/time/VirtualClock.h"

namespace vboard {

/// From the answer to a change of baud rate to the new format; the guide says "about 10 ms".
inline constexpr Duration kChangeSpeedTime = std::chrono::milliseconds{10};

class BootLoader {
public:
    /// Told when the loader hands over to the code at an address, after its answer has been sent;
    /// `toFirmware` says whether there is anything to run.
    using Jump = std::function<void(bool toFirmware)>;

    /// `clock`, `probe`, `faults` and `flash` must outlive the loader.
    BootLoader(VirtualClock& clock, Probe& probe, Faults& faults, const ChipModel& model,
               const ChipOptions& options, Flash& flash, Jump jump);
    ~BootLoader();
    BootLoader(const BootLoader&) = delete;
    BootLoader& operator=(const BootLoader&) = delete;

    /// Not owned; without one, what is sent is lost.
    void ConnectSerial(SerialSink* sink) { m_sink = sink; }

    /// Starts, which comes only after an end: locked, at 9600 baud, 8 data bits, even parity.
    void Enter();
    /// Ends, whatever it was doing; a work of the flash stops where it is, and the next start finds
    /// everything as at first.
    void Leave();
    /// Waits for a sync, or is off, as it was when it was kept; announces its signals.
    void Restore(bool running, bool unlocked);

    /// A character has arrived, told at the end of its stop bit. Lost while the loader is off,
    /// works or answers.
    void Receive(const ReceivedCharacter& character);

    /// Brings memory to what it is at this instant in the middle of a work.
    void UpdateMemory();

    /// True once the right password has come since the last entry.
    [[nodiscard]] bool Unlocked() const { return m_commands.Unlocked(); }
    /// The format in which it sends and receives at present.
    [[nodiscard]] const SerialFormat& Format() const { return m_format; }

private:
    using Step = void (BootLoader::*)();

    void After(Duration delay, Step step);
    void SetState(LoaderState state);
    void Listen(LoaderState state);
    [[nodiscard]] bool Hears(const ReceivedCharacter& character) const;

    void TakeSync(const ReceivedCharacter& character);
    void TakeFrameCharacter(const ReceivedCharacter& character);
    void TakeFrame();
    void RefuseFrame();

    void EndWork();
    void Answer();
    void SendAnswer();
    void EndAnswer();
    void ChangeSpeed();

    void PrepareAnswer();
    void ApplyFault(const AnswerFault& fault);
    void AnnounceCommand();
    void NoteCharacter(const ReceivedCharacter& character, std::string_view what);

    VirtualClock& m_clock;
    Probe& m_probe;
    Faults& m_faults;
    Flash& m_flash;
    Jump m_jump;
    SerialSink* m_sink = nullptr;
    Duration m_answerDelay;
    bool m_silent;

    FrameDecoder m_decoder;
    LoaderCommands m_commands;
    SerialFormat m_format;
    LoaderState m_state = LoaderState::kOff;
    Instant m_hearsSince = Instant::min();

    Frame m_frame;  ///< The command being carried out; kSyncByte for a sync character.
    LoaderCommands::Result m_result;
    std::vector<std::uint8_t> m_answer;

    VirtualClock::Ticket m_ticket = 0;
    Step m_step = nullptr;
    Instant m_workStart;  ///< Of the flash, where it works.

    SignalOutput m_stateSignal;
    SignalOutput m_lockedSignal;
    SignalOutput m_busySignal;
};

}  // namespace vboard
