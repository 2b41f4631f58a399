// SPDX-License-Identifier: MIT
#pragma once

// The commands, one source each; `run` has a header of its own, RunOptions.h. Each carries out what
// it was asked for and returns the exit status of vboard.

#include <span>
#include <string>
#include <vector>

namespace vboard {

/// `vboard new`: makes a board in a file that does not exist yet.
struct NewOptions {
    std::string path;
    std::vector<std::string> settings;  ///< KEY=VALUE
    std::string imagePath;              ///< Empty: the older firmware that boards begin with.
};
/// Makes it, or says on standard error why it can not be made.
[[nodiscard]] int New(const NewOptions& options);

/// `vboard show`: prints what a kept board is, does and holds.
struct ShowOptions {
    std::string path;
    bool json = false;
};
/// Prints it to standard output.
[[nodiscard]] int Show(const ShowOptions& options);

/// `vboard dump`: writes what the flash of a board holds, as Intel HEX.
struct DumpOptions {
    std::string boardPath;
    std::string imagePath = "-";  ///< "-" is standard output.
};
/// Writes it, or says on standard error why it can not be written.
[[nodiscard]] int Dump(const DumpOptions& options);

/// `vboard list`: the tables that boards and faults are made from, and what prints each.
struct ListTable {
    const char* name;
    const char* meaning;
    void (*list)();
};
/// The tables, in the order of their listing.
[[nodiscard]] std::span<const ListTable> AllListTables();

}  // namespace vboard
