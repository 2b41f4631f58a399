// SPDX-License-Identifier: MIT
#pragma once

// The ordered, time-stamped record of a run as text, for people to read and for tests to compare.
// docs/TRANSCRIPT.md describes its lines.

#include <string>

#include "vboard/probe/Probe.h"
#include "vboard/text/TextSink.h"

namespace vboard {

class Transcript : public Probe {
public:
    /// `sink` gets whole lines, some at a time; `eager`: each one at once (a run in real time that
    /// somebody watches). `clock` must outlive the transcript.
    Transcript(const VirtualClock& clock, TextSink sink, bool eager);

    /// Hands on what is still held. To be called when the run ends, however it ends.
    void Finish();

    [[nodiscard]] bool Listening() const override { return true; }
    void OnSignal(Signal signal, std::uint32_t value) override;
    void OnCallBegins() override;
    void OnCall(const HostCall& call) override;
    void OnPause(Duration length) override;
    void OnCharacter(const WireCharacter& character) override;
    void OnBreak(Direction direction, bool low) override;
    void OnMessage(Direction direction, std::span<const std::uint8_t> bytes) override;
    void OnLoaderCommand(const LoaderCommand& command) override;
    void OnNote(std::string_view room, std::string_view text) override;

private:
    void Line(std::string_view column, std::string_view text);
    void EndWireLine();
    void HandOn();

    const VirtualClock& m_clock;
    TextSink m_sink;
    bool m_eager;
    std::string m_text;  ///< Lines not handed on yet.

    bool m_callOpen = false;  ///< A call is acting; its line goes before what it brings about.
    std::size_t m_callMark = 0;
    Instant m_callStart;

    bool m_onWire = false;  ///< A line of characters in one direction is being gathered.
    Direction m_wireDirection = Direction::kHostToChip;
    Instant m_wireStart;
    std::string m_wireText;
};

}  // namespace vboard
