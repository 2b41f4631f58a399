// SPDX-License-Identifier: MIT
#include "vboard/record/VcdWriter.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "vboard/text/Format.h"
#include "vboard/text/HexText.h"

namespace vboard {
namespace {

/// Held back before text is handed on, so that a run does not make a system call an edge.

/// Variables have short names in the body of the file. Digits and letters that begin a value are
/// left out: readers that don't know text values then have nothing to stumble over.
constexpr std::string_view kShortNames = "ACDEFGHIJKLMNOPQTUVWYacdefghijklmnopqtuvwy";

std::string Level(bool high) {
    return high ? "1" : "0";
}

std::int64_t Microseconds(Instant when) {
    return std::chrono::floor<std::chrono::microseconds>(when.time_since_epoch()).count();
}

}  // namespace

// Multi-bit values are not written as vectors, which libsigrok 0.5 does not read: each has a
// variable of text and one of one bit for each of its values.
VcdWriter::VcdWriter(const VirtualClock& clock, TextSink sink, bool eager)
    : m_clock(clock), m_sink(std::move(sink)), m_eager(eager) {
    for (const SignalInfo& info : AllSignals()) {
        const std::string name(info.name);
        if (info.valueNames.empty()) {
            m_firstOfSignal.push_back(Add(name, false, Level(info.idleValue != 0)));
            continue;
        }
        m_firstOfSignal.push_back(
            Add(name, true, std::string(ValueName(info.signal, info.idleValue))));
        for (std::uint32_t value = 0; value < info.valueNames.size(); ++value) {
            Add(Formatted("{}_{}", name, info.valueNames[value]), false,
                Level(value == info.idleValue));
        }
    }
    m_hostTx = Add("host_tx", false, Level(true));
    m_hostRx = Add("host_rx", false, Level(true));
    m_toChip = Add("message_to_chip", false, Level(false));
    Add("message_to_chip_bytes", true, "");
    m_toHost = Add("message_to_host", false, Level(false));
    Add("message_to_host_bytes", true, "");
}

std::size_t VcdWriter::Add(std::string name, bool isText, std::string value) {
    m_variables.push_back({std::move(name), isText, std::move(value)});
    return m_variables.size() - 1;
}

void VcdWriter::Begin(bool first) {
    m_begun = true;
    if (first) {
        WriteHeader();
    }
    WriteTime(m_clock.Now());
    m_text += first ? "$dumpvars\n" : "$dumpall\n";
    for (std::size_t variable = 0; variable < m_variables.size(); ++variable) {
        WriteValue(variable);
    }
    m_text += "$end\n";
    HandOnIf(m_eager);
}

void VcdWriter::WriteHeader() {
    m_text += "$version vboard $end\n$timescale 1 us $end\n$scope module board $end\n";
    for (std::size_t index = 0; index < m_variables.size(); ++index) {
        const Variable& variable = m_variables[index];
        m_text += Formatted("$var {} 1 {} {} $end\n", variable.isText ? "string" : "wire",
                            kShortNames.at(index), variable.name);
    }
    m_text += "$upscope $end\n$enddefinitions $end\n";
}

void VcdWriter::Finish() {
    WriteDue();
    WriteTime(m_clock.Now());
    HandOnIf(true);
}

void VcdWriter::OnSignal(Signal signal, std::uint32_t value) {
    const std::size_t first = m_firstOfSignal.at(static_cast<std::size_t>(signal));
    const std::size_t valueCount = InfoOf(signal).valueNames.size();
    if (valueCount == 0) {
        Now(first, Level(value != 0));
        return;
    }
    Now(first, std::string(ValueName(signal, value)));
    for (std::size_t other = 0; other < valueCount; ++other) {
        Now(first + 1 + other, Level(other == value));
    }
}

void VcdWriter::OnCharacter(const WireCharacter& character) {
    const std::size_t lane = character.direction == Direction::kHostToChip ? m_hostTx : m_hostRx;
    for (unsigned bit = 0; bit < character.bitCount; ++bit) {
        Later(character.BitStart(bit), lane,
              (static_cast<unsigned>(character.bits) >> bit & 1U) != 0);
    }
    Later(character.End(), lane, true);
    HandOnIf(m_eager);
}

void VcdWriter::OnBreak(Direction direction, bool low) {
    Now(direction == Direction::kHostToChip ? m_hostTx : m_hostRx, Level(!low));
}

void VcdWriter::OnMessage(Direction direction, std::span<const std::uint8_t> bytes) {
    const std::size_t mark = direction == Direction::kHostToChip ? m_toChip : m_toHost;
    WriteDue();
    std::erase_if(m_due, [mark](const Edge& edge) { return edge.variable == mark; });
    Now(mark + 1, HexText(bytes, ""));
    Now(mark, Level(true));
    Later(m_clock.Now() + kMessageMark, mark, false);
}

void VcdWriter::Now(std::size_t variable, std::string value) {
    WriteDue();
    Change(m_clock.Now(), variable, std::move(value));
    HandOnIf(m_eager);
}

void VcdWriter::Later(Instant when, std::size_t variable, bool high) {
    WriteDue();
    const auto place =
        std::upper_bound(m_due.begin(), m_due.end(), when,
                         [](Instant instant, const Edge& edge) { return instant < edge.when; });
    m_due.insert(place, {when, variable, high});
}

void VcdWriter::WriteDue() {
    const auto due = [this](const Edge& edge) { return edge.when <= m_clock.Now(); };
    const auto end = std::find_if_not(m_due.begin(), m_due.end(), due);
    for (auto edge = m_due.begin(); edge != end; ++edge) {
        Change(edge->when, edge->variable, Level(edge->high));
    }
    m_due.erase(m_due.begin(), end);
}

void VcdWriter::Change(Instant when, std::size_t variable, std::string value) {
    std::string& kept = m_variables.at(variable).value;
    if (kept == value) {
        return;
    }
    kept = std::move(value);
    if (m_begun) {
        WriteTime(when);
        WriteValue(variable);
    }
}

void VcdWriter::WriteTime(Instant when) {
    const std::int64_t microseconds = Microseconds(when);
    if (microseconds > m_writtenUs) {
        m_writtenUs = microseconds;
        AppendFormatted(m_text, "#{}\n", microseconds);
    }
}

void VcdWriter::WriteValue(std::size_t variable) {
    const Variable& written = m_variables[variable];
    if (written.isText) {
        AppendFormatted(m_text, "s{} {}\n", written.value, kShortNames.at(variable));
    } else {
        AppendFormatted(m_text, "{}{}\n", written.value, kShortNames.at(variable));
    }
}

void VcdWriter::HandOnIf(bool wanted) {
    if ((wanted || m_text.size() > kHeldBytes) && !m_text.empty()) {
        m_sink(m_text);
        m_text.clear();
    }
}

}  // namespace vboard
