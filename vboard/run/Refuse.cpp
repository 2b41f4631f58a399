// SPDX-License-Identifier: MIT
#include "vboard/run/Refuse.h"

#include "vboard/session/Session.h"
#include "vboard/text/Format.h"

namespace vboard {

int Refuse(const std::string& problem) {
    PrintFormatted(stderr, "vboard: {}\n", problem);
    return kExitOwnError;
}

}  // namespace vboard
