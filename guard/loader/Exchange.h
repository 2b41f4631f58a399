// SPDX-License-Identifier: MIT
#pragma once

// One frame out, its answer in, repeated where that helps. The loader wants a sync byte before
// every frame, answers it with an acknowledge, and the frame with an acknowledge, a refusal or a
// data frame (SLAU319 2.4).

#include <cstdint>
#include <functional>
#include <span>
#include <utility>
#include <vector>

#include "guard/link/Port.h"

namespace guard {

enum class Answer : std::uint8_t {
    kAck,      ///< 0x90, or the data frame that was asked for.
    kNak,      ///< 0xA0: refused, by the last of the attempts at least.
    kSilence,  ///< Nothing came.
    kGarbled,  ///< Something came that is no answer.
    kNoSync    ///< The frame was never sent, since no sync was answered.
};

/// Characters and troubles, counted since the beginning of the run.
struct ExchangeCounts {
    std::uint32_t retries = 0;
    std::uint32_t refusals = 0;
    std::uint32_t lineErrors = 0;
};

/// The exchanges of one run, with their counts.
class Exchange {
public:
    /// How often a frame is sent at most before its answer counts.
    static constexpr int kAttempts = 3;
    /// For whatever is told of every frame.
    using Watcher = std::function<void(bool toChip, std::span<const std::uint8_t>)>;

    /// `port` must outlive the exchange and be open whenever a method is called.
    Exchange(Port& port, Watcher watcher) : m_port(port), m_watcher(std::move(watcher)) {}

    /// The sync byte out, one acknowledge back; `tries` times. The next frame goes without another:
    /// a loader that has answered takes every character for that frame's.
    [[nodiscard]] Answer Sync(int tries);

    /// Sync, frame, answer; up to kAttempts times. `work` is what the loader takes for the command
    /// beside the characters.
    [[nodiscard]] Answer Command(std::span<const std::uint8_t> frame, Duration work);
    /// The same for a command that is answered with `data.size()` bytes in a data frame. `data` is
    /// written only by kAck.
    [[nodiscard]] Answer Query(std::span<const std::uint8_t> frame, std::span<std::uint8_t> data);

    /// All since the beginning of the run.
    [[nodiscard]] const ExchangeCounts& Counts() const { return m_counts; }

private:
    using Attempt = std::function<Answer()>;
    [[nodiscard]] Answer Repeated(std::span<const std::uint8_t> frame, const Attempt& receive);
    [[nodiscard]] bool Synchronise(bool again);
    [[nodiscard]] Answer ReceiveAcknowledge(std::size_t sentBytes, Duration work);
    [[nodiscard]] Answer ReceiveData(std::size_t sentBytes, std::span<std::uint8_t> data);
    void PushOut();

    Port& m_port;
    Watcher m_watcher;
    ExchangeCounts m_counts;
    bool m_synchronised = false;
    std::vector<std::uint8_t> m_received;
};

}  // namespace guard
