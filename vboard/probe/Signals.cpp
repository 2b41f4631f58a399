// SPDX-License-Identifier: MIT
#include "vboard/probe/Signals.h"

#include <array>

#include "vboard/probe/Modes.h"

namespace vboard {
namespace {

constexpr std::array<std::string_view, kChipModeCount> kChipModes{
    "reset", "armed", "loader", "application", "stopped", "unpowered"};
constexpr std::array<std::string_view, kLoaderStateCount> kLoaderStates{"off", "sync", "frame",
                                                                        "working", "answering"};

// The idle level of a host line is that of its pull-up or pull-down.
constexpr std::array<SignalInfo, kSignalCount> kSignals{{
    {Signal::kResetGpio, "reset_gpio", "line", 0, {}},
    {Signal::kRxdNmiGpio, "rxd_nmi_gpio", "line", 1, {}},
    {Signal::kMspTckGpio, "msp_tck_gpio", "line", 1, {}},
    {Signal::kTristate, "tristate", "switch", 0, {}},
    {Signal::kChipHold, "chip_hold", "pin", 0, {}},
    {Signal::kChipRstNmi, "chip_rst_nmi", "pin", 1, {}},
    {Signal::kChipTck, "chip_tck", "pin", 1, {}},
    {Signal::kChipMode, "chip_mode", "chip", 4, kChipModes},
    {Signal::kLoaderState, "loader_state", "chip", 0, kLoaderStates},
    {Signal::kLoaderLocked, "loader_locked", "chip", 1, {}},
    {Signal::kChipBusy, "chip_busy", "chip", 0, {}},
}};

}  // namespace

std::span<const SignalInfo, kSignalCount> AllSignals() {
    return kSignals;
}

const SignalInfo& InfoOf(Signal signal) {
    return kSignals[static_cast<std::size_t>(signal)];
}

std::string_view ValueName(Signal signal, std::uint32_t value) {
    const auto names = InfoOf(signal).valueNames;
    return value < names.size() ? names[value] : std::string_view{};
}

}  // namespace vboard
