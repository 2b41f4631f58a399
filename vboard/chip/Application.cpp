// SPDX-License-Identifier: MIT
#include "vboard/chip/Application.h"

#include <algorithm>
#include <array>

#include "vboard/text/HexText.h"

namespace vboard {
namespace {

constexpr std::array<std::uint8_t, 2> kVersionRequest{0xB4, 0x00};
constexpr std::uint8_t kVersionAnswer = 0xB5;
constexpr std::array<std::uint8_t, 1> kChatter{0xB0};

}  // namespace

Application::Application(VirtualClock& clock, Probe& probe, const ChipOptions& options,
                         Memory memory)
    : m_clock(clock),
      m_probe(probe),
      m_memory(memory),
      m_startTime(options.applicationStart),
      m_answerTime(options.applicationAnswer),
      m_chatterPeriod(options.chatterPeriod),
      m_versionAddress(options.versionAddress),
      m_silent(options.silent) {}

Application::~Application() {
    Stop();
}

void Application::Start() {
    RunFrom(m_clock.Now() + m_startTime);
}

void Application::Resume() {
    RunFrom(m_clock.Now());
}

void Application::RunFrom(Instant readyAt) {
    Stop();
    m_running = true;
    m_readyAt = readyAt;
    ChatterLater();
}

void Application::Stop() {
    m_running = false;
    for (const VirtualClock::Ticket ticket : m_answers) {
        m_clock.Cancel(ticket);
    }
    m_answers.clear();
    m_clock.Cancel(m_chatter);
}

void Application::Receive(std::span<const std::uint8_t> message) {
    if (!m_running) {
        return;
    }
    if (!std::ranges::equal(message, kVersionRequest)) {
        if (m_probe.Listening()) {
            m_probe.OnNote("chip", "application ignores message " + HexText(message));
        }
        return;
    }
    const Instant when = std::max(m_clock.Now() + m_answerTime, m_readyAt);
    m_answers.push_back(m_clock.At(when, [this] { Answer(); }));
}

void Application::Answer() {
    m_answers.pop_front();
    const std::uint16_t version = Version();
    const std::array<std::uint8_t, 3> answer{kVersionAnswer,
                                             static_cast<std::uint8_t>(version >> 8),
                                             static_cast<std::uint8_t>(version & 0xFF)};
    Send(answer);
}

std::uint16_t Application::Version() const {
    const auto next = static_cast<std::uint16_t>(m_versionAddress + 1);
    return static_cast<std::uint16_t>(m_memory[m_versionAddress] | m_memory[next] << 8);
}

void Application::ChatterLater() {
    if (m_silent || m_chatterPeriod <= Duration::zero()) {
        return;
    }
    m_chatter = m_clock.After(m_chatterPeriod, [this] {
        ChatterLater();
        Send(kChatter);
    });
}

void Application::Send(std::span<const std::uint8_t> message) {
    if (!m_silent && m_sink != nullptr) {
        m_sink->SendMessage(message);
    }
}

}  // namespace vboard
