// SPDX-License-Identifier: MIT
#pragma once

// Every value of the board that can be watched, in one table: what a transcript prints, what a
// waveform shows.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace vboard {

enum class Signal : std::uint8_t {
    kResetGpio,     ///< Host line RESET_GPIO as the board sees it.
    kRxdNmiGpio,    ///< Host line RxD_NMI_GPIO.
    kMspTckGpio,    ///< Host line MSP_TCK_GPIO.
    kTristate,      ///< The switch that cuts off the second link; 1 = on, cut off.
    kChipHold,      ///< Chip side of RESET_GPIO; 1 = the whole chip is held in reset.
    kChipRstNmi,    ///< Chip pin RST/NMI.
    kChipTck,       ///< Chip pin TCK.
    kChipMode,      ///< What the chip is doing: values of ChipMode.
    kLoaderState,   ///< What the loader is doing: values of LoaderState.
    kLoaderLocked,  ///< 1 until the password has been accepted.
    kChipBusy,      ///< 1 while flash is erased or programmed.
    kCount
};

/// How many there are.
inline constexpr std::size_t kSignalCount = static_cast<std::size_t>(Signal::kCount);

/// A row of the table of signals. Texts are static.
struct SignalInfo {
    Signal signal;
    std::string_view name;    ///< As in waveforms and transcripts: lower case, underscores.
    std::string_view group;   ///< The transcript's column: line, switch, pin, chip.
    std::uint32_t idleValue;  ///< Before anything has been announced.
    std::span<const std::string_view> valueNames;  ///< Empty where the number says it all.
};

/// The table, in the order of the enumeration.
[[nodiscard]] std::span<const SignalInfo, kSignalCount> AllSignals();
[[nodiscard]] const SignalInfo& InfoOf(Signal signal);

/// The value's name where it has one, else its number in decimal is left to the caller and the view
/// is empty.
[[nodiscard]] std::string_view ValueName(Signal signal, std::uint32_t value);

}  // namespace vboard
