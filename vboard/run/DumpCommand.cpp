// SPDX-License-Identifier: MIT

// vboard dump: what the flash of a board holds, as Intel HEX.

#include <string>

#include "vboard/run/BoardAccess.h"
#include "vboard/run/BoardView.h"
#include "vboard/run/Commands.h"
#include "vboard/run/FileClaims.h"
#include "vboard/run/ImageFile.h"
#include "vboard/run/Refuse.h"

namespace vboard {

int Dump(const DumpOptions& options) {
    BoardFile file;
    FileClaims claims;
    std::string problem;
    const std::string output = options.imagePath == "-" ? "/dev/stdout" : options.imagePath;
    const bool done = claims.Claim("board file", options.boardPath, problem) &&
                      claims.Claim("image", output, problem) &&
                      ReadBoard(options.boardPath, file, problem) &&
                      WriteImageFile(options.imagePath, ProgrammedImage(file), problem);
    return done ? 0 : Refuse(problem);
}

}  // namespace vboard
