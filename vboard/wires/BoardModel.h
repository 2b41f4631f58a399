// SPDX-License-Identifier: MIT
#pragma once

// The board models: which GPIO numbers and which devices of the host lead to the chip.

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "vboard/wires/Level.h"

namespace vboard {

/// A row of the table of models. Texts are static.
struct BoardModel {
    std::string_view name;
    std::string_view portPath;  ///< The programming port.
    std::string_view
        commPath;  ///< The communication device, which also carries the tristate switch.
    std::array<unsigned, kHostLineCount> gpios;  ///< In the order of HostLine.
};

/// The table; the first is the model of a board of which nothing is said.
[[nodiscard]] std::span<const BoardModel> AllBoardModels();
/// nullptr when there is no such model.
[[nodiscard]] const BoardModel* FindBoardModel(std::string_view name);

}  // namespace vboard
