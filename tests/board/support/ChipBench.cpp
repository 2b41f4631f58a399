// SPDX-License-Identifier: MIT
#include "ChipBench.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <utility>

#include "vboard/text/Format.h"
#include "vboard/text/HexText.h"

namespace bench {

using vboard::Pin;
using vboard::PinLevel;

std::string Hex(std::span<const std::uint8_t> bytes) {
    return vboard::HexText(bytes);
}

Bytes FromHex(std::string_view text) {
    return FromText(std::string(text));
}

Bytes Sealed(Bytes frame) {
    frame.resize(frame.size() - 2);
    return frame + loader::Checksum(frame);
}

Bytes PasswordFrame(const Bytes& password) {
    return Frame(0x10, 0, 0, password);
}

void RecordingProbe::Put(std::string text) {
    m_entries.push_back({m_clock.Now(), std::move(text)});
}

void RecordingProbe::OnSignal(vboard::Signal signal, std::uint32_t value) {
    const auto name = vboard::ValueName(signal, value);
    Put(vboard::Formatted("{}={}", vboard::InfoOf(signal).name,
                          name.empty() ? std::to_string(value) : std::string(name)));
}

void RecordingProbe::OnLoaderCommand(const vboard::LoaderCommand& command) {
    Put(vboard::Formatted("{:02x} {} -> {:02x}", command.command, command.words, command.answer));
}

void RecordingProbe::OnNote(std::string_view room, std::string_view text) {
    Put(vboard::Formatted("note {}: {}", room, text));
}

std::string RecordingProbe::Text() const {
    return Only("");
}

std::string RecordingProbe::Only(std::string_view beginning) const {
    std::string text;
    for (const Entry& entry : m_entries) {
        if (entry.text.starts_with(beginning)) {
            text.append(text.empty() ? "" : "; ").append(entry.text);
        }
    }
    return text;
}

std::string RecordingProbe::TimedText() const {
    std::string text;
    for (const Entry& entry : m_entries) {
        const auto sinceStart = entry.when.time_since_epoch();
        const auto us = std::chrono::duration_cast<std::chrono::microseconds>(sinceStart).count();
        text.append(text.empty() ? "" : "; ").append(vboard::Formatted("{} {}", us, entry.text));
    }
    return text;
}

vboard::AnswerFault BenchFaults::FaultOfAnswer(std::uint8_t command, std::uint16_t address,
                                               std::span<const std::uint8_t> answer) {
    return onAnswer ? onAnswer(command, address, answer) : vboard::AnswerFault{};
}

std::uint8_t BenchFaults::CellAfterProgramming(std::uint16_t address, std::uint8_t old,
                                               std::uint8_t wanted) {
    return onProgram ? onProgram(address, old, wanted) : wanted;
}

std::uint8_t BenchFaults::CellAfterErase(std::uint16_t address, std::uint8_t old) {
    return onErase ? onErase(address, old) : std::uint8_t{0xFF};
}

ChipSetup::ChipSetup()
    : m_model(vboard::DefaultChipModel()), m_memory(vboard::kMemorySizeBytes, 0xFF) {
    Holding(0x2100, {0x00, 0x01});
    Holding(0xFFFE, {0x02, 0x21});
}

ChipSetup& ChipSetup::Part(std::string_view name) {
    const auto* const model = vboard::FindChipModel(name);
    EXPECT_NE(model, nullptr) << name;
    m_model = model == nullptr ? m_model : *model;
    return *this;
}

ChipSetup& ChipSetup::Option(std::string_view key, std::string_view value) {
    std::string problem;
    EXPECT_TRUE(vboard::SetChipOption(m_options, key, value, problem)) << problem;
    return *this;
}

ChipSetup& ChipSetup::Erased() {
    std::ranges::fill(m_memory, std::uint8_t{0xFF});
    return *this;
}

ChipSetup& ChipSetup::Holding(std::uint16_t address, const Bytes& bytes) {
    std::ranges::copy(bytes, m_memory.begin() + address);
    return *this;
}

namespace {

vboard::Memory Filled(vboard::Memory memory, const Bytes& bytes) {
    std::ranges::copy(bytes, memory.begin());
    return memory;
}

}  // namespace

ChipBench::ChipBench(const ChipSetup& setup)
    : chip(clock, probe, faults, setup.m_model, setup.m_options, Filled(memory, setup.m_memory),
           eraseWords),
      m_model(setup.m_model) {
    chip.ConnectSerial(this);
    chip.ConnectMessages(this);
    chip.Restore({});
    probe.Clear();
}

ChipBench& ChipBench::Drive(std::string_view edges) {
    std::istringstream words{std::string(edges)};
    for (std::string word; words >> word;) {
        clock.Pass(std::chrono::milliseconds{1});
        if (word == "hold" || word == "free") {
            chip.SetPin(Pin::kHold, word == "hold" ? PinLevel::kHigh : PinLevel::kLow);
            continue;
        }
        const Pin pin = word.starts_with("rst") ? Pin::kRstNmi : Pin::kTck;
        chip.SetPin(pin, word.back() == '1' ? PinLevel::kHigh : PinLevel::kLow);
    }
    return *this;
}

ChipBench& ChipBench::EnterLoader() {
    Drive("rst1 tck1 rst0 tck0 tck1 tck0 rst1 tck1");
    EXPECT_EQ(Mode(), vboard::ChipMode::kLoader);
    return *this;
}

ChipBench& ChipBench::Unlock() {
    const Bytes vectors(memory.begin() + 0xFFE0, memory.end());
    EXPECT_EQ(Ask(PasswordFrame(vectors)), "90");
    EXPECT_TRUE(chip.State().loaderUnlocked);
    return *this;
}

void ChipBench::Type(const Bytes& characters) {
    for (const std::uint8_t value : characters) {
        clock.Pass(chip.Format().CharacterTime());
        Arrives({value, false, false});
    }
}

void ChipBench::TypeDamaged(std::uint8_t value) {
    clock.Pass(chip.Format().CharacterTime());
    Arrives({value, true, false});
}

void ChipBench::Arrives(vboard::ReceivedCharacter character) {
    Arrives(character, clock.Now() - chip.Format().CharacterTime());
}

void ChipBench::Arrives(vboard::ReceivedCharacter character, vboard::Instant start) {
    character.start = start;
    chip.Receive(character);
}

void ChipBench::Sync() {
    EXPECT_EQ(Said(), "");
    Type({0x80});
    Settle();
    EXPECT_EQ(Said(), "90");
}

std::string ChipBench::Ask(const Bytes& frame) {
    Sync();
    Type(frame);
    Settle();
    return Said();
}

std::string ChipBench::Said() {
    return std::exchange(m_said, {});
}

std::string ChipBench::Weak() {
    const auto weak = vboard::EraseMargins(vboard::Segments(m_model), eraseWords).Count(memory);
    return vboard::Formatted("{} erased, {} programmed", weak.erased, weak.programmed);
}

std::string ChipBench::At(std::uint16_t address, std::size_t count) const {
    return Hex(std::span(memory).subspan(address, count));
}

void ChipBench::Send(std::uint8_t value, const vboard::SerialFormat& format) {
    EXPECT_EQ(format, chip.Format());
    m_said.append(m_said.empty() ? "" : " ").append(Hex({&value, 1}));
    m_saidAt = clock.Now();
}

void ChipBench::SendMessage(std::span<const std::uint8_t> message) {
    m_said.append("[" + Hex(message) + "]");
    m_saidAt = clock.Now();
}

}  // namespace bench
