// SPDX-License-Identifier: MIT
#include "vboard/run/OutputFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "vboard/text/Format.h"

namespace vboard {

bool OpenOutput(std::string_view what, const std::string& path, Descriptor& descriptor,
                std::string& problem) {
    descriptor = Descriptor(
        open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, kNewFileMode));
    if (!descriptor.IsOpen()) {
        problem = CannotWrite(what, path, errno);
    }
    return descriptor.IsOpen();
}

bool WriteAll(const Descriptor& descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(descriptor.Number(), text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(written < 0 ? 0 : written));
    }
    return true;
}

std::string CannotWrite(std::string_view what, std::string_view path, int error) {
    return Formatted("{} '{}' can't be written: {}", what, path, strerrordesc_np(error));
}

}  // namespace vboard
