// SPDX-License-Identifier: MIT

// The table holds the plain names, not those that large-file or 64-bit-time macros put in their
// place.
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS

#include "vboard/process/RealLibc.h"

#include <dlfcn.h>

namespace vboard {
namespace {

RealLibc LookUpAll() {
    RealLibc real{};
#define VBOARD_LOOK_UP(name) real.name = reinterpret_cast<decltype(real.name)>(FindReal(#name));
    VBOARD_REAL_FUNCTIONS(VBOARD_LOOK_UP)
#undef VBOARD_LOOK_UP
    return real;
}

}  // namespace

void* FindReal(const char* name) {
    return dlsym(RTLD_NEXT, name);
}

const RealLibc& Real() {
    static const RealLibc real = LookUpAll();
    return real;
}

}  // namespace vboard
