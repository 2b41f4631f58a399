// SPDX-License-Identifier: MIT
#include "vboard/run/ImageFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string_view>

#include "vboard/image/IntelHex.h"
#include "vboard/run/Descriptor.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

constexpr mode_t kFileMode = 0644;

bool WriteText(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(written < 0 ? 0 : written));
    }
    return true;
}

}  // namespace

bool ReadImageFile(const std::string& path, MemoryImage& image, std::string& problem) {
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file) {
        problem = Formatted("image '{}' can't be read: {}", path, strerrordesc_np(errno));
        return false;
    }
    std::string why;
    if (!ReadIntelHex(text, image, why)) {
        problem = Formatted("image '{}': {}", path, why);
        return false;
    }
    return true;
}

bool WriteImageFile(const std::string& path, const MemoryImage& image, std::string& problem) {
    const std::string text = WriteIntelHex(image);
    const bool toStandardOutput = path == "-";
    const Descriptor file(
        toStandardOutput ? dup(STDOUT_FILENO)
                         : open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kFileMode));
    if (!file.IsOpen() || !WriteText(file.Number(), text)) {
        problem = Formatted("image '{}' can't be written: {}", path, strerrordesc_np(errno));
        return false;
    }
    return true;
}

}  // namespace vboard
