// SPDX-License-Identifier: MIT
#include "vboard/probe/Listeners.h"

#include <algorithm>

namespace vboard {

bool Listeners::Listening() const {
    return std::any_of(m_listeners.begin(), m_listeners.end(),
                       [](const Probe* listener) { return listener->Listening(); });
}

void Listeners::OnSignal(Signal signal, std::uint32_t value) {
    for (Probe* listener : m_listeners) {
        listener->OnSignal(signal, value);
    }
}

void Listeners::OnCallBegins() {
    for (Probe* listener : m_listeners) {
        listener->OnCallBegins();
    }
}

void Listeners::OnCall(const HostCall& call) {
    for (Probe* listener : m_listeners) {
        listener->OnCall(call);
    }
}

void Listeners::OnPause(Duration length) {
    for (Probe* listener : m_listeners) {
        listener->OnPause(length);
    }
}

void Listeners::OnCharacter(const WireCharacter& character) {
    for (Probe* listener : m_listeners) {
        listener->OnCharacter(character);
    }
}

void Listeners::OnBreak(Direction direction, bool low) {
    for (Probe* listener : m_listeners) {
        listener->OnBreak(direction, low);
    }
}

void Listeners::OnMessage(Direction direction, std::span<const std::uint8_t> bytes) {
    for (Probe* listener : m_listeners) {
        listener->OnMessage(direction, bytes);
    }
}

void Listeners::OnLoaderCommand(const LoaderCommand& command) {
    for (Probe* listener : m_listeners) {
        listener->OnLoaderCommand(command);
    }
}

void Listeners::OnNote(std::string_view room, std::string_view text) {
    for (Probe* listener : m_listeners) {
        listener->OnNote(room, text);
    }
}

}  // namespace vboard
