// SPDX-License-Identifier: MIT
#include "vboard/run/ImageFile.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

#include "image/IntelHex.h"
#include "vboard/run/OutputFile.h"
#include "vboard/text/Format.h"

namespace vboard {

bool ReadImageFile(const std::string& path, image::MemoryImage& image, std::string& problem) {
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file) {
        problem = Formatted("image '{}' can't be read: {}", path, strerrordesc_np(errno));
        return false;
    }
    std::string why;
    if (!image::ReadIntelHex(text, image, why)) {
        problem = Formatted("image '{}': {}", path, why);
        return false;
    }
    return true;
}

bool WriteImageFile(const std::string& path, const image::MemoryImage& image,
                    std::string& problem) {
    const std::string text = image::WriteIntelHex(image);
    Descriptor file;
    if (path == "-") {
        file = Descriptor(dup(STDOUT_FILENO));
    } else if (!OpenOutput("image", path, file, problem)) {
        return false;
    }
    if (!WriteAll(file, text)) {
        problem = CannotWrite("image", path, errno);
        return false;
    }
    return true;
}

}  // namespace vboard
