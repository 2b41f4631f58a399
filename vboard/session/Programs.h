// SPDX-License-Identifier: MIT
#pragma once

// The programs of a run that exist at the same time, each a process of its own.

#include <array>
#include <cstddef>
#include <cstdint>

namespace vboard {

/// A process of the run. Written by itself, but for the process number, which whoever finds it gone
/// sets back to 0.
struct alignas(8) RunningProgram {
    std::int32_t process;        ///< 0: nobody.
    std::uint32_t restless;      ///< 1: not waited for any longer until it has come to rest.
    std::uint32_t beginning;     ///< Its children on their way to a place of their own.
    std::int64_t pausesUntilNs;  ///< The end of its pause in virtual time; 0: it does not pause.
};

static_assert(sizeof(RunningProgram) == 24);

/// How many can be seen. One beyond is not waited for.
inline constexpr std::size_t kMostRunningPrograms = 64;

/// All of them. Lies in shared memory that begins as zeros: no program yet.
struct RunningPrograms {
    std::uint32_t used;  ///< Places that have ever been taken, from the first on.
    std::array<RunningProgram, kMostRunningPrograms> places;
};

}  // namespace vboard
