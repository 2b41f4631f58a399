// SPDX-License-Identifier: MIT
#pragma once

// Tells a service manager how far the run is (sd_notify's protocol): a line of status, and that it
// needs more time as long as it gets on.

#include <string>

#include "guard/report/Gauge.h"
#include "guard/report/PlainReport.h"
#include "guard/session/Progress.h"

namespace guard {

class ServiceNotice : public Progress {
public:
    /// `socket` is the value of NOTIFY_SOCKET: a path, or '@' and an abstract name.
    ServiceNotice(const std::string& socket, ClockSource now);
    ~ServiceNotice() override;
    ServiceNotice(const ServiceNotice&) = delete;
    ServiceNotice& operator=(const ServiceNotice&) = delete;

    void OnPhase(Phase phase, std::uint32_t total) override;
    void OnAdvance(std::uint32_t done) override;
    void OnNote(std::string_view /*text*/) override {}
    void OnFrame(bool /*toChip*/, std::span<const std::uint8_t> /*bytes*/) override {}
    void OnLog(std::string_view /*line*/) override {}
    void OnVerdict(const Verdict& verdict) override;

private:
    void Tell();
    void Send(const std::string& text) const;

    std::string m_address;
    int m_socket;
    ClockSource m_now;
    Gauge m_gauge;
    bool m_told = false;
    Duration m_lastTold{0};
};

}  // namespace guard
