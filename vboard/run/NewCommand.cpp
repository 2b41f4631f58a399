// SPDX-License-Identifier: MIT

// vboard new: makes a board in a file.

#include <string>

#include "vboard/run/BoardAccess.h"
#include "vboard/run/Commands.h"
#include "vboard/run/ImageFile.h"
#include "vboard/run/Refuse.h"

namespace vboard {

int New(const NewOptions& options) {
    std::string problem;
    BoardSetup setup;
    if (!SetupFrom(options.settings, setup, problem)) {
        return Refuse(problem);
    }
    image::MemoryImage image;
    const bool hasImage = !options.imagePath.empty();
    if (hasImage && !ReadImageFile(options.imagePath, image, problem)) {
        return Refuse(problem);
    }
    Descriptor descriptor;
    BoardFile file;
    const ImageSource source{options.imagePath, hasImage ? &image : nullptr};
    return MakeBoard(options.path, setup, source, descriptor, file, problem) ? 0 : Refuse(problem);
}

}  // namespace vboard
