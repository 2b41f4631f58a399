// SPDX-License-Identifier: MIT
#pragma once

// What the runner and the library in the programs that it starts have in common: memory that both
// see, found through an inherited descriptor, whose number is in one environment variable.

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "vboard/record/Summary.h"
#include "vboard/session/HeldText.h"
#include "vboard/session/Programs.h"

namespace vboard {

/// Name of the environment variable. It holds the number of the memory's descriptor, in decimal.
inline constexpr const char* kSessionVariable = "VBOARD_SESSION";

/// And of another, for a program that begins with the time of the process it comes from: that time,
/// in nanoseconds. Without it a program begins with the board's.
inline constexpr const char* kOwnTimeVariable = "VBOARD_TIME";

/// The run's descriptors have the numbers just below this one, or below the limit of open files
/// where that is lower: programs choose theirs from below. Higher ones would make every fork dear.
inline constexpr int kSessionDescriptorsEnd = 1024;

/// Exit statuses of a run that the program did not end itself, as `timeout` and `env` have them.
inline constexpr int kExitWaitsForEver = 124;
inline constexpr int kExitOwnError = 125;

/// What a run can be asked to write, apart from the summary.
enum class Output : std::uint8_t { kTranscript, kCalls, kWaveform, kPicture, kCount };
inline constexpr std::size_t kOutputCount = static_cast<std::size_t>(Output::kCount);

/// A thing for each Output.
template <class Thing>
struct PerOutput : std::array<Thing, kOutputCount> {
    using std::array<Thing, kOutputCount>::operator[];
    [[nodiscard]] Thing& operator[](Output output) {
        return (*this)[static_cast<std::size_t>(output)];
    }
    [[nodiscard]] const Thing& operator[](Output output) const {
        return (*this)[static_cast<std::size_t>(output)];
    }
    [[nodiscard]] static constexpr PerOutput AllOf(const Thing& thing) {
        PerOutput all{};
        all.fill(thing);
        return all;
    }
};

/// What messages call each.
inline constexpr PerOutput<const char*> kOutputNames{
    {"transcript", "list of calls", "waveform", "picture"}};

/// As many descriptors as a run can need: board, memory, faults and outputs.
inline constexpr int kMostSessionDescriptors = 3 + static_cast<int>(kOutputCount);

/// The runner's words, written before the first program starts. Fixed-width fields, as in all of
/// the shared memory, so that runner and program may differ in word size. A descriptor of -1: not
/// asked for.
struct Session {
    double noiseRate = 0;         ///< Share of events that random faults strike; 0 = none.
    std::uint64_t noiseSeed = 0;  ///< Of the random faults.
    double pace = 0;              ///< 1 = real time, 10 = ten times as fast, 0 = as fast as it can.
    std::int64_t limitNs = 0;     ///< Virtual time after which the run is ended; 0 = none.
    std::int32_t boardDescriptor = -1;
    std::int32_t memoryDescriptor = -1;  ///< Of the memory that this lies in.
    std::int32_t faultsDescriptor = -1;  ///< The text of a fault plan.
    /// Where each goes.
    PerOutput<std::int32_t> outputDescriptors = PerOutput<std::int32_t>::AllOf(-1);
    std::uint16_t wavePart = 0;  ///< What the picture shows: a WavePart.
    std::uint16_t counts = 0;    ///< 1: RunMemory::counts are wanted.

    /// The lowest and the highest of its descriptors.
    [[nodiscard]] int FirstDescriptor() const;
    [[nodiscard]] int LastDescriptor() const;
};
static_assert(sizeof(Session) == 64);

/// Why a run was ended from outside the program.
enum class Verdict : std::uint32_t {
    kNone,
    kStuck,  ///< Would wait for ever.
    kTimeLimit,
    kKilled,  ///< By an ordered fault.
};

/// What the programs tell the runner.
struct RunReport {
    std::uint32_t verdict;
    std::uint32_t worlds;  ///< Programs of this run that have used the board so far.
    std::int64_t virtualTimeNs;
    std::int64_t boardTimeNs;       ///< When the board had settled; a later program begins here.
    std::uint64_t bytesProgrammed;  ///< By write commands that the loader acknowledged.
    std::uint64_t blocksProgrammed;
    std::int64_t waveformUs;  ///< The last time in the waveform's file; kept by its writer.
    std::int64_t verdictTimeNs;
    std::uint64_t uses;       ///< How often a program has turned to the board.
    std::uint32_t loaded;     ///< Programs of this run that have loaded the library.
    std::uint32_t ownError;   ///< vboard itself has failed in one of them, and has said so.
    std::int32_t startError;  ///< errno, where the first program could not be started.
    std::uint32_t over;       ///< The run has ended, and its board may belong to another.
    std::int32_t owner;       ///< Process that used the board last; what it knows of it is current.
    /// errno of the first write of each Output that did not succeed; 0: all of it is written.
    PerOutput<std::int32_t> outputErrors;
    std::array<char, 220> verdictText;

    /// Programs of one run may do these at the same moment, each in a process of its own.
    ///
    /// The board's time is `ns`, unless another program has brought it further.
    void ReachTime(std::int64_t ns);
    /// One more turn of a program to the board: its number, which no other has.
    [[nodiscard]] std::uint64_t CountUse() { return std::atomic_ref(uses).fetch_add(1) + 1; }

    /// A write of `output` ended with errno value `error`, or 0. The first error stays.
    void NoteWrite(Output output, int error) {
        std::int32_t& first = outputErrors[output];
        first = first == 0 ? error : first;
    }
};
static_assert(sizeof(RunReport) == 320);

/// Longest path of a device, with its end.
inline constexpr std::size_t kLongestDevicePath = 256;

/// All of the shared memory; it begins as zeros.
struct RunMemory {
    RunReport report;
    Session session;
    SummaryCounts counts;  ///< Added up by each program, where the session says so.
    std::array<char, kLongestDevicePath> portPath;
    std::array<char, kLongestDevicePath> commPath;
    RunningPrograms programs;
    HeldText transcript;
};

}  // namespace vboard
