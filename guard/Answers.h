// SPDX-License-Identifier: MIT
#pragma once

// The commands that touch no device: what they print on standard output.

#include "guard/CommandLine.h"
#include "guard/boards/Board.h"
#include "guard/report/Report.h"
#include "guard/session/Verdict.h"

namespace guard {

/// `check`: the memory map, every finding, what flashmcu would make of the image; writes the
/// canonical image where that is ordered. The verdict has been announced.
Verdict CheckImage(const CommandLine& line, const Board& board, Report& report);

/// `boards`: the built-in ones and those of the folder. The verdict has been announced.
Verdict ListBoards(const CommandLine& line, Report& report);

}  // namespace guard
