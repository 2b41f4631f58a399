// SPDX-License-Identifier: MIT
#pragma once

// Listing the board's folders, and the machine's in which the board has files.

#include <dirent.h>
#include <fcntl.h>

#include <string>

#include "vboard/process/Wrapping.h"

namespace vboard {

/// opendir(3): nullptr and errno on failure.
[[nodiscard]] DIR* OpenFolder(const Place& place);
/// fdopendir(3) on a descriptor of the board.
[[nodiscard]] DIR* FolderOn(int descriptor);

/// A folder that libc has opened, in which the board may have files: then a listing with these, and
/// without the machine's of the same kind, which are not there for the program.
[[nodiscard]] DIR* Listed(DIR* machines);
/// opendir(3) of any path, seen from the folder `from` as openat(2) does.
[[nodiscard]] DIR* OpenAnyFolder(const char* path, int from = AT_FDCWD);

/// True for a folder that one of these has opened, where it is not libc's own.
[[nodiscard]] bool IsOurs(DIR* folder);
// What can be done with such a folder, as the functions of dirent.h do it.
int CloseFolder(DIR* folder);
[[nodiscard]] int DescriptorOf(DIR* folder);
[[nodiscard]] long PlaceIn(DIR* folder);
void GoTo(DIR* folder, long place);
/// False at the end. `entry` is filled.
template <class Entry>
bool NextEntry(DIR* folder, Entry& entry);
/// The next entry in a place that holds until the call after: nullptr at the end.
template <class Entry>
[[nodiscard]] Entry* NextEntry(DIR* folder);
template <>
bool NextEntry(DIR* folder, struct dirent& entry);
template <>
bool NextEntry(DIR* folder, struct dirent64& entry);
template <>
struct dirent* NextEntry(DIR* folder);
template <>
struct dirent64* NextEntry(DIR* folder);

/// Stores a text as getcwd(3) does: in memory of its own where `buffer` is nullptr; nullptr and
/// errno where it does not fit.
[[nodiscard]] char* StoreText(const std::string& text, char* buffer, std::size_t size);

}  // namespace vboard
