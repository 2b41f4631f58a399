// SPDX-License-Identifier: MIT

// vboard dump: what the flash of a board holds, as Intel HEX.

#include <string>

#include "vboard/run/BoardAccess.h"
#include "vboard/run/BoardView.h"
#include "vboard/run/Commands.h"
#include "vboard/run/ImageFile.h"
#include "vboard/run/Refuse.h"

namespace vboard {

int Dump(const DumpOptions& options) {
    BoardFile file;
    std::string problem;
    const bool done = ReadBoard(options.boardPath, file, problem) &&
                      WriteImageFile(options.imagePath, ProgrammedImage(file), problem);
    return done ? 0 : Refuse(problem);
}

}  // namespace vboard
