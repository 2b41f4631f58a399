// SPDX-License-Identifier: MIT
#pragma once

// Standing in a folder of the board.

#include <string>
#include <string_view>

#include "vboard/host/Host.h"

namespace vboard {

/// chdir(2) into a folder of the board. The program then stands in a folder of the machine that is
/// gone already and whose name says which one is meant, so that children and other programs know.
[[nodiscard]] IoResult StandIn(const Host& host, const std::string& path);
/// Where the program stands, when that is a folder of the board; else empty.
[[nodiscard]] std::string WhereItStands();

/// The path in the name of such a folder, as a link below /proc shows it; else empty.
[[nodiscard]] std::string PathOfGoneFolder(std::string_view link);

}  // namespace vboard
