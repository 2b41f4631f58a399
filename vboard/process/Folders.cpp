// SPDX-License-Identifier: MIT
#include "vboard/process/Folders.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "vboard/process/FileStatus.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

/// Behind the DIR* that a program gets for a folder of the board.
struct Folder {
    int descriptor = -1;
    std::string path;
    std::vector<std::string> names;
    std::size_t next = 0;
    struct dirent entry {};
    struct dirent64 wideEntry {};
};

std::vector<std::unique_ptr<Folder>>& OpenFolders() {
    static auto* folders = new std::vector<std::unique_ptr<Folder>>;
    return *folders;
}

/// So that the machine's own folders cost no more than a look.
std::atomic<int> g_openFolders{0};

Folder* Find(DIR* folder) {
    const auto& folders = OpenFolders();
    const auto found = std::find_if(folders.begin(), folders.end(), [folder](const auto& each) {
        return reinterpret_cast<DIR*>(each.get()) == folder;
    });
    return found == folders.end() ? nullptr : found->get();
}

std::vector<std::string> NamesIn(const std::string& path) {
    std::vector<std::string> names{".", ".."};
    const std::vector<std::string> own = TheHost().NamesIn(path);
    names.insert(names.end(), own.begin(), own.end());
    return names;
}

std::uint8_t KindOf(const std::string& path) {
    FileFacts facts{};
    static_cast<void>(LookUpFacts(TheHost(), path, facts));
    return static_cast<std::uint8_t>(IFTODT(facts.mode));
}

template <class Entry>
bool Fill(DIR* folder, Entry& entry) {
    Folder& open = *Find(folder);
    if (open.next >= open.names.size()) {
        return false;
    }
    const std::string& name = open.names[open.next++];
    const bool special = name == "." || name == "..";
    FileFacts facts{};
    const std::string path = special ? open.path : Formatted("{}/{}", open.path, name);
    static_cast<void>(LookUpFacts(TheHost(), path, facts));
    entry = {};
    entry.d_ino = static_cast<decltype(entry.d_ino)>(facts.inode);
    entry.d_off = static_cast<decltype(entry.d_off)>(open.next);
    entry.d_reclen = sizeof entry;
    entry.d_type = KindOf(path);
    std::copy_n(name.begin(), std::min(name.size(), sizeof entry.d_name - 1), entry.d_name);
    return true;
}

}  // namespace

DIR* OpenFolder(const Place& place) {
    const int descriptor = OpenDescriptor(place, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    return descriptor < 0 ? nullptr : FolderOn(descriptor);
}

DIR* FolderOn(int descriptor) {
    const auto file = FileFor(descriptor);
    if (TheHost().Find(file->path) != PathKind::kFolder) {
        errno = ENOTDIR;
        return nullptr;
    }
    auto folder = std::make_unique<Folder>();
    folder->descriptor = descriptor;
    folder->path = file->path;
    folder->names = NamesIn(file->path);
    OpenFolders().push_back(std::move(folder));
    ++g_openFolders;
    return reinterpret_cast<DIR*>(OpenFolders().back().get());
}

bool IsOurs(DIR* folder) {
    if (g_openFolders == 0) {
        return false;
    }
    const BoardTurn turn;
    return Find(folder) != nullptr;
}

int CloseFolder(DIR* folder) {
    const BoardTurn turn;
    const int descriptor = Find(folder)->descriptor;
    std::erase_if(OpenFolders(), [folder](const auto& each) {
        return reinterpret_cast<DIR*>(each.get()) == folder;
    });
    --g_openFolders;
    return CloseDescriptor(descriptor);
}

int DescriptorOf(DIR* folder) {
    const BoardTurn turn;
    return Find(folder)->descriptor;
}

long PlaceIn(DIR* folder) {
    const BoardTurn turn;
    return static_cast<long>(Find(folder)->next);
}

void GoTo(DIR* folder, long place) {
    const BoardTurn turn;
    Folder& open = *Find(folder);
    if (place == 0) {
        open.names = NamesIn(open.path);
    }
    open.next = static_cast<std::size_t>(std::max(place, 0L));
}

template <>
bool NextEntry(DIR* folder, struct dirent& entry) {
    const BoardTurn turn;
    return Fill(folder, entry);
}
template <>
bool NextEntry(DIR* folder, struct dirent64& entry) {
    const BoardTurn turn;
    return Fill(folder, entry);
}
template <>
struct dirent* NextEntry(DIR* folder) {
    const BoardTurn turn;
    Folder& open = *Find(folder);
    return Fill(folder, open.entry) ? &open.entry : nullptr;
}
template <>
struct dirent64* NextEntry(DIR* folder) {
    const BoardTurn turn;
    Folder& open = *Find(folder);
    return Fill(folder, open.wideEntry) ? &open.wideEntry : nullptr;
}

char* StoreText(const std::string& text, char* buffer, std::size_t size) {
    if (buffer != nullptr && size == 0) {
        errno = EINVAL;
        return nullptr;
    }
    if (size != 0 && text.size() >= size) {
        errno = ERANGE;
        return nullptr;
    }
    char* stored = buffer == nullptr
                       ? static_cast<char*>(std::malloc(std::max(size, text.size() + 1)))
                       : buffer;
    return stored == nullptr
               ? nullptr
               : static_cast<char*>(std::memcpy(stored, text.c_str(), text.size() + 1));
}

}  // namespace vboard
