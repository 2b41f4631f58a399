// SPDX-License-Identifier: MIT
#include "vboard/front/RealLibc.h"

#include <dlfcn.h>

namespace vboard {
namespace {

template <class Function>
void LookUp(Function& function, const char* name) {
    function = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

RealLibc LookUpAll() {
    RealLibc real{};
    LookUp(real.open, "open");
    LookUp(real.close, "close");
    LookUp(real.read, "read");
    LookUp(real.write, "write");
    LookUp(real.ioctl, "ioctl");
    LookUp(real.fcntl, "fcntl");
    LookUp(real.select, "select");
    LookUp(real.poll, "poll");
    LookUp(real.fopen, "fopen");
    LookUp(real.fopen64, "fopen64");
    LookUp(real.isatty, "isatty");
    LookUp(real.tcgetattr, "tcgetattr");
    LookUp(real.tcsetattr, "tcsetattr");
    LookUp(real.tcdrain, "tcdrain");
    LookUp(real.tcflush, "tcflush");
    LookUp(real.tcsendbreak, "tcsendbreak");
    LookUp(real.usleep, "usleep");
    LookUp(real.sleep, "sleep");
    LookUp(real.nanosleep, "nanosleep");
    LookUp(real.clock_nanosleep, "clock_nanosleep");
    LookUp(real.quickExit, "_exit");
    return real;
}

}  // namespace

const RealLibc& Real() {
    static const RealLibc real = LookUpAll();
    return real;
}

}  // namespace vboard
