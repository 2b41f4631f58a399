// SPDX-License-Identifier: MIT
#include "guard/link/Target.h"

namespace guard {

// An empty path names no device: on a board without a switch the controller's attempts to move it
// fail and touch nothing.
Target::Target(const Board& board)
    : m_board(board),
      m_profile{board.port.c_str(), board.communication ? board.communication->c_str() : "",
                board.resetGpio.c_str(), board.rxdNmiGpio.c_str(), board.tckGpio.c_str()} {}

Target::~Target() = default;

CFWUMsp& Target::Controller() {
    if (m_controller == nullptr) {
        m_controller = std::make_unique<CFWUMsp>(&m_profile);
    }
    return *m_controller;
}

void Target::Drop() {
    m_controller.reset();
}

}  // namespace guard
