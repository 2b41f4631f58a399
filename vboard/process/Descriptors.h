// SPDX-License-Identifier: MIT
#pragma once

// Which descriptors of the program belong to the board. Each is a real one, of an empty file in
// memory, so that the machine gives its number to nobody else and locks on it never collide. The
// file's name says what it stands for: a program that comes into being with such a descriptor open
// finds its device again.

#include <memory>
#include <string>
#include <string_view>
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
    /// The same, for an owner more. The descriptor must be the board's.
    [[nodiscard]] const std::shared_ptr<OpenFile>& At(int descriptor) const {
        return m_files[static_cast<std::size_t>(descriptor)];
    }
    void Put(int descriptor, std::shared_ptr<OpenFile> file);
    /// Takes the file out; the caller closes it when it holds the last reference.
    [[nodiscard]] std::shared_ptr<OpenFile> Take(int descriptor);
    /// Lets `copy` name the same file, as dup does.
    void Share(int descriptor, int copy);
    /// One more than the highest descriptor that may be the board's.
    [[nodiscard]] int End() const { return static_cast<int>(m_files.size()); }

private:
    std::vector<std::shared_ptr<OpenFile>> m_files;
};

[[nodiscard]] Descriptors& TheDescriptors();

/// Makes a new descriptor for a file of the board: -1 and errno on failure.
[[nodiscard]] int MakePlaceholder(const OpenFile& file);

/// What a placeholder stands for.
struct Placeholder {
    int descriptor;
    int flags;  ///< Those of open(2).
    std::string path;
};
/// The placeholders with which this program came into being.
[[nodiscard]] std::vector<Placeholder> InheritedPlaceholders();

}  // namespace vboard
