// SPDX-License-Identifier: MIT
#pragma once

// The firmware in the flash as far as the board can see it: it answers the request for its version
// on the second link. What else its code may do is not run.
//
//     request  B4 00        answer  B5 hi lo
//
// Any other message is ignored. A request that comes while the firmware still starts is answered
// when it has started.

#include <cstdint>
#include <deque>
#include <span>

#include "vboard/chip/ChipModel.h"
#include "vboard/chip/Memory.h"
#include "vboard/chip/Sinks.h"
#include "vboard/probe/Probe.h"
#include "vboard/time/VirtualClock.h"

namespace vboard {

class Application {
public:
    /// `clock`, `probe` and `memory` must outlive the application.
    Application(VirtualClock& clock, Probe& probe, const ChipOptions& options, Memory memory);
    ~Application();
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    /// Not owned; without one, what is sent is lost.
    void ConnectMessages(MessageSink* sink) { m_sink = sink; }

    /// Starts from reset; the first answer comes no earlier than the option says.
    void Start();
    /// Has been running for long.
    void Resume();
    /// Ends at once; answers under way are never given.
    void Stop();
    /// True from the start on, also while it can not answer yet.
    [[nodiscard]] bool Running() const { return m_running; }

    /// A message without its length byte has arrived on the second link. Lost unless it is running.
    void Receive(std::span<const std::uint8_t> message);

    /// The word, low byte first, at the option's address, as it is in memory now.
    [[nodiscard]] std::uint16_t Version() const;

private:
    void RunFrom(Instant readyAt);
    void Answer();
    void ChatterLater();
    void Send(std::span<const std::uint8_t> message);

    VirtualClock& m_clock;
    Probe& m_probe;
    Memory m_memory;
    MessageSink* m_sink = nullptr;
    Duration m_startTime;
    Duration m_answerTime;
    Duration m_chatterPeriod;
    std::uint16_t m_versionAddress;
    bool m_silent;

    bool m_running = false;
    Instant m_readyAt;
    std::deque<VirtualClock::Ticket>
        m_answers;  ///< Under way, in the order in which they fall due.
    VirtualClock::Ticket m_chatter = 0;
};

}  // namespace vboard
