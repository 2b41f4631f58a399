// SPDX-License-Identifier: MIT
#pragma once

// The seam: libc's functions as the program under test calls them, one file for each subject. Each
// wrapper has three beats and no more: is it the board's, ask the board, else the real function.
//
// This header comes first in each of those files: the wrappers define what the fortified headers
// would otherwise define inline, and the 32-bit names that large-file macros would rename.

#undef _FORTIFY_SOURCE
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS

#define VBOARD_EXPORT extern "C" __attribute__((visibility("default")))

/// A pointer as the program gave it. libc's headers promise the compiler that it is never null;
/// programs give null all the same, some to see whether a call is there.
template <class Pointed>
Pointed* Given(Pointed* pointer) {
    __asm__("" : "+r"(pointer));
    return pointer;
}
