// SPDX-License-Identifier: MIT
#include "vboard/process/ProgramMemory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>

// madvise(2), since Linux 5.14; the C library's header may be older.
#ifndef MADV_POPULATE_READ
#define MADV_POPULATE_READ 22
#define MADV_POPULATE_WRITE 23
#endif

namespace vboard {
namespace {

std::uintptr_t PageBytes() {
    static const auto bytes = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    return bytes;
}

/// The kernel fetches the pages as a read or a write would, and changes nothing in them. `start` is
/// the beginning of a page.
bool Fetches(std::uintptr_t start, std::size_t size, int how) {
    const int before = errno;
    // The pointer is what the program gave. NOLINTNEXTLINE(performance-no-int-to-ptr)
    const int result = madvise(reinterpret_cast<void*>(start), size, how);
    errno = before;
    return result == 0;
}

/// Also where the kernel can't tell: it is an older one, or an emulator.
bool MayTouch(std::uintptr_t start, std::uintptr_t end, int how) {
    static int own = 0;
    static const bool canTell = Fetches(reinterpret_cast<std::uintptr_t>(&own) & ~(PageBytes() - 1),
                                        1, MADV_POPULATE_WRITE);
    const std::uintptr_t first = start & ~(PageBytes() - 1);
    return !canTell || Fetches(first, end - first, how);
}

/// The pages that were last found, so that a program that calls again and again from the same
/// places pays for one look.
class Found {
public:
    [[nodiscard]] bool Has(std::uintptr_t start, std::uintptr_t end) const {
        for (std::uintptr_t page = PageOf(start); page <= PageOf(end - 1); ++page) {
            if (m_pages[page % kPages] != page) {
                return false;
            }
        }
        return true;
    }
    void Add(std::uintptr_t start, std::uintptr_t end) {
        const std::uintptr_t first = PageOf(start);
        for (std::uintptr_t page = first; page <= PageOf(end - 1) && page < first + kPages;
             ++page) {
            m_pages[page % kPages] = page;
        }
    }

private:
    static constexpr std::size_t kPages = 16;
    [[nodiscard]] static std::uintptr_t PageOf(std::uintptr_t place) { return place / PageBytes(); }
    std::array<std::uintptr_t, kPages> m_pages{};
};

std::size_t BytesThere(std::uintptr_t start, std::size_t size, int how) {
    if (size == 0) {
        return 0;
    }
    if (start < PageBytes() || size > UINTPTR_MAX - start) {
        return 0;  // Nothing is mapped there, and no memory ends beyond its own end.
    }
    thread_local std::array<Found, 2> found;
    Found& pages = found[how == MADV_POPULATE_READ ? 0 : 1];
    if (pages.Has(start, start + size)) {
        return size;
    }
    if (MayTouch(start, start + size, how)) {
        pages.Add(start, start + size);
        return size;
    }
    std::uintptr_t there = start;
    while (there - start < size) {
        const std::uintptr_t next = std::min((there | (PageBytes() - 1)) + 1, start + size);
        if (!MayTouch(there, next, how)) {
            break;
        }
        there = next;
    }
    return there - start;
}

}  // namespace

std::size_t ReadableBytes(const void* start, std::size_t size) {
    return BytesThere(reinterpret_cast<std::uintptr_t>(start), size, MADV_POPULATE_READ);
}

std::size_t WritableBytes(void* start, std::size_t size) {
    return BytesThere(reinterpret_cast<std::uintptr_t>(start), size, MADV_POPULATE_WRITE);
}

bool IsText(const char* text) {
    const auto start = reinterpret_cast<std::uintptr_t>(text);
    const std::size_t toPageEnd = PageBytes() - start % PageBytes();
    std::size_t looked = 0;
    for (std::size_t part = toPageEnd; looked < PATH_MAX; part = PageBytes()) {
        if (!CanRead(text + looked, part)) {
            return false;
        }
        if (std::memchr(text + looked, '\0', part) != nullptr) {
            return true;
        }
        looked += part;
    }
    return false;
}

}  // namespace vboard
