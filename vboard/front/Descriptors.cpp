// SPDX-License-Identifier: MIT
#include "vboard/front/Descriptors.h"

#include <utility>

namespace vboard {

void Descriptors::Put(int descriptor, std::shared_ptr<OpenFile> file) {
    const auto index = static_cast<std::size_t>(descriptor);
    if (index >= m_files.size()) {
        m_files.resize(index + 1);
    }
    m_files[index] = std::move(file);
}

std::shared_ptr<OpenFile> Descriptors::Take(int descriptor) {
    return Find(descriptor) == nullptr
               ? nullptr
               : std::exchange(m_files[static_cast<std::size_t>(descriptor)], nullptr);
}

void Descriptors::Share(int descriptor, int copy) {
    Put(copy, m_files[static_cast<std::size_t>(descriptor)]);
}

Descriptors& TheDescriptors() {
    // Never destroyed: the program may close descriptors after every destructor has run.
    static auto* descriptors = new Descriptors;
    return *descriptors;
}

}  // namespace vboard
