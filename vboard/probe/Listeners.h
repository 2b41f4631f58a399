// SPDX-License-Identifier: MIT
#pragma once

// The one probe that all rooms of a board announce to; hands each announcement to every listener,
// in the order in which the board added them.

#include <vector>

#include "vboard/probe/Probe.h"

namespace vboard {

class Listeners : public Probe {
public:
    /// Listeners are not owned and must outlive it.
    void Add(Probe& listener) { m_listeners.push_back(&listener); }

    [[nodiscard]] bool Listening() const override;
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
    std::vector<Probe*> m_listeners;
};

}  // namespace vboard
