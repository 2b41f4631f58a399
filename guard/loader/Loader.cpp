// SPDX-License-Identifier: MIT
#include "guard/loader/Loader.h"

#include "flashmcu/MSPCommands.h"

namespace guard {
namespace {

using std::chrono_literals::operator""ms;

constexpr int kFrameBufferBytes = 300;

// The longest times of the data sheets, at a flash clock of 257 kHz: 35 periods for a word, 10,593
// for a mass erase; an erase check looks at 64 KiB.
constexpr Duration kWordTime = std::chrono::microseconds{137};
constexpr Milliseconds kMassEraseTime = 42ms;
constexpr Milliseconds kEraseCheckTime = 500ms;

// SLAU319 2.4.4.8: about 10 ms until the clock has settled.
constexpr Milliseconds kSpeedSettles = 20ms;

constexpr std::uint16_t kChipIdAddress = 0x0FF0;
constexpr std::size_t kLoaderVersionOffset = 10;
constexpr std::size_t kIdentityBytes = 16;
constexpr int kEntrySyncs = 2;

/// A frame in the making: what a builder of the tool wrote into it.
struct FrameBuffer {
    std::array<unsigned char, kFrameBufferBytes> bytes{};
    [[nodiscard]] std::span<const std::uint8_t> First(int count) const {
        return std::span(bytes).first(static_cast<std::size_t>(count));
    }
};

LoaderIdentity IdentityOf(std::span<const std::uint8_t, kIdentityBytes> words) {
    const auto word = [words](std::size_t at) {
        return static_cast<std::uint16_t>(words[at] << 8U | words[at + 1]);
    };
    return {word(0), word(kLoaderVersionOffset)};
}

/// Change of baud rate, which the tool does not know: 80 20 04 04 D1 D2 D3 00 CKL CKH.
std::array<std::uint8_t, 10> SpeedFrame(const Speed& speed) {
    const std::uint8_t rate = speed.baud == 38400 ? 2 : speed.baud == 19200 ? 1 : 0;
    std::array<std::uint8_t, 10> frame{0x80,     0x20, 0x04, 0x04, speed.d1,
                                       speed.d2, rate, 0x00, 0xFF, 0xFF};
    for (std::size_t i = 0; i < 8; ++i) {
        frame.at(8 + i % 2) ^= frame.at(i);
    }
    return frame;
}

}  // namespace

Password ErasedPassword() {
    Password password;
    password.fill(0xFF);
    return password;
}

bool Loader::Greets() {
    return m_exchange.Sync(kEntrySyncs) == Answer::kAck;
}

Answer Loader::SendPassword(const Password& password) {
    FrameBuffer frame;
    const int count = CMSPBSLCommand::BuildPasswordFrame(
        frame.bytes.data(), kFrameBufferBytes, password.data(), static_cast<int>(password.size()));
    return m_exchange.Command(frame.First(count), kMassEraseTime);
}

Answer Loader::MassErase() {
    FrameBuffer frame;
    const int count = CMSPBSLCommand::EraseMassFrame(frame.bytes.data(), kFrameBufferBytes);
    return m_exchange.Command(frame.First(count), kMassEraseTime);
}

Answer Loader::Write(std::uint16_t address, std::span<const std::uint8_t> data) {
    FrameBuffer frame;
    const int count = CMSPBSLCommand::BuildWriteDataFrame(
        frame.bytes.data(), kFrameBufferBytes, data.data(), static_cast<int>(data.size()), address);
    return m_exchange.Command(frame.First(count),
                              kWordTime * static_cast<Duration::rep>(data.size()));
}

Answer Loader::Read(std::uint16_t address, std::span<std::uint8_t> data) {
    FrameBuffer frame;
    const int count = CMSPBSLCommand::BuildReadDataFrame(frame.bytes.data(), kFrameBufferBytes,
                                                         static_cast<int>(data.size()), address);
    return m_exchange.Query(frame.First(count), data);
}

Answer Loader::EraseCheck(std::uint16_t address, std::uint16_t size) {
    FrameBuffer frame;
    const int count =
        CMSPBSLCommand::EraseCheckFrame(frame.bytes.data(), kFrameBufferBytes, address, size);
    return m_exchange.Command(frame.First(count), kEraseCheckTime);
}

Answer Loader::AskIdentity(LoaderIdentity& identity) {
    FrameBuffer frame;
    const int count = CMSPBSLCommand::ReceiveBSLVersionFrame(frame.bytes.data(), kFrameBufferBytes);
    std::array<std::uint8_t, kIdentityBytes> words{};
    const Answer answer = m_exchange.Query(frame.First(count), words);
    if (answer == Answer::kAck) {
        identity = IdentityOf(words);
    }
    return answer;
}

Answer Loader::ReadIdentity(LoaderIdentity& identity) {
    std::array<std::uint8_t, kIdentityBytes> words{};
    const Answer answer = Read(kChipIdAddress, words);
    if (answer == Answer::kAck) {
        identity = IdentityOf(words);
    }
    return answer;
}

Answer Loader::ChangeSpeed(const Speed& speed) {
    const Answer answer = m_exchange.Command(SpeedFrame(speed), Duration::zero());
    if (answer != Answer::kAck) {
        return answer;
    }
    Pause(kSpeedSettles);
    constexpr int kTries = 3;
    if (m_port.ChangeBaud(speed.baud) && m_exchange.Sync(kTries) == Answer::kAck) {
        return Answer::kAck;
    }
    (void)m_port.ChangeBaud(Port::kFirstBaud);
    return Answer::kNoSync;
}

}  // namespace guard
