// SPDX-License-Identifier: MIT
#include "vboard/time/MustHold.h"

#include <cstdio>
#include <cstdlib>

namespace vboard {
namespace {

MistakeHandler theHandler = nullptr;

}  // namespace

void SetMistakeHandler(MistakeHandler handler) {
    theHandler = handler;
}

void Mistake(std::string_view what, SourceLine where) {
    if (theHandler != nullptr) {
        theHandler(what, where);
    }
    std::fprintf(stderr, "vboard: mistake at %s:%d: %.*s\n", where.file, where.line,
                 static_cast<int>(what.size()), what.data());
    std::abort();
}

}  // namespace vboard
