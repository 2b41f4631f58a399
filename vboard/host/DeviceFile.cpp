// SPDX-License-Identifier: MIT
#include "vboard/host/DeviceFile.h"

#include <cerrno>

#include "vboard/text/Format.h"

namespace vboard {

IoResult DeviceFile::Ioctl(unsigned long /*request*/, void* /*argument*/) {
    return -ENOTTY;
}
std::string DeviceFile::Describe(unsigned long request, const void* /*argument*/) const {
    return Formatted("{:#x}", request);
}
IoResult DeviceFile::Seek(std::int64_t /*offset*/, int /*whence*/) {
    return -ESPIPE;
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
IoResult DeviceFile::ControlFlow(int /*action*/) {
    return -ENOTTY;
}

}  // namespace vboard
