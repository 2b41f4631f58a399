// SPDX-License-Identifier: MIT
#include "vboard/host/RequestMemory.h"

#include <linux/serial.h>
#include <sys/ioctl.h>

#include "vboard/host/LineSettings.h"

namespace vboard {

RequestMemory MemoryOf(unsigned long request) {
    request &= 0xFFFFFFFFUL;  // As Host::Ioctl.
    if (const std::size_t bytes = SettingsBytes(request); bytes != 0) {
        return ReadsSettings(request) ? RequestMemory{0, bytes} : RequestMemory{bytes, 0};
    }
    switch (request) {
        case FIONREAD:
        case TIOCOUTQ:
        case TIOCMGET:
        case TIOCGEXCL:
        case TIOCGETD:
            return {0, sizeof(int)};
        case TIOCMSET:
        case TIOCMBIS:
        case TIOCMBIC:
        case TIOCSETD:
        case FIONBIO:
            return {sizeof(int), 0};
        case TIOCGWINSZ:
            return {0, sizeof(winsize)};
        case TIOCGICOUNT:
            return {0, sizeof(serial_icounter_struct)};
        case TIOCGSERIAL:
            return {0, sizeof(serial_struct)};
        case TIOCSSERIAL:
            return {sizeof(serial_struct), 0};
        default:
            return {};
    }
}

}  // namespace vboard
