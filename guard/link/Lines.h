// SPDX-License-Identifier: MIT
#pragma once

// The three lines and the tristate switch: into the loader, out of it, and let go. What the
// controller does not look at is read back here, and done again where the kernel did not take it.
//
// At rest all three lines are inputs and not exported, as they are when a board has just started.

#include <array>
#include <string>
#include <vector>

#include "guard/link/Target.h"

namespace guard {

class Lines {
public:
    /// `target` must outlive the lines.
    explicit Lines(Target& target);

    /// Exports the lines, drives them and plays the entry into the loader; 1.15 s. False where a
    /// line or the switch is missing or refuses; Problem() names it then, and the lines may be
    /// driven: Free them.
    [[nodiscard]] bool EnterLoader();
    [[nodiscard]] const std::string& Problem() const { return m_problem; }

    /// Ends the loader and starts the firmware: RST/NMI low for 100 ms, all lines inputs, the
    /// switch off. With `hard` the chip is held by RESET_GPIO for 500 ms first. The lines stay
    /// exported. True when they all read as inputs; it has been tried three times then.
    bool StartFirmware(bool hard);

    /// StartFirmware where lines are driven, then gives the lines back. True when none of them is
    /// left exported or driven.
    bool Free();

    /// The same for lines that somebody else has left: exports them first. False as well when they
    /// cannot be exported.
    bool LetGo();

private:
    [[nodiscard]] bool Fail(std::string problem);
    [[nodiscard]] static bool Exported(const std::string& gpio);
    void NoteStrangers();
    [[nodiscard]] bool ExportAll();
    [[nodiscard]] bool Prepare();
    [[nodiscard]] bool AllAre(const std::string& direction) const;
    [[nodiscard]] bool UnexportAll();

    Target& m_target;
    std::array<std::string, 3> m_gpios;  ///< reset, RxD/NMI, TCK.
    /// Lines that a number cut in two would name, as far as they were not exported before.
    std::vector<std::string> m_strangers;
    bool m_driven = false;
    std::string m_problem;
};

}  // namespace guard
