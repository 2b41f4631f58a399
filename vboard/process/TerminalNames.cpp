// SPDX-License-Identifier: MIT
#include "vboard/process/TerminalNames.h"

#include <fcntl.h>
#include <sys/ioctl.h>

#include <algorithm>

#include "vboard/host/RequestMemory.h"
#include "vboard/process/ProgramMemory.h"
#include "vboard/process/RealLibc.h"

namespace vboard {

int IsTerminal(const OpenFile& file) {
    if (file.device->IsTerminal()) {
        return 1;
    }
    errno = ENOTTY;
    return 0;
}

char* TerminalName(const OpenFile& file) {
    static auto* name = new std::string;
    if (IsTerminal(file) == 0) {
        return nullptr;
    }
    *name = file.path;
    return name->data();
}

int TerminalName(const OpenFile& file, char* buffer, std::size_t size) {
    if (IsTerminal(file) == 0) {
        return ENOTTY;
    }
    if (file.path.size() >= size) {
        return ERANGE;
    }
    if (!CanWrite(buffer, file.path.size() + 1)) {
        return EFAULT;
    }
    *std::copy(file.path.begin(), file.path.end(), buffer) = '\0';
    return 0;
}

IoResult AnyIoctl(int descriptor, OpenFile& file, unsigned long request, void* argument) {
    if (request == FIOCLEX || request == FIONCLEX) {
        // The placeholder takes no request. An inherited descriptor has no other flag.
        const int result = Real().fcntl(descriptor, F_SETFD, request == FIOCLEX ? FD_CLOEXEC : 0);
        return result < 0 ? -errno : 0;
    }
    const RequestMemory memory =
        file.device->IsTerminal() || request == FIONBIO ? MemoryOf(request) : RequestMemory{};
    if (!CanRead(argument, memory.readBytes) || !CanWrite(argument, memory.writtenBytes)) {
        return -EFAULT;
    }
    const int before = file.flags;
    const IoResult result = TheHost().Ioctl(file, request, argument);
    if (file.flags != before) {
        NoteFlags(descriptor, file.flags);
    }
    return result;
}

IoResult GetSettings(OpenFile& file, termios* settings) {
    return CanWrite(settings) ? TheHost().GetAttributes(file, *settings) : -EFAULT;
}

IoResult SetSettings(OpenFile& file, int action, const termios* settings) {
    return CanRead(settings) ? TheHost().SetAttributes(file, action, *settings) : -EFAULT;
}

}  // namespace vboard
