// SPDX-License-Identifier: MIT
#pragma once

// Runs of a program on a virtual board in the same process, each in a child of its own: a run can
// be killed anywhere, and what the board then holds is seen by the parent. The program is a
// function whose calls of libc arrive at HostCalls.h.
//
// A child has what its parent has at the fork, but none of its other threads.

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/bench/SharedMemory.h"
#include "vboard/board/Board.h"
#include "vboard/board/BoardSetup.h"

namespace bench {

/// Why a run ended.
enum class End : std::uint8_t {
    kItself,
    kKilled,
    kHeldByOrder,  ///< By a call that was ordered not to return.
    kForEver,      ///< It would have waited for ever: the virtual board had to end it.
    kTimeLimit,
    kCrashed
};

/// What is known of a run, and the board that is kept from one to the next. Lives in memory that
/// parent and child share.
struct Record {
    End end = End::kCrashed;
    /// What the program returned, where it ended itself; of a crash, 128 and the signal's number.
    int exitStatus = 0;
    std::array<char, 220> verdict{};  ///< Why the board ended it, in words; else empty.
    std::int64_t endNs = 0;
    std::int64_t struckNs = -1;  ///< When the first fault struck; -1: none did.
    vboard::BoardState state;
    std::array<std::uint8_t, vboard::kMemorySizeBytes> memory{};
    std::array<std::uint32_t, vboard::kMostSegments> eraseWords{};
};

/// What happened during a run without faults.
struct Counts {
    std::vector<std::string> calls;  ///< "NUMBER KIND PATH SIZE"
    unsigned charactersToChip = 0;
    unsigned charactersToHost = 0;
    unsigned answers = 0;
    std::array<unsigned, 3> edges{};  ///< reset_gpio, rxd_nmi_gpio, msp_tck_gpio
};

struct Faults {
    std::vector<std::string> rules;
    double noiseRate = 0;
    std::uint64_t noiseSeed = 0;
};

/// Where a run is written down; nullptr: not asked for. Added to what is there.
struct Writings {
    SharedText* transcript = nullptr;  ///< Without its last line, which says how the program ended.
    SharedText* calls = nullptr;       ///< Lines as in Counts.
};

/// Does the work; what it returns is its exit status.
using Program = std::function<int()>;

class BoardRun {
public:
    /// `settings` are KEY=VALUE, as `vboard new --option` takes them. `record` lies in memory that
    /// children share, and must outlive this.
    BoardRun(const std::vector<std::string>& settings, Record& record);

    /// A new board, as it is delivered.
    void Renew();
    /// Runs on the board as it is, in a child, for at most 100,000 s of virtual time.
    void Run(const Program& program, const Faults& faults, const Writings& writings = {});
    /// The same in this process, without faults; the board is then as the run left it.
    [[nodiscard]] Counts RunHere(const Program& program);

    [[nodiscard]] std::size_t WeakBytes() const;
    /// "" when no line is exported or driven and the switch is off.
    [[nodiscard]] std::string LeftBehind() const;

private:
    [[noreturn]] void RunInChild(const Program& program, const Faults& faults,
                                 const Writings& writings) noexcept;

    vboard::BoardSetup m_setup;
    Record& m_record;
};

}  // namespace bench
