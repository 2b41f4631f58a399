// SPDX-License-Identifier: MIT

// Descriptors: copies and flags.

#include "vboard/front/Preload.h"

// After it: the real headers.
#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>

#include "vboard/process/DescriptorCalls.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/Wrapping.h"

namespace {

using vboard::FileFor;
using vboard::Real;

int Control(int descriptor, int command, void* argument) {
    if (FileFor(descriptor) != nullptr) {
        return vboard::ControlDescriptor(descriptor, command, argument);
    }
    return Real().fcntl(descriptor, command, argument);
}

}  // namespace

VBOARD_EXPORT int dup(int descriptor) __THROW {
    return vboard::Copied(descriptor, Real().dup(descriptor));
}

VBOARD_EXPORT int dup2(int descriptor, int target) __THROW {
    if (vboard::IsReserved(target)) {
        return vboard::Refused(EBADF);
    }
    return vboard::Replaced(descriptor, target, Real().dup2(descriptor, target));
}

VBOARD_EXPORT int dup3(int descriptor, int target, int flags) __THROW {
    if (vboard::IsReserved(target)) {
        return vboard::Refused(EBADF);
    }
    return vboard::Replaced(descriptor, target, Real().dup3(descriptor, target, flags));
}

VBOARD_EXPORT int fcntl(int descriptor, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return Control(descriptor, command, argument);
}

VBOARD_EXPORT int fcntl64(int descriptor, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (FileFor(descriptor) != nullptr) {
        return vboard::ControlDescriptor(descriptor, command, argument);
    }
    return Real().fcntl64(descriptor, command, argument);
}
