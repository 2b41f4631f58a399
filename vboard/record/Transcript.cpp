// SPDX-License-Identifier: MIT
#include "vboard/record/Transcript.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "vboard/text/Format.h"
#include "vboard/text/HexText.h"

namespace vboard {
namespace {

/// Held back before lines are handed on, so that a run does not make a system call a line.

std::string LineText(Instant at, std::string_view column, std::string_view text) {
    const auto microseconds =
        std::chrono::duration_cast<std::chrono::microseconds>(at.time_since_epoch()).count();
    return Formatted("{:>5}.{:06} {:<8}{}\n", microseconds / 1'000'000, microseconds % 1'000'000,
                     column, text);
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
        return Formatted("\"{}\"", std::string_view(reinterpret_cast<const char*>(call.data.data()),
                                                    call.data.size()));
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
    m_text += LineText(m_wireStart, "wire", m_wireText);
}

void Transcript::Line(std::string_view column, std::string_view text) {
    EndWireLine();
    m_text += LineText(m_clock.Now(), column, text);
    if (!m_callOpen && (m_eager || m_text.size() > kHeldBytes)) {
        HandOn();
    }
}

void Transcript::OnSignal(Signal signal, std::uint32_t value) {
    const SignalInfo& info = InfoOf(signal);
    const std::string_view name = ValueName(signal, value);
    Line(info.group,
         name.empty() ? Formatted("{} {}", info.name, value) : Formatted("{} {}", info.name, name));
}

void Transcript::OnCallBegins() {
    EndWireLine();
    m_callOpen = true;
    m_callMark = m_text.size();
    m_callStart = m_clock.Now();
}

void Transcript::OnCall(const HostCall& call) {
    std::string text = Formatted("{} {}", call.name, call.target);
    if (!call.detail.empty()) {
        text += Formatted(" {}", call.detail);
    }
    if (!call.data.empty()) {
        text += Formatted(" {}", DataText(call));
    }
    text += Formatted(" = {}", ResultText(call.result));
    const bool insert = std::exchange(m_callOpen, false) && m_callStart == m_clock.Now();
    if (!insert) {
        Line("call", text);
        return;
    }
    m_text.insert(m_callMark, LineText(m_callStart, "call", text));
    if (m_eager) {
        HandOn();
    }
}

void Transcript::OnPause(Duration length) {
    Line("pause", Formatted("{} us", length.count() / 1000));
}

void Transcript::OnCharacter(const WireCharacter& character) {
    if (!m_onWire || character.direction != m_wireDirection) {
        EndWireLine();
        m_onWire = true;
        m_wireDirection = character.direction;
        m_wireStart = character.start;
        m_wireText = Arrow(character.direction);
    }
    AppendFormatted(m_wireText, " {:02x}", character.value);
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
