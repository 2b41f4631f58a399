// SPDX-License-Identifier: MIT

// The program vboard: what happens when something breaks that no command line explains.

#include <cstdio>
#include <exception>

#include "vboard/run/CommandLine.h"
#include "vboard/session/Session.h"

int main(int argc, char** argv) {
    try {
        const int status = vboard::CarryOut(argc, argv);
        if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
            std::fputs("vboard: standard output can't be written\n", stderr);
            return vboard::kExitOwnError;
        }
        return status;
    } catch (const std::exception& failure) {
        // Memory ran out, or a stream broke.
        std::fprintf(stderr, "vboard: %s\n", failure.what());
        return vboard::kExitOwnError;
    }
}
