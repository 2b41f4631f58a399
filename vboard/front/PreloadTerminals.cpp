// SPDX-License-Identifier: MIT

// Terminals and other devices.

#include "vboard/front/Preload.h"

// After it: the real headers.
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>

#include "vboard/process/RealLibc.h"
#include "vboard/process/TerminalNames.h"
#include "vboard/process/Wrapping.h"

namespace {

using vboard::Answer;
using vboard::FileFor;
using vboard::Real;
using vboard::TheHost;

int Ioctl(int descriptor, unsigned long request, void* argument) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<int>([&] { return vboard::AnyIoctl(descriptor, *file, request, argument); });
    }
    return Real().ioctl(descriptor, request, argument);
}

}  // namespace

VBOARD_EXPORT int ioctl(int descriptor, unsigned long request, ...) __THROW {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return Ioctl(descriptor, request, argument);
}

// The name that 32-bit programs built with 64-bit time call.
VBOARD_EXPORT int __ioctl_time64(int descriptor, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return Ioctl(descriptor, request, argument);
}

VBOARD_EXPORT int isatty(int descriptor) __THROW {
    if (const auto file = FileFor(descriptor)) {
        return vboard::IsTerminal(*file);
    }
    return Real().isatty(descriptor);
}

VBOARD_EXPORT char* ttyname(int descriptor) __THROW {
    if (const auto file = FileFor(descriptor)) {
        return vboard::TerminalName(*file);
    }
    return Real().ttyname(descriptor);
}

VBOARD_EXPORT int ttyname_r(int descriptor, char* buffer, std::size_t size) __THROW {
    if (const auto file = FileFor(descriptor)) {
        return vboard::TerminalName(*file, buffer, size);
    }
    return Real().ttyname_r(descriptor, buffer, size);
}

VBOARD_EXPORT int tcgetattr(int descriptor, termios* attributes) __THROW {
    if (const auto file = FileFor(descriptor)) {
        return Answer<int>([&] { return vboard::GetSettings(*file, Given(attributes)); });
    }
    return Real().tcgetattr(descriptor, attributes);
}

VBOARD_EXPORT int tcsetattr(int descriptor, int action, const termios* attributes) __THROW {
    if (const auto file = FileFor(descriptor)) {
        return Answer<int>([&] { return vboard::SetSettings(*file, action, Given(attributes)); });
    }
    return Real().tcsetattr(descriptor, action, attributes);
}

VBOARD_EXPORT int tcdrain(int descriptor) {
    if (const auto file = FileFor(descriptor)) {
        return Answer<int>([&] { return TheHost().Drain(*file); });
    }
    return Real().tcdrain(descriptor);
}

VBOARD_EXPORT int tcflush(int descriptor, int queue) __THROW {
    if (const auto file = FileFor(descriptor)) {
        return Answer<int>([&] { return TheHost().Flush(*file, queue); });
    }
    return Real().tcflush(descriptor, queue);
}

VBOARD_EXPORT int tcflow(int descriptor, int action) __THROW {
    if (const auto file = FileFor(descriptor)) {
        return Answer<int>([&] { return TheHost().ControlFlow(*file, action); });
    }
    return Real().tcflow(descriptor, action);
}

VBOARD_EXPORT int tcsendbreak(int descriptor, int duration) __THROW {
    if (const auto file = FileFor(descriptor)) {
        return Answer<int>([&] { return TheHost().SendBreak(*file); });
    }
    return Real().tcsendbreak(descriptor, duration);
}

// The port is nobody's controlling terminal.

VBOARD_EXPORT pid_t tcgetpgrp(int descriptor) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return vboard::Refused(ENOTTY);
    }
    return Real().tcgetpgrp(descriptor);
}

VBOARD_EXPORT int tcsetpgrp(int descriptor, pid_t group) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return vboard::Refused(ENOTTY);
    }
    return Real().tcsetpgrp(descriptor, group);
}

VBOARD_EXPORT pid_t tcgetsid(int descriptor) __THROW {
    if (FileFor(descriptor) != nullptr) {
        return vboard::Refused(ENOTTY);
    }
    return Real().tcgetsid(descriptor);
}
