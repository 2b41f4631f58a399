// SPDX-License-Identifier: MIT
#include "vboard/chip/Chip.h"

namespace vboard {
namespace {

constexpr std::uint16_t kErasedVector = 0xFFFF;

std::uint32_t Number(PinLevel level) {
    return static_cast<std::uint32_t>(level);
}

}  // namespace

Chip::Chip(VirtualClock& clock, Probe& probe, Faults& faults, const ChipModel& model,
           const ChipOptions& options, Memory memory, EraseWords eraseWords)
    : m_flash(model, options, faults, memory, eraseWords),
      m_rstNmiFilter(clock, options.minimumPulse, PinLevel::kHigh,
                     [this](PinLevel level) { Act(m_detector.SetPin(Pin::kRstNmi, level)); }),
      m_tckFilter(clock, options.minimumPulse, PinLevel::kHigh,
                  [this](PinLevel level) { Act(m_detector.SetPin(Pin::kTck, level)); }),
      m_loader(clock, probe, faults, model, options, m_flash,
               [this](bool toFirmware) { Run(toFirmware); }),
      m_application(clock, probe, options, memory),
      m_holdSignal(probe, Signal::kChipHold),
      m_rstNmiSignal(probe, Signal::kChipRstNmi),
      m_tckSignal(probe, Signal::kChipTck),
      m_modeSignal(probe, Signal::kChipMode) {}

// A kept state that its own pins contradict is put right by the pins: a chip held in reset is in
// reset, and one that is not has left it by the reset vector.
ChipMode Chip::ModeFor(const ChipState& state) {
    if (state.mode == ChipMode::kUnpowered) {
        return ChipMode::kUnpowered;
    }
    if (state.hold == PinLevel::kHigh || state.rstNmi == PinLevel::kLow) {
        return ChipMode::kReset;
    }
    const bool armedWithoutTck = state.mode == ChipMode::kArmed && state.tck == PinLevel::kHigh;
    return state.mode == ChipMode::kReset || armedWithoutTck ? ChipMode::kApplication : state.mode;
}

void Chip::Restore(const ChipState& state) {
    m_mode = ModeFor(state);
    const bool vectorDecides =
        m_mode == ChipMode::kApplication && state.mode != ChipMode::kApplication;
    if (vectorDecides && m_flash.WordAt(kResetVectorAddress) == kErasedVector) {
        m_mode = ChipMode::kStopped;
    }
    m_rstNmiFilter.Restore(state.rstNmi);
    m_tckFilter.Restore(state.tck);
    m_detector.Restore({state.hold, state.rstNmi, state.tck, m_mode != ChipMode::kUnpowered,
                        state.tckFalls, m_mode == ChipMode::kArmed});
    m_holdSignal.Announce(Number(state.hold));
    m_rstNmiSignal.Announce(Number(state.rstNmi));
    m_tckSignal.Announce(Number(state.tck));
    m_modeSignal.Announce(static_cast<std::uint32_t>(m_mode));
    m_loader.Restore(m_mode == ChipMode::kLoader, state.loaderUnlocked);
    if (m_mode == ChipMode::kApplication) {
        m_application.Resume();
    } else {
        m_application.Stop();
    }
}

ChipState Chip::State() const {
    const auto level = [](const SignalOutput& pin) { return static_cast<PinLevel>(pin.Value()); };
    return {m_mode,
            level(m_holdSignal),
            level(m_rstNmiSignal),
            level(m_tckSignal),
            m_detector.Now().tckFalls,
            m_loader.Unlocked()};
}

void Chip::SetPin(Pin pin, PinLevel level) {
    switch (pin) {
        case Pin::kHold:
            m_holdSignal.Set(Number(level));
            Act(m_detector.SetPin(pin, level));
            return;
        case Pin::kRstNmi:
            m_rstNmiSignal.Set(Number(level));
            m_rstNmiFilter.Set(level);
            return;
        case Pin::kTck:
            m_tckSignal.Set(Number(level));
            m_tckFilter.Set(level);
            return;
    }
}

void Chip::SetPower(bool on) {
    const auto verdict = m_detector.SetPower(on);
    if (on) {
        Act(verdict);
    } else if (m_mode != ChipMode::kUnpowered) {
        SetMode(ChipMode::kUnpowered);
        EndAll();
    }
}

void Chip::Act(EntryDetector::Verdict verdict) {
    switch (verdict) {
        case EntryDetector::Verdict::kNone:
            return;
        case EntryDetector::Verdict::kReset:
            SetMode(ChipMode::kReset);
            EndAll();
            return;
        case EntryDetector::Verdict::kArmed:
            SetMode(ChipMode::kArmed);
            return;
        case EntryDetector::Verdict::kLoader:
            SetMode(ChipMode::kLoader);
            m_loader.Enter();
            return;
        case EntryDetector::Verdict::kApplication:
            Run(m_flash.WordAt(kResetVectorAddress) != kErasedVector);
            return;
    }
}

void Chip::Run(bool firmware) {
    SetMode(firmware ? ChipMode::kApplication : ChipMode::kStopped);
    EndAll();
    if (firmware) {
        m_application.Start();
    }
}

void Chip::EndAll() {
    m_loader.Leave();
    m_application.Stop();
}

void Chip::SetMode(ChipMode mode) {
    m_mode = mode;
    m_modeSignal.Set(static_cast<std::uint32_t>(mode));
}

void Chip::ConnectSerial(SerialSink* sink) {
    m_loader.ConnectSerial(sink);
}

void Chip::ConnectMessages(MessageSink* sink) {
    m_application.ConnectMessages(sink);
}

void Chip::Receive(const ReceivedCharacter& character) {
    m_loader.Receive(character);
}

void Chip::ReceiveMessage(std::span<const std::uint8_t> message) {
    m_application.Receive(message);
}

const SerialFormat& Chip::Format() const {
    return m_loader.Format();
}

bool Chip::RunningVersion(std::uint16_t& version) const {
    if (!m_application.Running()) {
        return false;
    }
    version = m_application.Version();
    return true;
}

void Chip::UpdateMemory() {
    m_loader.UpdateMemory();
}

}  // namespace vboard
