// SPDX-License-Identifier: MIT
#include "guard/link/SmallFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>

namespace guard {

bool WriteSmallFile(const std::string& path, std::string_view text) {
    const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (file < 0) {
        return false;
    }
    const bool taken = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    (void)close(file);
    return taken;
}

std::string ReadSmallFile(const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return {};
    }
    std::array<char, 31> text{};
    const ssize_t count = read(file, text.data(), text.size());
    (void)close(file);
    std::string content(text.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    if (content.ends_with('\n')) {
        content.pop_back();
    }
    return content;
}

}  // namespace guard
