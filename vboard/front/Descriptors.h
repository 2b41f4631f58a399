// SPDX-License-Identifier: MIT
#pragma once

// Which descriptors of the program belong to the board. Each is a real one (of /dev/null), so that
// the machine gives its number to nobody else.

#include <memory>
#include <vector>

#include "vboard/host/Host.h"

namespace vboard {

class Descriptors {
public:
    /// nullptr for a descriptor that is not the board's.
    [[nodiscard]] OpenFile* Find(int descriptor) const {
        return descriptor >= 0 && static_cast<std::size_t>(descriptor) < m_files.size()
                   ? m_files[static_cast<std::size_t>(descriptor)].get()
                   : nullptr;
    }
    void Put(int descriptor, std::shared_ptr<OpenFile> file);
    /// Takes the file out; the caller closes it when it holds the last reference.
    [[nodiscard]] std::shared_ptr<OpenFile> Take(int descriptor);
    /// Lets `copy` name the same file, as dup does.
    void Share(int descriptor, int copy);

private:
    std::vector<std::shared_ptr<OpenFile>> m_files;
};

[[nodiscard]] Descriptors& TheDescriptors();

}  // namespace vboard
