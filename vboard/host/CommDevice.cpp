// SPDX-License-Identifier: MIT
#include "vboard/host/CommDevice.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "vboard/text/Format.h"

namespace vboard {

class CommFile : public DeviceFile {
public:
    explicit CommFile(CommDevice& device) : m_device(device) { ++m_device.m_openings; }
    ~CommFile() override {
        // What arrives while nobody listens is lost, and so is what nobody has read.
        if (--m_device.m_openings == 0) {
            m_device.m_received.clear();
        }
    }
    CommFile(const CommFile&) = delete;
    CommFile& operator=(const CommFile&) = delete;

    IoResult Read(std::span<std::uint8_t> buffer, bool nonBlocking) override {
        return m_device.Read(buffer, nonBlocking);
    }
    IoResult Write(std::span<const std::uint8_t> data, bool /*nonBlocking*/) override {
        return m_device.Write(data);
    }
    IoResult Ioctl(unsigned long request, void* argument) override {
        if (request != kTristateRequest) {
            return -ENOTTY;
        }
        if (argument == nullptr) {
            return -EFAULT;
        }
        int state = 0;
        std::memcpy(&state, argument, sizeof state);
        m_device.m_harness.SetTristate(state != 0);
        return 0;
    }
    [[nodiscard]] std::string Describe(unsigned long request, const void* argument) const override {
        if (request != kTristateRequest || argument == nullptr) {
            return DeviceFile::Describe(request, argument);
        }
        int state = 0;
        std::memcpy(&state, argument, sizeof state);
        return Formatted("tristate {}", state);
    }
    [[nodiscard]] Readiness Ready() const override { return {!m_device.m_received.empty(), true}; }

private:
    CommDevice& m_device;
};

CommDevice::CommDevice(VirtualClock& clock, Harness& harness, MessageWire& wire)
    : m_clock(clock), m_harness(harness), m_wire(wire) {
    m_wire.ConnectHost([this](std::span<const std::uint8_t> message) {
        if (m_openings > 0) {
            m_received.push_back(static_cast<std::uint8_t>(message.size()));
            m_received.insert(m_received.end(), message.begin(), message.end());
        }
    });
}

Device::Opened CommDevice::Open(int /*flags*/) {
    return {std::make_unique<CommFile>(*this), 0};
}

IoResult CommDevice::Read(std::span<std::uint8_t> buffer, bool nonBlocking) {
    if (buffer.empty()) {
        return 0;
    }
    const auto somethingCame = [this] { return !m_received.empty(); };
    if (m_received.empty() && nonBlocking) {
        m_clock.RunUntil(somethingCame, m_clock.Now() + kFruitlessStep);
        return -EAGAIN;
    }
    const auto waited = m_clock.RunUntil(somethingCame, std::nullopt, Signals::kRestart);
    if (waited == VirtualClock::Waited::kInterrupted) {
        return -EINTR;
    }
    if (waited != VirtualClock::Waited::kSatisfied) {
        return kWouldWaitForEver;
    }
    const std::size_t count = std::min(buffer.size(), m_received.size());
    std::copy_n(m_received.begin(), count, buffer.begin());
    m_received.erase(m_received.begin(), m_received.begin() + static_cast<std::ptrdiff_t>(count));
    return static_cast<IoResult>(count);
}

IoResult CommDevice::Write(std::span<const std::uint8_t> data) {
    // Each write is one message: its length, then so many bytes. The driver takes nothing else.
    if (data.empty() || data[0] != data.size() - 1) {
        return -EINVAL;
    }
    m_wire.SendToChip(data.subspan(1));
    return static_cast<IoResult>(data.size());
}

}  // namespace vboard
