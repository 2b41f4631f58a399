// SPDX-License-Identifier: MIT
#pragma once

// What the runner hands to the library in the program it starts, and what it gets back.
//
// The words travel in one environment variable; everything else through inherited descriptors: the
// board file, the report, and the files to be written.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "vboard/board/HeldText.h"

namespace vboard {

/// Name of the environment variable.
inline constexpr const char* kSessionVariable = "VBOARD_SESSION";

/// And of another, for a program that begins with the time of the process it comes from: that time,
/// in nanoseconds. Without it a program begins with the board's.
inline constexpr const char* kOwnTimeVariable = "VBOARD_TIME";

/// The run's descriptors have the numbers just below this one, or below the limit of open files
/// where that is lower: programs choose theirs from below. Higher ones would make every fork dear.
inline constexpr int kSessionDescriptorsEnd = 1024;
/// As many as a run can need.
inline constexpr int kMostSessionDescriptors = 8;

/// Exit statuses of a run that the program did not end itself, as `timeout` and `env` have them.
inline constexpr int kExitWaitsForEver = 124;
inline constexpr int kExitOwnError = 125;

struct Session {
    int boardDescriptor = -1;
    int reportDescriptor = -1;
    int transcriptDescriptor = -1;  ///< -1: no transcript.
    int faultsDescriptor = -1;      ///< The text of a fault plan; -1: none.
    int callsDescriptor = -1;       ///< Where calls that can be struck are listed; -1: nowhere.
    double noiseRate = 0;           ///< Share of events that random faults strike; 0 = none.
    std::uint64_t noiseSeed = 0;
    int vcdDescriptor = -1;      ///< -1: no waveform.
    int summaryDescriptor = -1;  ///< Shared memory, SummaryCounts; -1: none.
    int waveDescriptor = -1;     ///< A picture as WaveDrom source; -1: none.
    unsigned wavePart = 0;       ///< What it shows: a WavePart.
    double pace = 0;             ///< 1 = real time, 10 = ten times as fast, 0 = as fast as it can.
    std::int64_t limitNs = 0;    ///< Virtual time after which the run is ended; 0 = none.

    /// The lowest and the highest of its descriptors.
    [[nodiscard]] int FirstDescriptor() const;
    [[nodiscard]] int LastDescriptor() const;

    [[nodiscard]] std::string Text() const;
    /// False when the text is not one that Text() wrote.
    [[nodiscard]] static bool Parse(std::string_view text, Session& session);
};

/// What a run can be asked to write, apart from the summary.
enum class Output : std::uint8_t { kTranscript, kCalls, kWaveform, kPicture, kCount };
inline constexpr std::size_t kOutputCount = static_cast<std::size_t>(Output::kCount);

/// Why a run was ended from outside the program.
enum class Verdict : std::uint32_t {
    kNone,
    kStuck,  ///< Would wait for ever.
    kTimeLimit,
    kKilled,  ///< By an ordered fault.
};

/// Shared memory between runner and program; fixed-width fields, so that the two may differ in word
/// size.
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
    std::array<std::int32_t, kOutputCount> outputErrors;
    std::array<char, 220> verdictText;

    /// A write of `output` ended with errno value `error`, or 0. The first error stays.
    void NoteWrite(Output output, int error) {
        std::int32_t& first = outputErrors[static_cast<std::size_t>(output)];
        first = first == 0 ? error : first;
    }
};
static_assert(sizeof(RunReport) == 320);

/// Longest path of a device, with its end.
inline constexpr std::size_t kLongestDevicePath = 256;

/// All of the shared memory.
struct RunMemory {
    RunReport report;
    std::array<char, kLongestDevicePath> portPath;
    std::array<char, kLongestDevicePath> commPath;
    HeldText transcript;
};

}  // namespace vboard
