// SPDX-License-Identifier: MIT
#pragma once

// The run as a Value Change Dump (IEEE 1364), for waveform viewers. docs/WAVEFORMS.md describes its
// signals.
//
// Characters on the serial link are announced once, at their start; here they become the edges of
// their bits, merged in time order with everything else. Times are cut to whole microseconds, as in
// the transcript. There is no date: equal runs give equal files.

#include <cstddef>
#include <string>
#include <vector>

#include "vboard/record/Probe.h"
#include "vboard/record/TextSink.h"

namespace vboard {

class VcdWriter : public Probe {
public:
    /// Gets pieces of the file, in order.
    /// A message takes no time in this model; its mark is high for this long, to be seen.
    static constexpr Duration kMessageMark = std::chrono::microseconds{100};

    /// `eager`: what is known goes to the sink at once (a run in real time that somebody watches).
    VcdWriter(const VirtualClock& clock, TextSink sink, bool eager);

    /// From here on changes are written; what was announced before is the state at the beginning.
    /// `first`: false for a later program of the same run, which goes on with the same file.
    void Begin(bool first);

    /// Writes what is due by now, and the present instant as the end of the record. To be called
    /// once, when the run ends, however it ends.
    void Finish();

    void OnSignal(Signal signal, std::uint32_t value) override;
    void OnCharacter(const WireCharacter& character) override;
    void OnBreak(Direction direction, bool low) override;
    void OnMessage(Direction direction, std::span<const std::uint8_t> bytes) override;

private:
    struct Variable {
        std::string name;
        bool isText;  ///< A word to read, where the viewer can; everything else is one bit wide.
        std::string value;
    };
    struct Edge {
        Instant when;
        std::size_t variable;
        bool high;
    };

    std::size_t Add(std::string name, bool isText, std::string value);
    void WriteHeader();
    void Now(std::size_t variable, std::string value);
    void Later(Instant when, std::size_t variable, bool high);
    void WriteDue();
    void Change(Instant when, std::size_t variable, std::string value);
    void WriteTime(Instant when);
    void WriteValue(std::size_t variable);
    void HandOnIf(bool wanted);

    const VirtualClock& m_clock;
    TextSink m_sink;
    bool m_eager;
    bool m_begun = false;
    std::vector<Variable> m_variables;
    std::vector<std::size_t> m_firstOfSignal;  ///< By signal; into m_variables, as those below.
    std::size_t m_hostTx;
    std::size_t m_hostRx;
    std::size_t m_toChip;  ///< The mark of the messages; their bytes follow it.
    std::size_t m_toHost;
    std::vector<Edge> m_due;  ///< In the order of time; equal instants in the order of asking.
    std::int64_t m_writtenUs = -1;
    std::string m_text;  ///< Not handed on yet.
};

}  // namespace vboard
