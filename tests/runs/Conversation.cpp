// SPDX-License-Identifier: MIT
#include "tests/runs/Conversation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>

#include "tests/runs/Lines.h"
#include "tests/support/LoaderFrames.h"

namespace runs {
namespace {

const std::string kGpioFolder = "/sys/class/gpio/";
const std::string kPortSettings = "9600 8E1 raw cread clocal vmin=1 vtime=0";
constexpr int kDataRecord = 0;

/// "80 1e" as the transcript writes bytes.
std::string Lower(const Bytes& bytes) {
    std::string text = ToText(bytes);
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string Count(const Bytes& bytes) {
    return std::to_string(bytes.size());
}

}  // namespace

std::vector<Block> BlocksOf(const std::string& imageText) {
    std::vector<Block> blocks;
    for (const std::string& line : LinesOf(imageText)) {
        std::string spaced;
        for (std::size_t i = 1; i + 1 < line.size(); i += 2) {
            spaced += line.substr(i, 2) + " ";
        }
        const Bytes record = FromText(spaced);
        const std::size_t count = record.at(0);
        EXPECT_EQ(record.size(), count + 5) << line;
        EXPECT_EQ(count % 2, 0U) << line;
        if (record.at(3) == kDataRecord) {
            blocks.push_back({static_cast<std::uint16_t>(record[1] * 256 + record[2]),
                              Bytes(record.begin() + 4, record.end() - 1)});
        }
    }
    return blocks;
}

// ------ whole steps ------

Conversation& Conversation::Begins() {
    GpioFile("export", "ab", {m_wiring.tck, m_wiring.rxdNmi, m_wiring.reset});
    return TurnsLine(m_wiring.reset, "out");
}

Conversation& Conversation::Ends() {
    return SetsTristate(0).Unexports();
}

Conversation& Conversation::Unexports() {
    return GpioFile("unexport", "ab", {m_wiring.tck, m_wiring.rxdNmi, m_wiring.reset});
}

Conversation& Conversation::AsksVersion(std::uint16_t version) {
    Does("open " + m_wiring.comm + " O_RDWR = 0");
    AsksForVersion();
    HearsMessage(
        {0xB5, static_cast<std::uint8_t>(version >> 8), static_cast<std::uint8_t>(version & 0xFF)});
    return Pauses(500000).Does("close " + m_wiring.comm + " = 0");
}

Conversation& Conversation::AsksInVain() {
    Does("open " + m_wiring.comm + " O_RDWR = 0");
    AsksForVersion();
    Does("select " + m_wiring.comm + " timeout 200000 us = 0");
    return Pauses(500000).Does("close " + m_wiring.comm + " = 0");
}

Conversation& Conversation::Detects() {
    return Prepares().EntersLoader().OpensPort().Syncs().ClosesPort().Releases();
}

Conversation& Conversation::MassErases() {
    Prepares().EntersLoader().OpensPort().Syncs().Exchanges(loader::MassEraseFrame()).ClosesPort();
    return Releases().TurnsLines("in");
}

Conversation& Conversation::Updates(const std::vector<Block>& blocks) {
    Prepares().EntersLoader().OpensPort().Unlocks().ErasesMain().Sends(blocks);
    return ClosesPort().Releases();
}

Conversation& Conversation::Restarts() {
    // Both loader lines are inputs since the detection let them go: their levels are refused.
    SetsTristate(1).SetsLineInVain(m_wiring.tck, '0').SetsLineInVain(m_wiring.rxdNmi, '0');
    SetsLine(m_wiring.reset, '1').Pauses(500000).SetsLine(m_wiring.reset, '0').Pauses(100000);
    return SetsTristate(0).Pauses(100000);
}

Conversation& Conversation::Programs(const std::vector<Block>& blocks, std::uint16_t before,
                                     std::uint16_t after) {
    AsksVersion(before).Begins().Detects().MassErases().Updates(blocks).Ends();
    return Pauses(500000).AsksVersion(after);
}

// ------ steps within ------

Conversation& Conversation::Pauses(long microseconds) {
    return Does("pause " + std::to_string(microseconds) + " us");
}

Conversation& Conversation::Prepares() {
    return SetsTristate(1).SetsLine(m_wiring.reset, '1').Pauses(100000).TurnsLines("out");
}

Conversation& Conversation::EntersLoader() {
    struct Step {
        std::string gpio;
        char level;
        long pauseUs;
    };
    const std::vector<Step> beforeSwitch{{m_wiring.reset, '1', 500000},
                                         {m_wiring.tck, '0', 0},
                                         {m_wiring.rxdNmi, '0', 0},
                                         {m_wiring.reset, '0', 100000}};
    const std::vector<Step> afterSwitch{{m_wiring.tck, '1', 50000},    {m_wiring.tck, '0', 50000},
                                        {m_wiring.tck, '1', 100000},   {m_wiring.tck, '0', 50000},
                                        {m_wiring.rxdNmi, '1', 50000}, {m_wiring.tck, '1', 50000}};
    const auto play = [this](const std::vector<Step>& steps) {
        for (const Step& step : steps) {
            SetsLine(step.gpio, step.level);
            if (step.pauseUs > 0) {
                Pauses(step.pauseUs);
            }
        }
    };
    play(beforeSwitch);
    SetsTristate(0).Pauses(100000);
    play(afterSwitch);
    return *this;
}

Conversation& Conversation::OpensPort() {
    return Does("open " + m_wiring.port + " O_RDWR|O_NOCTTY = 0")
        .Does("tcsetattr " + m_wiring.port + " " + kPortSettings + " = 0");
}

Conversation& Conversation::ClosesPort() {
    return Does("close " + m_wiring.port + " = 0");
}

Conversation& Conversation::Releases() {
    return SetsLine(m_wiring.rxdNmi, '0').Pauses(100000).TurnsLines("in");
}

Conversation& Conversation::TurnsLines(const std::string& direction) {
    return TurnsLine(m_wiring.tck, direction).TurnsLine(m_wiring.rxdNmi, direction);
}

Conversation& Conversation::TurnsLine(const std::string& gpio, const std::string& direction) {
    return GpioFile("gpio" + gpio + "/direction", "rb+", {direction});
}

Conversation& Conversation::SetsLine(const std::string& gpio, char level) {
    return GpioFile("gpio" + gpio + "/value", "w+", {std::string(1, level)});
}

Conversation& Conversation::SetsTristate(int state) {
    if (m_wiring.comm.empty()) {
        return *this;
    }
    return Does("open " + m_wiring.comm + " O_RDWR = 0")
        .Does("ioctl " + m_wiring.comm + " tristate " + std::to_string(state) + " = 0")
        .Does("close " + m_wiring.comm + " = 0");
}

Conversation& Conversation::Unlocks() {
    return Syncs().Exchanges(loader::ErasedPasswordFrame());
}

Conversation& Conversation::ErasesMain(int rounds) {
    for (int round = 0; round < rounds; ++round) {
        Syncs().Exchanges(loader::EraseMainFrame());
    }
    return *this;
}

Conversation& Conversation::Sends(const Block& block) {
    return Syncs().Exchanges(loader::WriteFrame(block.address, block.data));
}

Conversation& Conversation::Sends(const std::vector<Block>& blocks) {
    for (const Block& block : blocks) {
        Sends(block);
    }
    return *this;
}

Conversation& Conversation::Syncs(const Bytes& reply) {
    return Exchanges({loader::kSync}, reply);
}

Conversation& Conversation::Exchanges(const Bytes& frame, const Bytes& reply) {
    return Writes(frame).Does("read " + m_wiring.port + " " + Lower(reply) + " = " + Count(reply));
}

Conversation& Conversation::Writes(const Bytes& bytes) {
    return Does("write " + m_wiring.port + " " + Lower(bytes) + " = " + Count(bytes));
}

Conversation& Conversation::AsksForVersion() {
    return Does("write " + m_wiring.comm + " 02 b4 00 = 3");
}

Conversation& Conversation::HearsMessage(const Bytes& message) {
    Does("select " + m_wiring.comm + " timeout 200000 us = 1");
    Does("read " + m_wiring.comm + " " + Lower({static_cast<std::uint8_t>(message.size())}) +
         " = 1");
    return Does("read " + m_wiring.comm + (message.empty() ? "" : " ") + Lower(message) + " = " +
                Count(message));
}

// ------ what fails ------

Conversation& Conversation::Fails(const std::string& call, const std::string& error) {
    return Does(call + " = " + error);
}

Conversation& Conversation::SetsLineInVain(const std::string& gpio, char level) {
    const std::string path = kGpioFolder + "gpio" + gpio + "/value";
    return Does("fopen " + path + " w+ = 0")
        .Fails("flush " + path + " \"" + level + "\"", "EPERM")
        .Does("close " + path + " = 0");
}

Conversation& Conversation::Does(const std::string& line) {
    m_text += line + "\n";
    return *this;
}

Conversation& Conversation::GpioFile(const std::string& name, const std::string& mode,
                                     const std::vector<std::string>& texts) {
    const std::string path = kGpioFolder + name;
    Does("fopen " + path + " " + mode + " = 0");
    for (const std::string& text : texts) {
        Does("flush " + path + " \"" + text + "\" = " + std::to_string(text.size()));
    }
    return Does("close " + path + " = 0");
}

}  // namespace runs
