// SPDX-License-Identifier: MIT
#pragma once

// Which descriptors of the program belong to the board. Each is a real one, so that the machine
// gives its number to nobody else, and one that can do nothing: a call that reaches the kernel with
// it, because nothing stands in its way here, is refused with EBADF and never swallowed. It leads
// to a file in memory whose name says what it stands for: a program that comes into being with such
// a descriptor open finds its device again.

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "vboard/host/Host.h"

namespace vboard {

class Descriptors {
public:
    /// True for a descriptor of the board. Any thread may ask at any time; everything else here
    /// needs the board's turn.
    [[nodiscard]] bool Has(int descriptor) const {
        const Page* page = PageOf(descriptor);
        return page != nullptr && page->taken[IndexIn(descriptor)].load(std::memory_order_acquire);
    }
    /// The file for an owner more; nullptr for a descriptor that is not the board's.
    [[nodiscard]] std::shared_ptr<OpenFile> At(int descriptor) const {
        return Has(descriptor) ? PageOf(descriptor)->files[IndexIn(descriptor)] : nullptr;
    }
    void Put(int descriptor, std::shared_ptr<OpenFile> file);
    /// Takes the file out; the caller closes it when no other descriptor names it.
    [[nodiscard]] std::shared_ptr<OpenFile> Take(int descriptor);
    /// Lets `copy` name the same file, as dup does.
    void Share(int descriptor, int copy) { Put(copy, At(descriptor)); }
    /// One more than the highest descriptor that may be the board's.
    [[nodiscard]] int End() const { return m_end; }

private:
    // Pages never move, so that a thread may look while another opens.
    static constexpr int kPageFiles = 256;
    static constexpr int kPages = 4096;  ///< The kernel's highest limit, 2^20 descriptors.
    struct Page {
        std::array<std::shared_ptr<OpenFile>, kPageFiles> files;
        std::array<std::atomic<bool>, kPageFiles> taken{};
    };
    [[nodiscard]] static std::size_t IndexIn(int descriptor) {
        return static_cast<std::size_t>(descriptor % kPageFiles);
    }
    [[nodiscard]] Page* PageOf(int descriptor) const {
        return descriptor >= 0 && descriptor < kPages * kPageFiles
                   ? m_pages[static_cast<std::size_t>(descriptor / kPageFiles)].load(
                         std::memory_order_acquire)
                   : nullptr;
    }

    std::array<std::atomic<Page*>, kPages> m_pages{};
    int m_end = 0;
};

/// The program's table; never destroyed.
[[nodiscard]] Descriptors& TheDescriptors();

/// Makes a new descriptor for a file of the board, opened with `flags`: -1 and errno on failure.
[[nodiscard]] int MakePlaceholder(std::string_view path, int flags);

/// Notes that the flags of the file behind a placeholder are others now, for programs that come
/// into being with it.
void NoteFlags(int descriptor, int flags);

/// What the name of a placeholder's file says.
struct Placeholder {
    int descriptor;
    int flags;  ///< Those of open(2).
    std::string path;
};
/// The placeholders with which this program came into being.
[[nodiscard]] std::vector<Placeholder> InheritedPlaceholders();
/// What a link below /proc/self/fd leads to, where that is a placeholder's file: the path of the
/// board's file; else empty.
[[nodiscard]] std::string_view PlaceholderPath(std::string_view link);

}  // namespace vboard
