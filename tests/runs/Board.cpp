// SPDX-License-Identifier: MIT
#include "tests/runs/Board.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include "image/IntelHex.h"
#include "tests/runs/Lines.h"
#include "tests/runs/Process.h"
#include "tests/runs/ToolLog.h"
#include "tests/runs/Transcript.h"
#include "vboard/board/BoardFile.h"
#include "vboard/run/Descriptor.h"
#include "vboard/text/Format.h"

namespace runs {
namespace {

constexpr std::size_t kMainMemoryStart = 0x2100;
constexpr std::size_t kMemoryEnd = 0x10000;
constexpr std::uint8_t kErased = 0xFF;

std::string WithoutReplayLine(const std::string& text) {
    std::string rest;
    for (const std::string& line : LinesOf(text)) {
        rest += line.starts_with("vboard: replay: ") ? "" : line + "\n";
    }
    return rest;
}

}  // namespace

std::string Outcome::Conversation() const {
    std::string conversation;
    for (const TranscriptLine& line : ReadTranscript(transcript)) {
        if (line.column == "call" || line.column == "pause") {
            conversation += line.column == "pause" ? "pause " : "";
            conversation += std::string(line.words) + "\n";
        }
    }
    return conversation;
}

Board& Board::OfModel(const std::string& model) {
    return WithOption("model=" + model);
}

Board& Board::WithOption(const std::string& setting) {
    m_setup.insert(m_setup.end(), {"--option", setting});
    return *this;
}

Board& Board::With(const std::string& option, const std::string& value) {
    m_options.insert(m_options.end(), {option, value});
    return *this;
}

Board& Board::WithoutFaults() {
    m_options.clear();
    return *this;
}

Board& Board::WithFile(const std::string& name, const std::string& content) {
    static_cast<void>(m_folder.WriteFile(name, content));
    return *this;
}

Outcome Board::Runs(const std::vector<std::string>& arguments) {
    std::vector<std::string> program{"flashmcu"};
    program.insert(program.end(), arguments.begin(), arguments.end());
    return RunsProgram(program);
}

Outcome Board::RunsGuard(const std::vector<std::string>& arguments) {
    std::vector<std::string> program{"flashguard", "--lock-folder", m_folder.PathOf(".")};
    program.insert(program.end(), arguments.begin(), arguments.end());
    return RunsAny(program);
}

Outcome Board::RunsScript(const std::string& script) {
    return RunsProgram({"bash", "-c", script});
}

Outcome Board::RunsProgram(const std::vector<std::string>& program) {
    Outcome outcome = RunsAny(program);
    outcome.log = CheckedLog(outcome.output);
    return outcome;
}

Outcome Board::RunsAny(const std::vector<std::string>& program) {
    std::vector<std::string> words{"vboard",
                                   "run",
                                   "--quiet",
                                   "--board",
                                   PathOf(".board"),
                                   "--transcript",
                                   PathOf(".transcript")};
    if (!m_made) {
        words.insert(words.end(), m_setup.begin(), m_setup.end());
        m_made = true;
    }
    words.insert(words.end(), m_options.begin(), m_options.end());
    words.emplace_back("--");
    words.insert(words.end(), program.begin(), program.end());

    const Ended ended = RunProcess(words, m_folder.PathOf("."));
    Outcome outcome;
    outcome.status = ended.status;
    outcome.output = ended.output;
    outcome.error = WithoutReplayLine(ended.error);
    outcome.transcript = ReadFile(PathOf(".transcript"));
    return outcome;
}

std::vector<std::uint8_t> Board::Memory() const {
    const vboard::Descriptor descriptor(open(PathOf(".board").c_str(), O_RDWR | O_CLOEXEC));
    vboard::BoardFile file;
    std::string problem;
    if (!file.Attach(descriptor.Number(), problem)) {
        ADD_FAILURE() << "the board " << problem;
        return std::vector<std::uint8_t>(kMemoryEnd);
    }
    const auto memory = file.ChipMemory();
    return {memory.begin(), memory.end()};
}

std::size_t Board::WeakBytes() const {
    const vboard::Descriptor descriptor(open(PathOf(".board").c_str(), O_RDWR | O_CLOEXEC));
    vboard::BoardFile file;
    std::string problem;
    if (!file.Attach(descriptor.Number(), problem)) {
        ADD_FAILURE() << "the board " << problem;
    }
    const vboard::WeakBytes weak = vboard::WeakBytesOf(file);
    return weak.erased + weak.programmed;
}

std::string Board::DifferenceFrom(const std::string& imageText) const {
    image::MemoryImage image;
    std::string problem;
    if (!image::ReadIntelHex(imageText, image, problem)) {
        return "the image can't be read: " + problem;
    }
    const std::vector<std::uint8_t> memory = Memory();
    for (std::size_t address = kMainMemoryStart; address < kMemoryEnd; ++address) {
        const auto place = static_cast<std::uint16_t>(address);
        const std::uint8_t wanted = image.Covers(place) ? image.At(place) : kErased;
        if (memory[address] != wanted) {
            return vboard::Formatted("{:04x} holds {:02x}, not {:02x}", address, memory[address],
                                     wanted);
        }
    }
    return "";
}

std::string Board::PathOf(const std::string& name) const {
    return m_folder.PathOf(name);
}

std::string BlinkyPath() {
    return FLASHMCU_SOURCE_DIR "/examples/blinky/blinky.hex";
}

std::string BigPath() {
    return FLASHMCU_SOURCE_DIR "/examples/big/big.hex";
}

std::string Blinky() {
    return ReadFile(BlinkyPath());
}

std::string Big() {
    return ReadFile(BigPath());
}

}  // namespace runs
