// SPDX-License-Identifier: MIT
#include "vboard/process/Folders.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "vboard/host/SysfsGpio.h"
#include "vboard/process/DescriptorCalls.h"
#include "vboard/process/FileStatus.h"
#include "vboard/process/ProgramMemory.h"
#include "vboard/process/RealLibc.h"
#include "vboard/process/RunLink.h"
#include "vboard/text/Format.h"
#include "vboard/time/MustHold.h"

namespace vboard {
namespace {

/// What a listing tells of one name.
struct Name {
    std::string name;
    std::uint64_t inode;
    std::uint8_t type;  ///< DT_CHR and its like.
};

/// Behind the DIR* that a program gets for a folder of the board, and for one of the machine's in
/// which the board has files.
struct Folder {
    int descriptor = -1;
    std::string path;
    DIR* machines = nullptr;  ///< The machine's own, if it is one of those.
    std::vector<Name> names;
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

/// One that is known to be here.
Folder& TheFolder(DIR* folder) {
    Folder* found = Find(folder);
    MustHold(found != nullptr, "a listing that is read here was opened here");
    return *found;
}

Name NameOf(const std::string& folder, const std::string& name) {
    const bool special = name == "." || name == "..";
    FileFacts facts{};
    const std::string path = special ? folder : Formatted("{}/{}", folder, name);
    static_cast<void>(LookUpFacts(TheHost(), path, facts));
    return {name, facts.inode, static_cast<std::uint8_t>(IFTODT(facts.mode))};
}

std::vector<Name> NamesIn(const std::string& path) {
    std::vector<Name> names{NameOf(path, "."), NameOf(path, "..")};
    for (const std::string& name : TheHost().NamesIn(path)) {
        names.push_back(NameOf(path, name));
    }
    return names;
}

/// A file of the board in a folder of the machine.
struct Guest {
    std::string folder;
    Name name;
};

std::vector<Guest> Guests() {
    std::vector<Guest> guests;
    const auto add = [&guests](std::string_view path, std::uint8_t type) {
        const std::size_t slash = path.rfind('/');
        if (slash != std::string_view::npos && slash > 0) {
            guests.push_back({std::string(path.substr(0, slash)),
                              {std::string(path.substr(slash + 1)), InodeOf(path), type}});
        }
    };
    const RunMemory& memory = TheRunLink().Memory();
    add(memory.portPath.data(), DT_CHR);
    add(memory.commPath.data(), DT_CHR);
    add(SysfsGpio::kFolder, DT_DIR);
    return guests;
}

/// The machine's names but those that the board stands for, and the board's own.
std::vector<Name> MixedNames(DIR* machines, const std::string& path) {
    std::vector<Name> names;
    while (const struct dirent64* entry = Real().readdir64(machines)) {
        if (!TheRunLink().Owns(Formatted("{}/{}", path, entry->d_name))) {
            names.push_back({entry->d_name, entry->d_ino, entry->d_type});
        }
    }
    for (const Guest& guest : Guests()) {
        if (guest.folder == path) {
            names.push_back(guest.name);
        }
    }
    return names;
}

DIR* Keep(std::unique_ptr<Folder> folder) {
    OpenFolders().push_back(std::move(folder));
    ++g_openFolders;
    return reinterpret_cast<DIR*>(OpenFolders().back().get());
}

template <class Entry>
bool Fill(DIR* folder, Entry& entry) {
    Folder& open = TheFolder(folder);
    if (open.next >= open.names.size()) {
        return false;
    }
    const Name& name = open.names[open.next++];
    entry = {};
    entry.d_ino = static_cast<decltype(entry.d_ino)>(name.inode);
    entry.d_off = static_cast<decltype(entry.d_off)>(open.next);
    entry.d_reclen = sizeof entry;
    entry.d_type = name.type;
    std::copy_n(name.name.begin(), std::min(name.name.size(), sizeof entry.d_name - 1),
                entry.d_name);
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
    return Keep(std::move(folder));
}

DIR* Listed(DIR* machines) {
    if (machines == nullptr || RunLink::Get() == nullptr) {
        return machines;
    }
    const int before = errno;
    std::array<char, PATH_MAX> link{};
    const int descriptor = Real().dirfd(machines);
    const ssize_t length = Real().readlink(Formatted("/proc/self/fd/{}", descriptor).c_str(),
                                           link.data(), link.size());
    errno = before;
    const std::string path(link.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    const std::vector<Guest> guests = Guests();
    if (std::none_of(guests.begin(), guests.end(),
                     [&path](const Guest& guest) { return guest.folder == path; })) {
        return machines;
    }
    const BoardTurn turn;
    auto folder = std::make_unique<Folder>();
    folder->descriptor = descriptor;
    folder->path = path;
    folder->machines = machines;
    folder->names = MixedNames(machines, path);
    return Keep(std::move(folder));
}

DIR* OpenAnyFolder(const char* path, int from) {
    if (const Place place = HostFor(path, LastLink::kFollowed, from)) {
        return OpenFolder(place);
    }
    if (from == AT_FDCWD) {
        return Listed(Real().opendir(path));
    }
    const int descriptor = Real().openat(from, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    return descriptor < 0 ? nullptr : Listed(Real().fdopendir(descriptor));
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
    const int descriptor = TheFolder(folder).descriptor;
    DIR* const machines = TheFolder(folder).machines;
    std::erase_if(OpenFolders(), [folder](const auto& each) {
        return reinterpret_cast<DIR*>(each.get()) == folder;
    });
    --g_openFolders;
    return machines != nullptr ? Real().closedir(machines) : CloseDescriptor(descriptor);
}

int DescriptorOf(DIR* folder) {
    const BoardTurn turn;
    return TheFolder(folder).descriptor;
}

long PlaceIn(DIR* folder) {
    const BoardTurn turn;
    return static_cast<long>(TheFolder(folder).next);
}

void GoTo(DIR* folder, long place) {
    const BoardTurn turn;
    Folder& open = TheFolder(folder);
    if (place == 0 && open.machines != nullptr) {
        Real().rewinddir(open.machines);
        open.names = MixedNames(open.machines, open.path);
    } else if (place == 0) {
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
    Folder& open = TheFolder(folder);
    return Fill(folder, open.entry) ? &open.entry : nullptr;
}
template <>
struct dirent64* NextEntry(DIR* folder) {
    const BoardTurn turn;
    Folder& open = TheFolder(folder);
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
    if (buffer != nullptr && !CanWrite(buffer, text.size() + 1)) {
        errno = EFAULT;
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
