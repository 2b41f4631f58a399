// SPDX-License-Identifier: MIT
#include "vboard/record/VcdWriter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "vboard/text/Format.h"

namespace vboard {
namespace {

/// Variables have short names in the body of the file. Digits and letters that begin a value are
/// left out: readers that don't know a value then have nothing to stumble over.
constexpr std::string_view kShortNames = "ACDEFGHIJKLMNOPQTUVWYacdefghijklmnopqtuvwy";

std::int64_t Microseconds(Instant when) {
    return std::chrono::floor<std::chrono::microseconds>(when.time_since_epoch()).count();
}

}  // namespace

// Values of more than one bit have a variable for each of their words. Vectors, which libsigrok 0.5
// does not read, and texts, at which other readers stop, are not written.
VcdWriter::VcdWriter(const VirtualClock& clock, TextSink sink, bool eager, std::int64_t& handedOnUs)
    : m_clock(clock), m_sink(std::move(sink)), m_eager(eager), m_handedOnUs(handedOnUs) {
    for (const SignalInfo& info : AllSignals()) {
        m_firstOfSignal.push_back(m_variables.size());
        if (info.valueNames.empty()) {
            Add(std::string(info.name), info.idleValue != 0);
            continue;
        }
        for (std::uint32_t value = 0; value < info.valueNames.size(); ++value) {
            Add(Formatted("{}_{}", info.name, info.valueNames[value]), value == info.idleValue);
        }
    }
    m_hostTx = Add("host_tx", true);
    m_hostRx = Add("host_rx", true);
    m_toChip = Add("message_to_chip", false);
    m_toHost = Add("message_to_host", false);
}

std::size_t VcdWriter::Add(std::string name, bool high) {
    m_variables.push_back({std::move(name), high});
    return m_variables.size() - 1;
}

// What a later program finds may differ from what the one before it left only where that one was
// killed; it is written like any change, and readers need no second list of values.
void VcdWriter::Begin(bool first) {
    m_begun = true;
    if (first) {
        WriteHeader();
        WriteTime(0);
        m_text += "$dumpvars\n";
    } else {
        m_writtenUs = m_handedOnUs;
        WriteTime(Microseconds(m_clock.Now()));
    }
    for (std::size_t variable = 0; variable < m_variables.size(); ++variable) {
        WriteValue(variable);
    }
    m_text += first ? "$end\n" : "";
    HandOnIf(m_eager);
}

void VcdWriter::WriteHeader() {
    m_text += "$version vboard $end\n$timescale 1 us $end\n$scope module board $end\n";
    for (std::size_t index = 0; index < m_variables.size(); ++index) {
        AppendFormatted(m_text, "$var wire 1 {} {} $end\n", kShortNames.at(index),
                        m_variables[index].name);
    }
    m_text += "$upscope $end\n$enddefinitions $end\n";
}

void VcdWriter::Finish() {
    WriteDue();
    WriteTime(Microseconds(m_clock.Now()));
    HandOnIf(true);
}

void VcdWriter::OnSignal(Signal signal, std::uint32_t value) {
    const std::size_t first = m_firstOfSignal[static_cast<std::size_t>(signal)];
    const std::size_t valueCount = InfoOf(signal).valueNames.size();
    if (valueCount == 0) {
        Now(first, value != 0);
        return;
    }
    for (std::size_t other = 0; other < valueCount; ++other) {
        Now(first + other, other == value);
    }
}

void VcdWriter::OnCharacter(const WireCharacter& character) {
    const std::size_t lane = character.direction == Direction::kHostToChip ? m_hostTx : m_hostRx;
    WriteDue();
    bool level = true;
    for (unsigned bit = 0; bit < character.bitCount; ++bit) {
        const bool high = (static_cast<unsigned>(character.bits) >> bit & 1U) != 0;
        if (high != level) {
            Later(character.BitStart(bit), lane, high);
            level = high;
        }
    }
    if (!level) {
        Later(character.End(), lane, true);
    }
    HandOnIf(m_eager);
}

void VcdWriter::OnBreak(Direction direction, bool low) {
    Now(direction == Direction::kHostToChip ? m_hostTx : m_hostRx, !low);
}

void VcdWriter::OnMessage(Direction direction, std::span<const std::uint8_t> /*bytes*/) {
    const std::size_t mark = direction == Direction::kHostToChip ? m_toChip : m_toHost;
    WriteDue();
    std::erase_if(m_due, [mark](const Edge& edge) { return edge.variable == mark; });
    Now(mark, true);
    Later(m_clock.Now() + kMessageMark, mark, false);
}

void VcdWriter::Now(std::size_t variable, bool high) {
    WriteDue();
    Change(m_clock.Now(), variable, high);
    HandOnIf(m_eager);
}

void VcdWriter::Later(Instant when, std::size_t variable, bool high) {
    const auto isBefore = [](Instant instant, const Edge& edge) { return instant < edge.when; };
    const auto place = m_due.empty() || m_due.back().when <= when
                           ? m_due.end()
                           : std::upper_bound(m_due.begin(), m_due.end(), when, isBefore);
    m_due.insert(place, {when, variable, high});
}

void VcdWriter::WriteDue() {
    const Instant now = m_clock.Now();
    std::ptrdiff_t done = 0;
    for (const Edge& edge : m_due) {
        if (edge.when > now) {
            break;
        }
        Change(edge.when, edge.variable, edge.high);
        ++done;
    }
    m_due.erase(m_due.begin(), m_due.begin() + done);
}

void VcdWriter::Change(Instant when, std::size_t variable, bool high) {
    bool& kept = m_variables[variable].high;
    if (kept == high) {
        return;
    }
    kept = high;
    if (m_begun) {
        WriteTime(std::max<std::int64_t>(Microseconds(when), 1));
        WriteValue(variable);
    }
}

void VcdWriter::WriteTime(std::int64_t microseconds) {
    if (microseconds <= m_writtenUs) {
        return;
    }
    // Times ascend: nearly always the last four digits alone are others than before.
    constexpr std::int64_t kLowDigits = 10'000;
    const std::int64_t high = microseconds / kLowDigits;
    m_writtenUs = microseconds;
    if (high == 0 || high != m_timeLineHigh) {
        m_timeLineHigh = high;
        char* const line = m_timeLine.data();
        m_timeLineEnd = std::to_chars(line + 1, line + m_timeLine.size(), microseconds).ptr;
        *m_timeLineEnd++ = '\n';
    } else {
        char* place = m_timeLineEnd - 1;
        for (std::int64_t left = microseconds % kLowDigits + kLowDigits; left > 1; left /= 10) {
            *--place = static_cast<char>('0' + left % 10);
        }
    }
    m_text.append(m_timeLine.data(), static_cast<std::size_t>(m_timeLineEnd - m_timeLine.data()));
}

void VcdWriter::WriteValue(std::size_t variable) {
    const std::array<char, 3> line{m_variables[variable].high ? '1' : '0', kShortNames[variable],
                                   '\n'};
    m_text.append(line.data(), line.size());
}

void VcdWriter::HandOnIf(bool wanted) {
    if ((wanted || m_text.size() > kHeldBytes) && !m_text.empty()) {
        m_sink(m_text);
        m_text.clear();
        m_handedOnUs = m_writtenUs;
    }
}

}  // namespace vboard
