// SPDX-License-Identifier: MIT
#pragma once

// The tool's controller of one chip, for as long as a run needs it, with the texts that it points
// to. Lines and port are two views of it.

#include <memory>
#include <string>

#include "flashmcu/FWU_MSP.h"
#include "guard/boards/Board.h"

namespace guard {

class Target {
public:
    /// Touches nothing yet. `board` must outlive the target.
    explicit Target(const Board& board);
    ~Target();
    Target(const Target&) = delete;
    Target& operator=(const Target&) = delete;

    /// The controller; made at the first call, which exports the three lines and makes RESET_GPIO
    /// an output.
    [[nodiscard]] CFWUMsp& Controller();
    /// Whether the lines have been touched and not been dropped.
    [[nodiscard]] bool Made() const { return m_controller != nullptr; }
    /// Destroys the controller, which switches the tristate off and unexports the lines.
    void Drop();

    /// The board that was given.
    [[nodiscard]] const Board& TheBoard() const { return m_board; }

private:
    const Board& m_board;
    MspBoardProfile m_profile;
    std::unique_ptr<CFWUMsp> m_controller;
};

}  // namespace guard
