// SPDX-License-Identifier: MIT
#pragma once

// Pin edges in; loader, application or neither out.
//
// Parts with a TCK pin of their own (SLAU319) enter the loader so:
//
//     RST/NMI  ‾‾\_________________/‾‾‾‾‾‾‾‾
//     TCK      ‾‾‾‾\__/‾\__________/‾‾‾‾      two falls or more while RST/NMI is low, still low
//                  1     2       a   b        when RST/NMI rises (a: armed), then a rise (b:
//                  loader)
//
// Any other way out of reset starts the application. Falls count only while RST/NMI is low, the
// board's reset circuit lets go of the chip and there is power; each of these three starts the
// count anew.

#include <cstdint>

#include "vboard/chip/Pins.h"

namespace vboard {

class EntryDetector {
public:
    /// What an edge has brought about.
    enum class Verdict : std::uint8_t {
        kNone,
        kReset,        ///< The chip goes into reset, whatever it was doing.
        kArmed,        ///< Out of reset with the loader asked for; TCK has still to rise.
        kLoader,       ///< The loader starts.
        kApplication,  ///< Out of reset: what the reset vector says starts.
    };

    /// All that it remembers.
    struct State {
        PinLevel hold = PinLevel::kLow;
        PinLevel rstNmi = PinLevel::kHigh;
        PinLevel tck = PinLevel::kHigh;
        bool powered = true;
        std::uint8_t tckFalls = 0;  ///< Saturates at 2.
        bool armed = false;
    };

    /// The same level again is no edge. Without power a level is remembered and means nothing.
    Verdict SetPin(Pin pin, PinLevel level);

    /// Power that comes back acts as a rise of RST/NMI would, if neither reset input is active.
    Verdict SetPower(bool on);

    /// Levels that contradict the rest win: in reset nothing is armed, out of it nothing is
    /// counted.
    void Restore(const State& state);
    [[nodiscard]] const State& Now() const { return m_state; }
    [[nodiscard]] bool InReset() const;

private:
    [[nodiscard]] PinLevel& LevelOf(Pin pin);
    Verdict TckMoved();
    Verdict LeaveReset();

    State m_state;
};

}  // namespace vboard
