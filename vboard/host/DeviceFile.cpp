// SPDX-License-Identifier: MIT
#include "vboard/host/DeviceFile.h"

#include <cerrno>

namespace vboard {

IoResult DeviceFile::Ioctl(unsigned long /*request*/, void* /*argument*/) {
    return -ENOTTY;
}
IoResult DeviceFile::GetAttributes(termios& /*attributes*/) {
    return -ENOTTY;
}
IoResult DeviceFile::SetAttributes(int /*action*/, const termios& /*attributes*/) {
    return -ENOTTY;
}
IoResult DeviceFile::Drain() {
    return -ENOTTY;
}
IoResult DeviceFile::Flush(int /*queue*/) {
    return -ENOTTY;
}
IoResult DeviceFile::SendBreak() {
    return -ENOTTY;
}

}  // namespace vboard
