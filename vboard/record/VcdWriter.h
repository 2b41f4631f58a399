// SPDX-License-Identifier: MIT
#pragma once

// The run as a Value Change Dump (IEEE 1364), for waveform viewers. docs/WAVEFORMS.md describes its
// signals.
//
// Characters on the serial link are announced once, at their start; here they become the edges of
// their bits, merged in time order with everything else. Times are cut to whole microseconds, as in
// the transcript. The levels at the beginning stand at #0, so what changes within the first
// microsecond is written in the second. There is no date: equal runs give equal files.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "vboard/probe/Probe.h"
#include "vboard/text/TextSink.h"

namespace vboard {

class VcdWriter : public Probe {
public:
    /// A message takes no time in this model; its mark is high for this long, to be seen.
    static constexpr Duration kMessageMark = std::chrono::microseconds{100};

    /// `sink` gets pieces of the file, in order. `eager`: what is known goes there at once (a run
    /// in real time that somebody watches). `handedOnUs` is kept at the last time that the sink has
    /// got, for a later program of the run, which goes on from there. It and `clock` must outlive
    /// the writer.
    VcdWriter(const VirtualClock& clock, TextSink sink, bool eager, std::int64_t& handedOnUs);

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
        bool high;
    };
    struct Edge {
        Instant when;
        std::size_t variable;
        bool high;
    };

    std::size_t Add(std::string name, bool high);
    void WriteHeader();
    void Now(std::size_t variable, bool high);
    void Later(Instant when, std::size_t variable, bool high);
    void WriteDue();
    void Change(Instant when, std::size_t variable, bool high);
    void WriteTime(std::int64_t microseconds);
    void WriteValue(std::size_t variable);
    void HandOnIf(bool wanted);

    const VirtualClock& m_clock;
    TextSink m_sink;
    bool m_eager;
    std::int64_t& m_handedOnUs;
    bool m_begun = false;
    std::vector<Variable> m_variables;
    std::vector<std::size_t> m_firstOfSignal;  ///< By signal; into m_variables, as those below.
    std::size_t m_hostTx;
    std::size_t m_hostRx;
    std::size_t m_toChip;  ///< The mark of the messages.
    std::size_t m_toHost;
    std::vector<Edge> m_due;  ///< In the order of time; equal instants in the order of asking.
    std::int64_t m_writtenUs = -1;
    std::array<char, 24> m_timeLine{'#'};         ///< The last one, for the digits that stay.
    std::int64_t m_timeLineHigh = 0;              ///< Its time without the last four digits.
    char* m_timeLineEnd = m_timeLine.data() + 1;  ///< Behind its line end.
    std::string m_text;                           ///< Not handed on yet.
};

}  // namespace vboard
