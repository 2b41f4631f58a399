// SPDX-License-Identifier: MIT
#include "vboard/board/Board.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <type_traits>

#include "vboard/host/CommDevice.h"
#include "vboard/host/TtyPort.h"
#include "vboard/wires/Harness.h"
#include "vboard/wires/MessageWire.h"
#include "vboard/wires/SerialWire.h"

namespace vboard {
namespace {

using std::chrono_literals::operator""s;

constexpr Duration kSettleTime = 10s;
constexpr std::uint16_t kOldVersion = 256;

void StoreWord(Memory memory, std::size_t address, std::uint16_t word) {
    memory[address % kMemorySizeBytes] = static_cast<std::uint8_t>(word & 0xFFU);
    memory[(address + 1) % kMemorySizeBytes] = static_cast<std::uint8_t>(word >> 8U);
}

}  // namespace

void FillWithOldFirmware(Memory memory, const ChipOptions& options) {
    constexpr std::uint16_t kCodeAddress = 0x2102;
    constexpr std::uint16_t kJumpToItself = 0x3FFF;  // MSP430: jmp $
    std::fill(memory.begin(), memory.end(), kErasedByte);
    StoreWord(memory, kCodeAddress, kJumpToItself);
    StoreWord(memory, kResetVectorAddress, kCodeAddress);
    StoreWord(memory, options.versionAddress, kOldVersion);
}

bool RunningVersion(const BoardState& state, std::span<const std::uint8_t, kMemorySizeBytes> memory,
                    const ChipOptions& options, std::uint16_t& version) {
    if (state.chip.mode != ChipMode::kApplication) {
        return false;
    }
    const unsigned low = memory[options.versionAddress];
    const unsigned high = memory[(options.versionAddress + 1U) % kMemorySizeBytes];
    version = static_cast<std::uint16_t>(low | high << 8U);
    return true;
}

// Compared at every stored signal: the lines as one piece of memory, which holds nothing else.
bool BoardState::operator==(const BoardState& other) const {
    static_assert(std::has_unique_object_representations_v<GpioStates>);
    return tristate == other.tristate && chip == other.chip && portSettings == other.portSettings &&
           std::memcmp(gpios.data(), other.gpios.data(), sizeof gpios) == 0;
}

Board::Board(const BoardSetup& setup, Memory memory, EraseWords eraseWords, Faults& faults,
             ProgramControl& control, Instant start)
    : m_setup(setup),
      m_clock(start),
      m_chip(std::make_unique<Chip>(m_clock, m_listeners, faults, m_setup.Part(), m_setup.Options(),
                                    memory, eraseWords)),
      m_serialWire(std::make_unique<SerialWire>(m_clock, m_listeners, faults, *m_chip)),
      m_messageWire(std::make_unique<MessageWire>(m_listeners, *m_chip)),
      m_harness(std::make_unique<Harness>(m_listeners, faults, *m_chip, *m_messageWire)),
      m_gpios(std::make_unique<SysfsGpio>(*m_harness, m_setup.Gpios())),
      m_port(
          std::make_unique<TtyPort>(m_clock, m_listeners, *m_serialWire, m_setup.ReceiveTrigger())),
      m_comm(std::make_unique<CommDevice>(m_clock, *m_harness, *m_messageWire)),
      m_faults(faults),
      m_control(control),
      m_host(m_clock, m_listeners, faults, control) {
    m_chip->ConnectSerial(m_serialWire.get());
    m_chip->ConnectMessages(m_messageWire.get());
    m_host.AddGpios(*m_gpios);
    m_host.AddDevice(m_setup.PortPath(), *m_port);
    if (!m_setup.CommPath().empty()) {
        m_host.AddDevice(m_setup.CommPath(), *m_comm);
    }
    faults.Begin(m_clock, m_listeners, *this);
}

Board::~Board() = default;

void Board::Restore(const BoardState& state) {
    for (unsigned gpio = 0; gpio < kGpioCount; ++gpio) {
        m_gpios->Restore(gpio, state.gpios.at(gpio));
    }
    std::array<Drive, kHostLineCount> drives{};
    for (std::size_t line = 0; line < kHostLineCount; ++line) {
        drives.at(line) = SysfsGpio::DriveOf(state.gpios.at(m_setup.Gpios().at(line)));
    }
    m_port->RestoreAttributes(FromKernel(state.portSettings));
    m_harness->Restore(drives, state.tristate);
    m_chip->Restore(state.chip);
}

BoardState Board::State() const {
    BoardState state;
    state.gpios = m_gpios->States();
    state.tristate = m_harness->Tristate();
    state.portSettings = m_port->KeptAttributes();
    state.chip = m_chip->State();
    return state;
}

void Board::Forget(Instant now, bool input) {
    m_faults.End();
    m_clock.CancelAll();
    m_clock.SkipTo(now);
    m_serialWire->Forget();
    if (input) {
        m_port->ForgetInput();
        m_comm->ForgetInput();
    }
    m_faults.Begin(m_clock, m_listeners, *this);
}

void Board::SetPower(bool on) {
    m_chip->SetPower(on);
}

void Board::Kill() {
    m_control.Kill();
}

void Board::Settle() {
    m_faults.End();
    m_clock.Settle(m_clock.Now() + kSettleTime);
}

}  // namespace vboard
