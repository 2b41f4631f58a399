// SPDX-License-Identifier: MIT
#pragma once

// One run at a time for each port: an advisory lock on a file that is named after the port, so that
// no device has to be opened to find out. The file stays; the lock goes with the process.

#include <cstdint>
#include <string>

namespace guard {

/// The lock of one port; given back when it is destroyed.
class PortLock {
public:
    /// Ours; another run has it; its file can not be had.
    enum class Answer : std::uint8_t { kHeld, kBusy, kNoFile };

    /// The lock for `port` lies in `folder`: "/run/lock/flashguard-dev-ttyS1.lock".
    PortLock(const std::string& folder, const std::string& port);
    ~PortLock();
    PortLock(const PortLock&) = delete;
    PortLock& operator=(const PortLock&) = delete;

    /// Tries to take the lock, without a wait. kNoFile when the file can neither be opened nor
    /// made.
    [[nodiscard]] Answer Take();
    /// Of the file, for messages.
    [[nodiscard]] const std::string& Path() const { return m_path; }

private:
    std::string m_path;
    int m_file = -1;
};

}  // namespace guard
