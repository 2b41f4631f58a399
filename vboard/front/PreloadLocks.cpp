// SPDX-License-Identifier: MIT

// Locks; those of fcntl are in PreloadDescriptors.cpp.

#include "vboard/front/Preload.h"

// After it: the real headers.
#include <sys/file.h>
#include <unistd.h>

#include "vboard/process/Locks.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/Wrapping.h"

using vboard::Answer;
using vboard::FileFor;
using vboard::Real;

VBOARD_EXPORT int flock(int descriptor, int operation) __THROW {
    if (const auto file = FileFor(descriptor)) {
        return Answer<int>([&] { return vboard::LockFile(*file, operation); });
    }
    return Real().flock(descriptor, operation);
}

VBOARD_EXPORT int lockf(int descriptor, int command, off_t length) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<int>([&] { return vboard::LockFromHere(*file, command, length); });
    }
    return Real().lockf(descriptor, command, length);
}

VBOARD_EXPORT int lockf64(int descriptor, int command, off64_t length) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<int>([&] { return vboard::LockFromHere(*file, command, length); });
    }
    return Real().lockf64(descriptor, command, length);
}
