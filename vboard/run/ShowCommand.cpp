// SPDX-License-Identifier: MIT

// vboard show: what a kept board is, does and holds.

#include <string>

#include "vboard/run/BoardAccess.h"
#include "vboard/run/BoardView.h"
#include "vboard/run/Commands.h"
#include "vboard/run/Refuse.h"
#include "vboard/text/Format.h"

namespace vboard {

int Show(const ShowOptions& options) {
    BoardFile file;
    std::string problem;
    if (!ReadBoard(options.path, file, problem)) {
        return Refuse(problem);
    }
    const BoardView view = LookAt(file);
    PrintFormatted(stdout, "{}", options.json ? JsonOf(view) : TextOf(view));
    return 0;
}

}  // namespace vboard
