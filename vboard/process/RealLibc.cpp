// SPDX-License-Identifier: MIT

// The table holds the plain names, not those that large-file or 64-bit-time macros put in their
// place.
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS

#include "vboard/process/RealLibc.h"

#include <dlfcn.h>

namespace vboard {

void* FindReal(const char* name) {
    return dlsym(RTLD_NEXT, name);
}

const RealLibc& Real() {
    static constinit const RealLibc real;
    return real;
}

}  // namespace vboard
