// SPDX-License-Identifier: MIT
#include "tests/guard/GuardConversation.h"

#include <chrono>
#include <map>

#include "tests/support/LoaderFrames.h"

namespace guard_tests {
namespace {

using loader::Frame;

constexpr std::uint8_t kSendData = 0x14;
constexpr std::uint8_t kReceivePassword = 0x10;
constexpr std::uint8_t kEraseCheck = 0x1C;

const std::string kSettings = "9600 8E1 iflag=020 oflag=0 lflag=0 cread clocal vmin=0 vtime=1";

/// 80 00 N N data CKL CKH
Bytes DataFrame(const Bytes& data) {
    const auto count = static_cast<std::uint8_t>(data.size());
    Bytes frame{0x80, 0x00, count, count};
    frame.insert(frame.end(), data.begin(), data.end());
    const Bytes sum = loader::Checksum(frame);
    frame.insert(frame.end(), sum.begin(), sum.end());
    return frame;
}

constexpr std::chrono::nanoseconds kReadLimit = std::chrono::milliseconds{100};

/// The frame and the first character of its answer at 9600 baud, 11 bits each, and 35 periods of
/// the flash clock, 400 kHz, for each word that is written.
std::chrono::nanoseconds TimeToAnswer(const Bytes& frame) {
    constexpr std::chrono::nanoseconds kCharacter{1'145'833};
    constexpr std::chrono::nanoseconds kWord{87'500};
    constexpr std::uint8_t kWriteData = 0x12;
    const auto count = static_cast<std::int64_t>(frame.size());
    const std::int64_t words = frame[1] == kWriteData ? (count - 10) / 2 : 0;
    return (count + 1) * kCharacter + words * kWord;
}

std::string TwoDigits(std::uint8_t byte) {
    constexpr const char* kDigits = "0123456789abcdef";
    return {kDigits[byte >> 4U], kDigits[byte & 0xFU]};
}

}  // namespace

Bytes RomWords(std::uint16_t chipId, std::uint16_t loaderVersion) {
    Bytes words(16, 0);
    words[0] = static_cast<std::uint8_t>(chipId >> 8U);
    words[1] = static_cast<std::uint8_t>(chipId & 0xFFU);
    words[10] = static_cast<std::uint8_t>(loaderVersion >> 8U);
    words[11] = static_cast<std::uint8_t>(loaderVersion & 0xFFU);
    return words;
}

std::vector<runs::Block> CanonicalBlocks(const std::string& imageText) {
    constexpr std::size_t kLongest = 250;
    std::map<std::uint32_t, std::uint8_t> bytes;
    for (const runs::Block& block : runs::BlocksOf(imageText)) {
        for (std::size_t i = 0; i < block.data.size(); ++i) {
            bytes[static_cast<std::uint32_t>(block.address + i)] = block.data[i];
        }
    }
    std::vector<runs::Block> blocks;
    for (const auto& [address, value] : bytes) {
        const bool apart = blocks.empty() || blocks.back().data.size() == kLongest ||
                           blocks.back().address + blocks.back().data.size() != address ||
                           address == 0xFFE0 || address == 0xFFFE;
        if (apart) {
            blocks.push_back({static_cast<std::uint16_t>(address), {}});
        }
        blocks.back().data.push_back(value);
    }
    return blocks;
}

Bytes Vectors(const std::string& imageText) {
    constexpr std::uint16_t kFirst = 0xFFE0;
    Bytes vectors(32, 0xFF);
    for (const runs::Block& block : CanonicalBlocks(imageText)) {
        for (std::size_t i = 0; i < block.data.size() && block.address >= kFirst; ++i) {
            vectors.at(block.address - kFirst + i) = block.data[i];
        }
    }
    return vectors;
}

GuardConversation& GuardConversation::Asks(std::uint16_t version) {
    const std::string comm = m_wiring.comm;
    m_steps.Does("open " + comm + " O_RDWR|O_NONBLOCK|O_CLOEXEC = 0")
        .Does("write " + comm + " 02 b4 00 = 3")
        .Does("poll " + comm + " timeout 250000 us = 1")
        .Does("read " + comm + " 03 = 1")
        .Does("poll " + comm + " timeout 249000 us = 1")
        .Does("read " + comm + " b5 " + TwoDigits(static_cast<std::uint8_t>(version >> 8U)) + " " +
              TwoDigits(static_cast<std::uint8_t>(version & 0xFFU)) + " = 3")
        .Does("close " + comm + " = 0");
    return *this;
}

GuardConversation& GuardConversation::AsksInVain(int rounds) {
    const std::string comm = m_wiring.comm;
    for (int i = 0; i < rounds; ++i) {
        m_steps.Does("open " + comm + " O_RDWR|O_NONBLOCK|O_CLOEXEC = 0")
            .Does("write " + comm + " 02 b4 00 = 3")
            .Does("poll " + comm + " timeout 250000 us = 0")
            .Does("close " + comm + " = 0");
    }
    return *this;
}

GuardConversation& GuardConversation::ReadsDirection(const std::string& gpio,
                                                     const std::string& direction) {
    const std::string path = "/sys/class/gpio/gpio" + gpio + "/direction";
    m_steps.Does("open " + path + " O_RDONLY|O_CLOEXEC = 0");
    m_steps.Does("read " + path + (direction == "in" ? " 69 6e 0a = 3" : " 6f 75 74 0a = 4"));
    m_steps.Does("close " + path + " = 0");
    return *this;
}

GuardConversation& GuardConversation::Prepares() {
    m_steps.SetsTristate(1);
    ReadsDirection(m_wiring.reset, "out");
    m_steps.SetsLine(m_wiring.reset, '1').Pauses(100000).TurnsLines("out");
    return ReadsDirection(m_wiring.reset, "out")
        .ReadsDirection(m_wiring.rxdNmi, "out")
        .ReadsDirection(m_wiring.tck, "out");
}

GuardConversation& GuardConversation::Enters(bool answered) {
    m_steps.Begins();
    return EntersAgain(answered);
}

GuardConversation& GuardConversation::EntersAgain(bool answered) {
    Prepares();
    m_steps.EntersLoader().OpensPort().Does("tcsetattr " + m_wiring.port + " " + kSettings +
                                            " = 0");
    m_synced = false;
    if (!answered) {
        return SyncsInVain();
    }
    Syncs();
    m_synced = true;
    return *this;
}

GuardConversation& GuardConversation::SyncsInVain() {
    for (int i = 0; i < 2; ++i) {
        m_steps.Does("tcflush " + m_wiring.port + " = 0").Writes({loader::kSync});
        for (int empty = 0; empty < 5; ++empty) {
            m_steps.Does("read " + m_wiring.port + " = 0");
        }
    }
    return *this;
}

GuardConversation& GuardConversation::Syncs() {
    m_steps.Does("tcflush " + m_wiring.port + " = 0").Syncs();
    return *this;
}

GuardConversation& GuardConversation::Drains() {
    m_steps.Does("tcflush " + m_wiring.port + " = 0").Does("read " + m_wiring.port + " = 0");
    return *this;
}

GuardConversation& GuardConversation::Exchanges(const Bytes& frame, const Bytes& answer) {
    if (!m_synced) {
        Syncs();
    }
    m_synced = false;
    m_steps.Writes(frame);
    for (auto waited = TimeToAnswer(frame); waited >= kReadLimit; waited -= kReadLimit) {
        m_steps.Does("read " + m_wiring.port + " = 0");
    }
    // Each read is there for the first byte that comes.
    for (const std::uint8_t byte : answer) {
        m_steps.Does("read " + m_wiring.port + " " + TwoDigits(byte) + " = 1");
    }
    return *this;
}

GuardConversation& GuardConversation::Refused(const Bytes& frame) {
    Exchanges(frame, {loader::kNak});
    for (int again = 0; again < 2; ++again) {
        Drains().Exchanges(frame, {loader::kNak});
    }
    return *this;
}

GuardConversation& GuardConversation::Erases(int pulses) {
    for (int i = 0; i < pulses; ++i) {
        Exchanges(loader::MassEraseFrame(), {loader::kAck});
    }
    return *this;
}

GuardConversation& GuardConversation::Unlocks(const Bytes& password, const Bytes& romWords) {
    Exchanges(Frame(kReceivePassword, 0, 0, password), {loader::kAck});
    return Reads({0x0FF0, romWords});
}

GuardConversation& GuardConversation::AsksIdentity(const Bytes& words) {
    return Exchanges(loader::VersionRequestFrame(), DataFrame(words));
}

GuardConversation& GuardConversation::AsksIdentityInVain(const Bytes& beginning) {
    Exchanges(loader::VersionRequestFrame(), beginning);
    for (int empty = 0; empty < 2; ++empty) {
        m_steps.Does("read " + m_wiring.port + " = 0");
    }
    return Drains();
}

GuardConversation& GuardConversation::ChecksErased(std::uint16_t address, std::uint16_t size) {
    return Exchanges(Frame(kEraseCheck, address, size), {loader::kAck});
}

GuardConversation& GuardConversation::Writes(const runs::Block& block) {
    return Exchanges(loader::WriteFrame(block.address, block.data), {loader::kAck});
}

GuardConversation& GuardConversation::Reads(const runs::Block& block) {
    return Exchanges(Frame(kSendData, block.address, static_cast<std::uint16_t>(block.data.size())),
                     DataFrame(block.data));
}

GuardConversation& GuardConversation::ClosesPort() {
    m_steps.ClosesPort();
    return *this;
}

GuardConversation& GuardConversation::Starts() {
    const std::string direction = "/sys/class/gpio/gpio" + m_wiring.reset + "/direction";
    m_steps.SetsLine(m_wiring.reset, '0').TurnsLines("out").Releases().SetsTristate(0);
    m_steps.Does("open " + direction + " O_WRONLY|O_CLOEXEC = 0")
        .Does("write " + direction + " \"in\" = 2")
        .Does("close " + direction + " = 0");
    return ReadsDirection(m_wiring.reset, "in")
        .ReadsDirection(m_wiring.rxdNmi, "in")
        .ReadsDirection(m_wiring.tck, "in");
}

GuardConversation& GuardConversation::StartsHard() {
    const std::string direction = "/sys/class/gpio/gpio" + m_wiring.reset + "/direction";
    m_steps.Does("open " + direction + " O_WRONLY|O_CLOEXEC = 0")
        .Does("write " + direction + " \"high\" = 4")
        .Does("close " + direction + " = 0")
        .Pauses(500000);
    return Starts();
}

GuardConversation& GuardConversation::Ends() {
    m_steps.Ends();
    return *this;
}

}  // namespace guard_tests
