// SPDX-License-Identifier: MIT
#pragma once

// What a run is asked for, ready to be carried out: everything that can be refused without a device
// has been looked at before.

#include <cstdint>
#include <optional>
#include <string>

#include "guard/boards/Board.h"
#include "guard/link/Clock.h"
#include "guard/loader/Loader.h"
#include "image/MemoryImage.h"

namespace guard {

/// An image that was read and found good.
struct Firmware {
    std::string path;
    std::string sha256;  ///< Of the file.
    image::MemoryImage memory;
    std::uint16_t version = 0;  ///< The word at the board's version address.
};

/// What holds for every command that touches the chip.
struct Request {
    std::string command;
    Board board;
    std::string lockFolder = "/run/lock";
    Duration wait{0};               ///< For a port that is busy.
    std::optional<Firmware> image;  ///< install, verify.

    bool force = false;            ///< install: also when the firmware is the image's already.
    bool prove = false;            ///< install: current only when the chip holds the image.
    bool keepInformation = false;  ///< install: information memory is read before, written after.
    bool loseInformation = false;  ///< install: its calibration values may be lost.
    bool mayErase = false;         ///< A password may be tried that could erase the chip.
    std::optional<Password> password;  ///< read, keepInformation: of the image that is in the chip.
    std::optional<Speed> speed;        ///< Another than the first.
};

}  // namespace guard
