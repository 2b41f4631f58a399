// SPDX-License-Identifier: MIT
#include "guard/loader/Exchange.h"

#include <algorithm>
#include <array>

namespace guard {
namespace {

using std::chrono_literals::operator""ms;

constexpr std::uint8_t kSyncByte = 0x80;
constexpr std::uint8_t kAckByte = 0x90;
constexpr std::uint8_t kNakByte = 0xA0;
constexpr std::size_t kHeaderBytes = 4;
constexpr std::size_t kChecksumBytes = 2;

/// For whatever lies between the two ends: a driver, a FIFO, a loader that thinks. SLAU319 states
/// no time to the answer.
constexpr Milliseconds kSlack = 400ms;

/// More than the longest frame: whatever the loader still waits for, it gets.
constexpr std::size_t kPushOutBytes = 270;

/// 80 xx N N data CKL CKH: the check bytes are the inverted XOR of the bytes at even and at odd
/// offsets.
bool IsDataFrame(std::span<const std::uint8_t> frame) {
    const std::size_t dataBytes = frame.size() - kHeaderBytes - kChecksumBytes;
    std::array<std::uint8_t, 2> sums{0xFF, 0xFF};
    for (std::size_t i = 0; i < frame.size() - kChecksumBytes; ++i) {
        sums.at(i % 2) ^= frame[i];
    }
    return frame[0] == kSyncByte && frame[2] == dataBytes && frame[3] == dataBytes &&
           frame[frame.size() - 2] == sums[0] && frame[frame.size() - 1] == sums[1];
}

}  // namespace

Answer Exchange::Sync(int tries) {
    Answer answer = Answer::kSilence;
    for (int i = 0; i < tries && answer != Answer::kAck; ++i) {
        m_port.Forget();
        std::array<std::uint8_t, 1> byte{kSyncByte};
        if (!m_port.Send(byte)) {
            continue;
        }
        if (m_port.Receive(byte, kSlack) == 0) {
            answer = Answer::kSilence;
        } else if (byte[0] == kAckByte) {
            answer = Answer::kAck;
        } else {
            // The byte has ended a frame that the loader was still waiting for, or noise came.
            ++m_counts.lineErrors;
            (void)m_port.Drain();
            answer = Answer::kGarbled;
        }
    }
    m_synchronised = answer == Answer::kAck;
    return answer;
}

// A loader that misses characters of a frame takes everything for them; with these it has enough,
// refuses the frame, and ignores the rest.
void Exchange::PushOut() {
    const std::array<std::uint8_t, kPushOutBytes> filler{};
    (void)m_port.Send(filler);
    Pause(std::chrono::ceil<Milliseconds>(m_port.TimeOf(kPushOutBytes)));
    (void)m_port.Drain();
}

bool Exchange::Synchronise(bool again) {
    constexpr int kTries = 2;
    if (!again) {
        return m_synchronised || Sync(1) == Answer::kAck;
    }
    m_counts.lineErrors += static_cast<std::uint32_t>(m_port.Drain());
    if (Sync(kTries) == Answer::kAck) {
        return true;
    }
    PushOut();
    return Sync(kTries) == Answer::kAck;
}

Answer Exchange::Repeated(std::span<const std::uint8_t> frame, const Attempt& receive) {
    Answer answer = Answer::kSilence;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        m_counts.retries += attempt > 0 ? 1 : 0;
        if (!Synchronise(attempt > 0)) {
            answer = Answer::kNoSync;
            if (attempt > 0) {
                return answer;
            }
            continue;
        }
        m_synchronised = false;
        m_watcher(true, frame);
        answer = m_port.Send(frame) ? receive() : Answer::kGarbled;
        if (answer == Answer::kAck) {
            return answer;
        }
        m_counts.refusals += answer == Answer::kNak ? 1 : 0;
        m_counts.lineErrors += answer == Answer::kNak ? 0 : 1;
    }
    return answer;
}

Answer Exchange::Command(std::span<const std::uint8_t> frame, Duration work) {
    return Repeated(frame, [&] { return ReceiveAcknowledge(frame.size(), work); });
}

Answer Exchange::Query(std::span<const std::uint8_t> frame, std::span<std::uint8_t> data) {
    return Repeated(frame, [&] { return ReceiveData(frame.size(), data); });
}

Answer Exchange::ReceiveAcknowledge(std::size_t sentBytes, Duration work) {
    m_received.assign(1, 0);
    m_received.resize(m_port.Receive(m_received, m_port.TimeOf(sentBytes) + work + kSlack));
    m_watcher(false, m_received);
    if (m_received.empty()) {
        return Answer::kSilence;
    }
    if (m_received[0] == kAckByte) {
        return Answer::kAck;
    }
    return m_received[0] == kNakByte ? Answer::kNak : Answer::kGarbled;
}

Answer Exchange::ReceiveData(std::size_t sentBytes, std::span<std::uint8_t> data) {
    const std::size_t wanted = kHeaderBytes + data.size() + kChecksumBytes;
    m_received.assign(wanted, 0);
    // The first byte alone: a refusal is no more than that.
    const auto first = std::span(m_received).first(1);
    std::size_t got = m_port.Receive(first, m_port.TimeOf(sentBytes) + kSlack);
    if (got == 1 && first[0] == kSyncByte) {
        got += m_port.Receive(std::span(m_received).subspan(1), kSlack);
    }
    m_received.resize(got);
    m_watcher(false, m_received);
    if (got == 0) {
        return Answer::kSilence;
    }
    if (got == 1 && m_received[0] == kNakByte) {
        return Answer::kNak;
    }
    if (got != wanted || !IsDataFrame(m_received)) {
        return Answer::kGarbled;
    }
    std::copy_n(m_received.begin() + kHeaderBytes, data.size(), data.begin());
    return Answer::kAck;
}

}  // namespace guard
