// SPDX-License-Identifier: MIT
#include "vboard/process/Descriptors.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <type_traits>
#include <utility>

#include "vboard/process/RealLibc.h"
#include "vboard/process/RunLink.h"
#include "vboard/time/MustHold.h"

namespace vboard {
namespace {

constexpr const char* kOpenDescriptors = "/proc/self/fd";
constexpr std::string_view kNamePrefix = "vboard:";
// What the kernel writes around the name of a file in memory.
constexpr std::string_view kLinkPrefix = "/memfd:vboard:";
constexpr std::string_view kLinkSuffix = " (deleted)";

std::string LinkName(int descriptor) {
    return std::string(kOpenDescriptors).append("/").append(std::to_string(descriptor));
}

std::string LinkOf(int descriptor) {
    std::array<char, 512> target{};
    const ssize_t length =
        Real().readlink(LinkName(descriptor).c_str(), target.data(), target.size());
    return length > 0 ? std::string(target.data(), static_cast<std::size_t>(length)) : "";
}

/// "vboard:FLAGS:PATH", as MakePlaceholder wrote it. An empty path where it is something else.
std::pair<int, std::string_view> ParseLink(std::string_view link) {
    if (!link.starts_with(kLinkPrefix) || !link.ends_with(kLinkSuffix)) {
        return {};
    }
    link.remove_prefix(kLinkPrefix.size());
    link.remove_suffix(kLinkSuffix.size());
    int flags = 0;
    const auto [end, error] = std::from_chars(link.data(), link.data() + link.size(), flags);
    if (error != std::errc{} || end == link.data() + link.size() || *end != ':') {
        return {};
    }
    return {flags, link.substr(static_cast<std::size_t>(end - link.data()) + 1)};
}

/// The flags that NoteFlags left in the file; `opened` where it left none.
int NotedFlags(int descriptor, int opened) {
    int noted = 0;
    const int file = Real().open(LinkName(descriptor).c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t got = file < 0 ? 0 : Real().read(file, &noted, sizeof noted);
    static_cast<void>(Real().close(file));
    return got == sizeof noted ? noted : opened;
}

}  // namespace

void Descriptors::Put(int descriptor, std::shared_ptr<OpenFile> file) {
    MustHold(descriptor >= 0 && descriptor < kPages * kPageFiles && file != nullptr,
             "a file of the board has a number that a kernel gives");
    auto& page = m_pages[static_cast<std::size_t>(descriptor / kPageFiles)];
    if (page.load(std::memory_order_relaxed) == nullptr) {
        page.store(new Page, std::memory_order_release);
    }
    Page& there = *page.load(std::memory_order_relaxed);
    ++file->descriptors;
    there.files[IndexIn(descriptor)] = std::move(file);
    there.taken[IndexIn(descriptor)].store(true, std::memory_order_release);
    m_end = std::max(m_end, descriptor + 1);
}

std::shared_ptr<OpenFile> Descriptors::Take(int descriptor) {
    if (!Has(descriptor)) {
        return nullptr;
    }
    Page& there = *PageOf(descriptor);
    there.taken[IndexIn(descriptor)].store(false, std::memory_order_release);
    std::shared_ptr<OpenFile> file = std::exchange(there.files[IndexIn(descriptor)], nullptr);
    --file->descriptors;
    return file;
}

Descriptors& TheDescriptors() {
    // Never made and never destroyed: the program may open and close before every constructor and
    // after every destructor has run, and from the middle of an allocation.
    static constinit Descriptors descriptors;
    static_assert(std::is_trivially_destructible_v<Descriptors>);
    return descriptors;
}

int MakePlaceholder(std::string_view path, int flags) {
    const int before = errno;
    const std::string name =
        std::string(kNamePrefix).append(std::to_string(flags)).append(":").append(path);
    const int file = memfd_create(name.c_str(), MFD_CLOEXEC);
    if (file < 0) {
        return -1;
    }
    // It opens nothing and only names the file: neither read, write, mmap nor poll work on it. It
    // gets the number of the file, the lowest that was free, as open(2) promises.
    const int named = Real().open(LinkName(file).c_str(), O_PATH | O_CLOEXEC);
    if (named < 0 && errno == ENOENT) {
        FailRun("a program on the board needs /proc, and it is not mounted");
    }
    const int placeholder = named < 0 ? -1 : Real().dup3(named, file, flags & O_CLOEXEC);
    const int error = placeholder < 0 ? errno : before;
    static_cast<void>(Real().close(placeholder < 0 ? file : named));
    errno = error;
    return placeholder;
}

void NoteFlags(int descriptor, int flags) {
    const int before = errno;
    const int file = Real().open(LinkName(descriptor).c_str(), O_WRONLY | O_CLOEXEC);
    [[maybe_unused]] const ssize_t kept = Real().pwrite(file, &flags, sizeof flags, 0);
    static_cast<void>(Real().close(file));
    errno = before;
}

std::string_view PlaceholderPath(std::string_view link) {
    return ParseLink(link).second;
}

std::vector<Placeholder> InheritedPlaceholders() {
    std::vector<Placeholder> found;
    DIR* folder = Real().opendir(kOpenDescriptors);
    if (folder == nullptr) {
        return found;
    }
    while (const dirent* entry = Real().readdir(folder)) {
        int descriptor = -1;
        const std::string_view name = entry->d_name;
        static_cast<void>(std::from_chars(name.data(), name.data() + name.size(), descriptor));
        const std::string link = LinkOf(descriptor);
        const auto [flags, path] = ParseLink(link);
        if (!path.empty()) {
            found.push_back({descriptor, NotedFlags(descriptor, flags), std::string(path)});
        }
    }
    static_cast<void>(Real().closedir(folder));
    return found;
}

}  // namespace vboard
