// SPDX-License-Identifier: MIT
#pragma once

// One run of an operation of flashguard on a virtual board in the same process, in a child of its
// own: a run can be killed anywhere, and what the board then holds is seen by the parent.

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "guard/session/Progress.h"
#include "vboard/board/Board.h"
#include "vboard/board/BoardSetup.h"

namespace guard_sweep {

/// Why a run ended.
enum class End : std::uint8_t {
    kItself,
    kKilled,
    kHeldByOrder,  ///< By a call that was ordered not to return.
    kForEver,      ///< It would have waited for ever: the virtual board had to end it.
    kTimeLimit,
    kCrashed
};

/// What is known of a run; lives in memory that parent and child share.
struct Shared {
    End end = End::kCrashed;
    guard::Status status = guard::Status::kDone;
    guard::ChipState chip = guard::ChipState::kUntouched;
    std::array<char, 200> problem{};
    std::int64_t endNs = 0;
    std::int64_t struckNs = -1;  ///< When the first fault struck; -1: none did.
    bool firmwareRuns = false;
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

/// Does the work in the child.
using Operation = std::function<guard::Verdict(guard::Progress&)>;

struct Faults {
    std::vector<std::string> rules;
    double noiseRate = 0;
    std::uint64_t noiseSeed = 0;
};

class BoardRun {
public:
    /// `settings` are KEY=VALUE, as `vboard new --option` takes them.
    explicit BoardRun(const std::vector<std::string>& settings);
    ~BoardRun();
    BoardRun(const BoardRun&) = delete;
    BoardRun& operator=(const BoardRun&) = delete;

    /// A new board, as it is delivered.
    void Renew();
    /// Runs on the board as it is.
    const Shared& Run(const Operation& operation, const Faults& faults);
    /// The same in this process, without faults; the board is then as the run left it.
    [[nodiscard]] Counts Count(const Operation& operation);

    [[nodiscard]] const Shared& Result() const { return *m_shared; }
    [[nodiscard]] std::size_t WeakBytes() const;
    /// "" when no line is exported or driven and the switch is off.
    [[nodiscard]] std::string LeftBehind() const;

private:
    void RunInChild(const Operation& operation, const Faults& faults);

    vboard::BoardSetup m_setup;
    Shared* m_shared;
};

}  // namespace guard_sweep
