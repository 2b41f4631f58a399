// SPDX-License-Identifier: MIT
#include "vboard/record/Transcript.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <utility>

#include "vboard/text/Format.h"
#include "vboard/text/HexText.h"

namespace vboard {
namespace {

constexpr std::size_t kSecondsWidth = 5;
constexpr std::size_t kFractionWidth = 6;
constexpr std::size_t kColumnWidth = 8;

void AppendNumber(std::string& text, std::int64_t number, std::size_t width, char fill) {
    std::array<char, 24> digits{};
    const char* end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    const auto count = static_cast<std::size_t>(end - digits.data());
    text.append(width > count ? width - count : 0, fill);
    text.append(digits.data(), count);
}

/// "    1.651000 call    " and what stands behind it. Composed by hand: there is a line for each
/// character's change of direction, each signal and each call.
void AppendLine(std::string& to, Instant at, std::string_view column, std::string_view text) {
    const auto microseconds =
        std::chrono::duration_cast<std::chrono::microseconds>(at.time_since_epoch()).count();
    AppendNumber(to, microseconds / 1'000'000, kSecondsWidth, ' ');
    to += '.';
    AppendNumber(to, microseconds % 1'000'000, kFractionWidth, '0');
    to.append(1, ' ').append(column);
    to.append(column.size() < kColumnWidth ? kColumnWidth - column.size() : 0, ' ');
    to.append(text).append(1, '\n');
}

std::string_view Arrow(Direction direction) {
    return direction == Direction::kHostToChip ? ">" : "<";
}

bool IsText(std::span<const std::uint8_t> data) {
    return std::all_of(data.begin(), data.end(),
                       [](std::uint8_t byte) { return byte >= 0x20 && byte < 0x7F; });
}

/// GPIO files carry text, every other device carries bytes.
std::string DataText(const HostCall& call) {
    if (call.target.starts_with("/sys/") && IsText(call.data)) {
        return '"' +
               std::string(reinterpret_cast<const char*>(call.data.data()), call.data.size()) + '"';
    }
    return HexText(call.data);
}

std::string ResultText(std::int64_t result) {
    if (result >= 0) {
        return std::to_string(result);
    }
    const char* name = strerrorname_np(static_cast<int>(-result));
    return name != nullptr ? name : std::to_string(result);
}

}  // namespace

Transcript::Transcript(const VirtualClock& clock, TextSink sink, bool eager)
    : m_clock(clock), m_sink(std::move(sink)), m_eager(eager) {}

void Transcript::Finish() {
    EndWireLine();
    HandOn();
}

void Transcript::HandOn() {
    if (!m_text.empty()) {
        m_sink(m_text);
        m_text.clear();
    }
}

void Transcript::EndWireLine() {
    if (!m_onWire) {
        return;
    }
    m_onWire = false;
    AppendLine(m_text, m_wireStart, "wire", m_wireText);
}

void Transcript::Line(std::string_view column, std::string_view text) {
    EndWireLine();
    AppendLine(m_text, m_clock.Now(), column, text);
    if (!m_callOpen && (m_eager || m_text.size() > kHeldBytes)) {
        HandOn();
    }
}

void Transcript::OnSignal(Signal signal, std::uint32_t value) {
    const SignalInfo& info = InfoOf(signal);
    const std::string_view name = ValueName(signal, value);
    std::string text(info.name);
    text += ' ';
    if (name.empty()) {
        AppendNumber(text, value, 0, ' ');
    } else {
        text += name;
    }
    Line(info.group, text);
}

void Transcript::OnCallBegins() {
    EndWireLine();
    m_callOpen = true;
    m_callMark = m_text.size();
    m_callStart = m_clock.Now();
}

void Transcript::OnCall(const HostCall& call) {
    std::string text(call.name);
    text.append(1, ' ').append(call.target);
    if (!call.detail.empty()) {
        text.append(1, ' ').append(call.detail);
    }
    if (!call.data.empty()) {
        text.append(1, ' ').append(DataText(call));
    }
    text.append(" = ").append(ResultText(call.result));
    const bool insert = std::exchange(m_callOpen, false) && m_callStart == m_clock.Now();
    if (!insert) {
        Line("call", text);
        return;
    }
    std::string line;
    AppendLine(line, m_callStart, "call", text);
    m_text.insert(m_callMark, line);
    if (m_eager) {
        HandOn();
    }
}

void Transcript::OnPause(Duration length) {
    Line("pause", std::to_string(length.count() / 1000) + " us");
}

void Transcript::OnCharacter(const WireCharacter& character) {
    if (!m_onWire || character.direction != m_wireDirection) {
        EndWireLine();
        m_onWire = true;
        m_wireDirection = character.direction;
        m_wireStart = character.start;
        m_wireText = Arrow(character.direction);
    }
    m_wireText.append(1, ' ').append(HexText({&character.value, 1}));
}

void Transcript::OnBreak(Direction direction, bool low) {
    Line("wire", Formatted("{} break {}", Arrow(direction), low ? "begins" : "ends"));
}

void Transcript::OnMessage(Direction direction, std::span<const std::uint8_t> bytes) {
    Line("message", Formatted("{} {}", Arrow(direction), HexText(bytes)));
}

void Transcript::OnLoaderCommand(const LoaderCommand& command) {
    Line("loader", Formatted("{}: answers {:02x}", command.words, command.answer));
}

void Transcript::OnNote(std::string_view room, std::string_view text) {
    Line(room, text);
}

}  // namespace vboard
