// SPDX-License-Identifier: MIT

// The board's library with two mistakes of its own, in functions of libc that no board needs.

#include <stdexcept>

#include "vboard/process/World.h"

// It asks for the board's files before there is a board.
extern "C" __attribute__((visibility("default"))) void sync() noexcept {
    static_cast<void>(vboard::TheHost());
}

// It throws where nothing of the library's catches, into a program that may catch anything.
extern "C" __attribute__((visibility("default"))) long gethostid() {
    throw std::runtime_error("thrown by mistake");
}
