// SPDX-License-Identifier: MIT
#pragma once

// The one place that knows every room: builds a board from its setup, connects the rooms, and takes
// and gives their state.

#include <array>
#include <cstdint>
#include <memory>

#include "vboard/board/BoardSetup.h"
#include "vboard/chip/Chip.h"
#include "vboard/host/Host.h"
#include "vboard/host/LineSettings.h"
#include "vboard/host/SysfsGpio.h"
#include "vboard/probe/Listeners.h"

namespace vboard {

class CommDevice;
class Harness;
class MessageWire;
class SerialWire;
class TtyPort;

/// All that a board keeps between two programs, besides the chip's memory.
struct BoardState {
    GpioStates gpios{};
    bool tristate = false;
    KernelSettings portSettings = ToKernel(FirstOpenSettings());
    ChipState chip;
    bool operator==(const BoardState& other) const;
};

/// All rooms of one board with their clock, connected. It lives as long as the program that uses
/// it.
class Board : private FaultControl {
public:
    /// What `memory` and `eraseWords` show, `faults` and `control` must outlive the board. The
    /// clock starts at `start`.
    Board(const BoardSetup& setup, Memory memory, EraseWords eraseWords, Faults& faults,
          ProgramControl& control, Instant start);
    ~Board() override;
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;

    /// Adds a listener, which must outlive the board.
    void AddListener(Probe& listener) { m_listeners.Add(listener); }

    /// Takes over a kept state without any edge; announces every signal once.
    void Restore(const BoardState& state);
    [[nodiscard]] BoardState State() const;

    /// Lets everything happen that is already on its way (characters on the wire, a command under
    /// way, a start of the application), as on a real board after its program has ended. At most
    /// ten seconds. Faults ordered for later do not happen any more.
    void Settle();

    /// Another program has used the board since: it is `now`, and what was under way here has
    /// happened there, on the wire as in the chip. Of what had arrived nothing is left where
    /// `input` says so. To be followed by Restore.
    void Forget(Instant now, bool input);

    /// The chip's supply goes or comes back. Going, it takes what the chip was sending with it; a
    /// character that has begun still arrives.
    void SetPower(bool on) override;

    /// The one clock of all rooms. Lives as long as the board.
    [[nodiscard]] VirtualClock& Clock() { return m_clock; }
    /// What the program's calls meet. Lives as long as the board.
    [[nodiscard]] Host& TheHost() { return m_host; }

private:
    void Kill() override;

    BoardSetup m_setup;
    VirtualClock m_clock;
    Listeners m_listeners;
    std::unique_ptr<Chip> m_chip;
    std::unique_ptr<SerialWire> m_serialWire;
    std::unique_ptr<MessageWire> m_messageWire;
    std::unique_ptr<Harness> m_harness;
    std::unique_ptr<SysfsGpio> m_gpios;
    std::unique_ptr<TtyPort> m_port;
    std::unique_ptr<CommDevice> m_comm;
    Faults& m_faults;
    ProgramControl& m_control;
    Host m_host;
};

/// Fills `memory` with what a delivered chip holds: everything erased but a small firmware of
/// version 256 (0x0100).
void FillWithOldFirmware(Memory memory, const ChipOptions& options);

/// The version that the application of a board in this state reports; false when none runs.
[[nodiscard]] bool RunningVersion(const BoardState& state,
                                  std::span<const std::uint8_t, kMemorySizeBytes> memory,
                                  const ChipOptions& options, std::uint16_t& version);

}  // namespace vboard
