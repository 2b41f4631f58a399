// SPDX-License-Identifier: MIT
#include "vboard/process/Descriptors.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "vboard/text/Format.h"

namespace vboard {
namespace {

constexpr const char* kOpenDescriptors = "/proc/self/fd";
constexpr std::string_view kNamePrefix = "vboard:";
// What the kernel writes around the name of a file in memory.
constexpr std::string_view kLinkPrefix = "/memfd:vboard:";
constexpr std::string_view kLinkSuffix = " (deleted)";

std::string LinkOf(const char* descriptor) {
    std::array<char, 512> target{};
    const std::string link = Formatted("{}/{}", kOpenDescriptors, descriptor);
    const ssize_t length = readlink(link.c_str(), target.data(), target.size());
    return length > 0 ? std::string(target.data(), static_cast<std::size_t>(length)) : "";
}

/// "vboard:FLAGS:PATH", as MakePlaceholder wrote it.
bool ParseLink(std::string_view link, Placeholder& placeholder) {
    if (!link.starts_with(kLinkPrefix) || !link.ends_with(kLinkSuffix)) {
        return false;
    }
    link.remove_prefix(kLinkPrefix.size());
    link.remove_suffix(kLinkSuffix.size());
    const auto [end, error] =
        std::from_chars(link.data(), link.data() + link.size(), placeholder.flags);
    if (error != std::errc{} || end == link.data() + link.size() || *end != ':') {
        return false;
    }
    placeholder.path = link.substr(static_cast<std::size_t>(end - link.data()) + 1);
    return true;
}

}  // namespace

void Descriptors::Put(int descriptor, std::shared_ptr<OpenFile> file) {
    auto& page = m_pages.at(static_cast<std::size_t>(descriptor / kPageFiles));
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
    // Never destroyed: the program may close descriptors after every destructor has run.
    static auto* descriptors = new Descriptors;
    return *descriptors;
}

int MakePlaceholder(const OpenFile& file) {
    const std::string name = Formatted("{}{}:{}", kNamePrefix, file.flags, file.path);
    return memfd_create(name.c_str(), (file.flags & O_CLOEXEC) != 0 ? MFD_CLOEXEC : 0U);
}

std::vector<Placeholder> InheritedPlaceholders() {
    std::vector<Placeholder> found;
    DIR* folder = opendir(kOpenDescriptors);
    if (folder == nullptr) {
        return found;
    }
    while (const dirent* entry = readdir(folder)) {
        Placeholder placeholder{};
        const std::string_view name = entry->d_name;
        const auto [end, error] =
            std::from_chars(name.data(), name.data() + name.size(), placeholder.descriptor);
        if (error == std::errc{} && ParseLink(LinkOf(entry->d_name), placeholder)) {
            found.push_back(std::move(placeholder));
        }
    }
    closedir(folder);
    return found;
}

}  // namespace vboard
