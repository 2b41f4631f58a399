// SPDX-License-Identifier: MIT
#include "vboard/record/Trace.h"

#include <algorithm>

namespace vboard {

bool Trace::Listening() const {
    return std::any_of(m_listeners.begin(), m_listeners.end(),
                       [](const Probe* listener) { return listener->Listening(); });
}

void Trace::OnSignal(Signal signal, std::uint32_t value) {
    for (Probe* listener : m_listeners) {
        listener->OnSignal(signal, value);
    }
}

void Trace::OnCallBegins() {
    for (Probe* listener : m_listeners) {
        listener->OnCallBegins();
    }
}

void Trace::OnCall(const HostCall& call) {
    for (Probe* listener : m_listeners) {
        listener->OnCall(call);
    }
}

void Trace::OnPause(Duration length) {
    for (Probe* listener : m_listeners) {
        listener->OnPause(length);
    }
}

void Trace::OnCharacter(const WireCharacter& character) {
    for (Probe* listener : m_listeners) {
        listener->OnCharacter(character);
    }
}

void Trace::OnBreak(Direction direction, bool low) {
    for (Probe* listener : m_listeners) {
        listener->OnBreak(direction, low);
    }
}

void Trace::OnMessage(Direction direction, std::span<const std::uint8_t> bytes) {
    for (Probe* listener : m_listeners) {
        listener->OnMessage(direction, bytes);
    }
}

void Trace::OnLoaderCommand(const LoaderCommand& command) {
    for (Probe* listener : m_listeners) {
        listener->OnLoaderCommand(command);
    }
}

void Trace::OnNote(std::string_view room, std::string_view text) {
    for (Probe* listener : m_listeners) {
        listener->OnNote(room, text);
    }
}

}  // namespace vboard
