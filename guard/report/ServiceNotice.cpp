// SPDX-License-Identifier: MIT
#include "guard/report/ServiceNotice.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>

#include "guard/report/Words.h"

namespace guard {
namespace {

using std::chrono_literals::operator""s;

/// Longer than any wait for the chip, which would have ended by itself before.
constexpr const char* kMoreTime = "EXTEND_TIMEOUT_USEC=30000000";

/// Line feeds would begin another variable.
std::string OneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

}  // namespace

ServiceNotice::ServiceNotice(const std::string& socket, ClockSource now)
    : m_address(socket), m_socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)), m_now(now) {
    if (!m_address.empty() && m_address.front() == '@') {
        m_address.front() = '\0';
    }
}

ServiceNotice::~ServiceNotice() {
    if (m_socket >= 0) {
        (void)close(m_socket);
    }
}

void ServiceNotice::OnPhase(Phase phase, std::uint32_t total) {
    m_gauge.Begin(phase, total, m_now());
    Tell();
}

void ServiceNotice::OnAdvance(std::uint32_t done) {
    m_gauge.Advance(done);
    if (!m_told || m_now() - m_lastTold >= 1s) {
        Tell();
    }
}

void ServiceNotice::OnVerdict(const Verdict& verdict) {
    Send("STATUS=" + OneLine(IsWell(verdict) ? ResultLine(verdict) : FailureSentence(verdict)));
}

void ServiceNotice::Tell() {
    m_told = true;
    m_lastTold = m_now();
    Send("STATUS=" + m_gauge.Text(m_lastTold) + "\n" + kMoreTime);
}

void ServiceNotice::Send(const std::string& text) const {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (m_socket < 0 || m_address.empty() || m_address.size() >= sizeof(address.sun_path)) {
        return;
    }
    std::copy(m_address.begin(), m_address.end(), std::begin(address.sun_path));
    const std::size_t size = offsetof(sockaddr_un, sun_path) + m_address.size();
    // Nobody waits for a manager that does not listen.
    (void)sendto(m_socket, text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                 reinterpret_cast<const sockaddr*>(&address), static_cast<socklen_t>(size));
}

}  // namespace guard
