// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cctype>
#include <sstream>
#include <string>
#include <vector>

#include "tests/runs/Board.h"
#include "tests/runs/Compare.h"
#include "tests/runs/Process.h"
#include "tests/runs/Transcript.h"
#include "tests/support/TempFolder.h"
#include "tests/waveforms/Sigrok.h"
#include "vboard/record/VcdWriter.h"
#include "vboard/text/HexText.h"
#include "vboard/wires/SerialLane.h"

namespace waveforms {
namespace {

constexpr long kBitUs = 104;
constexpr long kDataBits = 8;
/// Both sides cut to whole microseconds, and the decoder works with whole samples a bit.
constexpr double kToleranceUs = 3;

/// A character as the transcript tells it.
struct WireByte {
    std::string value;
    long startUs;  ///< -1 within a line: only the line's first character has its instant written.
};

/// The transcript's characters of one direction, '>' or '<'.
std::vector<WireByte> WireBytes(const std::string& transcript, const std::string& arrow) {
    std::vector<WireByte> wire;
    for (const runs::TranscriptLine& line : runs::ReadTranscript(transcript)) {
        std::istringstream words{std::string(line.words)};
        std::string direction;
        words >> direction;
        if (line.column != "wire" || direction != arrow) {
            continue;
        }
        long startUs = line.timeUs;
        for (std::string byte; words >> byte; startUs = -1) {
            for (char& digit : byte) {
                digit = static_cast<char>(std::toupper(digit));
            }
            wire.push_back({byte, startUs});
        }
    }
    return wire;
}

/// Characters of a sender, one right after the other from the beginning on, at a receiver of 9600
/// baud: what the board reads and what the decoder does.
class AtAnotherSpeed {
public:
    explicit AtAnotherSpeed(std::uint32_t bitsPerSecond) {
        vboard::VirtualClock clock;
        std::int64_t handedOnUs = 0;
        std::string vcd;
        vboard::VcdWriter writer(
            clock, [&](std::string_view text) { vcd += text; }, false, handedOnUs);
        vboard::Faults faults;
        const vboard::SerialFormat receiver;
        vboard::SerialLane lane(
            clock, writer, faults, vboard::Direction::kHostToChip,
            [&]() -> const vboard::SerialFormat& { return receiver; },
            [&](const vboard::ReceivedCharacter& character) {
                m_received += vboard::HexText({&character.value, 1}) + " ";
            });
        writer.Begin(true);
        const vboard::SerialFormat sender{bitsPerSecond, 8, vboard::Parity::kEven, 1};
        for (unsigned value = 0; value < 256; value += 37) {
            lane.Send(static_cast<std::uint8_t>(value), sender);
        }
        clock.Settle(vboard::Instant::max());
        clock.Pass(std::chrono::milliseconds{20});
        writer.Finish();
        m_vcdPath = m_folder.WriteFile("line.vcd", vcd);
    }

    [[nodiscard]] const std::string& ByTheBoard() const { return m_received; }
    [[nodiscard]] std::string ByTheDecoder() const {
        std::string read;
        for (const Annotation& character : Decode(m_vcdPath, "host_tx", "data")) {
            for (const char digit : character.text) {
                read += static_cast<char>(std::tolower(digit));
            }
            read += " ";
        }
        return read;
    }

private:
    TempFolder m_folder;
    std::string m_vcdPath;
    std::string m_received;
};

/// A run of the program that records its waveform.
class Recorded {
public:
    explicit Recorded(const std::vector<std::string>& faults = {}) {
        m_board.With("--vcd", VcdPath());
        for (const std::string& fault : faults) {
            m_board.WithFault(fault);
        }
        m_outcome = m_board.Runs({"-f", runs::BlinkyPath()});
    }
    /// Another run on the same board, of the programs that a shell starts, in the same file.
    void RunsAgain(const std::string& script) {
        const runs::Ended ended =
            runs::RunProcess({"vboard", "run", "--quiet", "--vcd", VcdPath(), "--transcript",
                              m_board.PathOf("run.transcript"), "--", "sh", "-c", script},
                             m_board.PathOf("."));
        EXPECT_EQ(ended.status, 0) << ended.error;
        m_outcome.transcript = runs::ReadFile(m_board.PathOf("run.transcript"));
    }

    [[nodiscard]] std::string VcdPath() const { return m_board.PathOf("run.vcd"); }
    [[nodiscard]] std::string Vcd() const { return runs::ReadFile(VcdPath()); }
    [[nodiscard]] const runs::Outcome& Outcome() const { return m_outcome; }

    /// Expects the decoder to read the transcript's characters, and no error but `parityErrors`.
    void ExpectDecodes(std::size_t parityErrors = 0) const {
        ExpectDecodes("host_tx", ">");
        ExpectDecodes("host_rx", "<");
        EXPECT_EQ(Decode(VcdPath(), "host_tx", "parity-err").size() +
                      Decode(VcdPath(), "host_rx", "parity-err").size(),
                  parityErrors);
        EXPECT_TRUE(Decode(VcdPath(), "host_tx", "warnings").empty());
        EXPECT_TRUE(Decode(VcdPath(), "host_rx", "warnings").empty());
    }

private:
    void ExpectDecodes(const std::string& line, const std::string& arrow) const {
        const std::vector<WireByte> sent = WireBytes(m_outcome.transcript, arrow);
        const std::vector<Annotation> read = Decode(VcdPath(), line, "data");
        ASSERT_EQ(read.size(), sent.size()) << line;
        ASSERT_FALSE(read.empty());
        for (std::size_t index = 0; index < sent.size(); ++index) {
            ASSERT_EQ(read[index].text, sent[index].value) << line << " character " << index;
            if (sent[index].startUs >= 0) {
                ASSERT_NEAR(static_cast<double>(read[index].startUs),
                            static_cast<double>(sent[index].startUs + kBitUs), kToleranceUs)
                    << line << " character " << index;
            }
        }
    }

    runs::Board m_board;
    runs::Outcome m_outcome;
};

class TheUartDecoder : public ::testing::Test {
protected:
    void SetUp() override {
        if (!HaveSigrok()) {
            GTEST_SKIP() << "sigrok-cli is not installed";
        }
    }
};

TEST_F(TheUartDecoder, ReadsTheTranscriptsBytesOutOfTheWaveformOfAWholeProgrammingRun) {
    const Recorded run;
    EXPECT_EQ(run.Outcome().status, 0);
    EXPECT_GT(WireBytes(run.Outcome().transcript, ">").size(), 500U);
    run.ExpectDecodes();
}

TEST_F(TheUartDecoder, SeesTheParityErrorThatWasOrderedAtItsCharacterAndNoOther) {
    const Recorded run({"char:to-host#20=parity"});
    run.ExpectDecodes(1);
    const std::vector<Annotation> errors = Decode(run.VcdPath(), "host_rx", "parity-err");
    const std::vector<Annotation> data = Decode(run.VcdPath(), "host_rx", "data");
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_NEAR(static_cast<double>(errors.front().startUs),
                static_cast<double>(data.at(19).startUs + kDataBits * kBitUs), kToleranceUs);
}

TEST_F(TheUartDecoder, SeesAParityErrorOfTheHostsAndTheRetryAfterTheLoadersRefusal) {
    const Recorded run({"char:to-chip#420=parity"});
    EXPECT_EQ(run.Outcome().status, 0);
    EXPECT_NE(run.Outcome().transcript.find("answers a0"), std::string::npos);
    run.ExpectDecodes(1);
}

TEST_F(TheUartDecoder, ReadsWhatIsOnTheWireWhereCharactersAreChangedDoubledLateOrLost) {
    const Recorded run({"char:to-chip#420=change 41", "char:to-host#9=double",
                        "char:to-chip#500=late 300us", "char:to-host#70=lost"});
    run.ExpectDecodes();
}

TEST_F(TheUartDecoder, ReadsEveryCharacterOfARunOfTwoPrograms) {
    Recorded run;
    const std::size_t ofOne = WireBytes(run.Outcome().transcript, ">").size();
    const std::string program = "flashmcu -F -f " + runs::BlinkyPath();
    run.RunsAgain(program + " && " + program);
    EXPECT_EQ(WireBytes(run.Outcome().transcript, ">").size(), 2 * ofOne);
    run.ExpectDecodes();
}

TEST_F(TheUartDecoder, ReadsTheSameAsTheBoardOfASenderAtAnotherSpeed) {
    // At these no edge falls into the middle of a receiver's bit, where each UART decides for
    // itself.
    for (const std::uint32_t bitsPerSecond : {300U, 4800U, 7200U, 14400U, 28800U, 33600U}) {
        const AtAnotherSpeed line(bitsPerSecond);
        EXPECT_EQ(line.ByTheDecoder(), line.ByTheBoard()) << bitsPerSecond;
        EXPECT_FALSE(line.ByTheBoard().empty()) << bitsPerSecond;
    }
}

TEST_F(TheUartDecoder, ReadsACharacterThatBeginsWithTheRun) {
    EXPECT_EQ(AtAnotherSpeed(9600).ByTheDecoder().substr(0, 6), "00 25 ");
}

TEST_F(TheUartDecoder, ReadsAllUpToTheKillOfTheProgramInTheMiddleOfAWrite) {
    const Recorded run({"write:port#60=kill"});
    EXPECT_EQ(run.Outcome().status, 128 + 9);
    run.ExpectDecodes();
}

TEST_F(TheUartDecoder, ReadsAllOfARunThatWouldWaitForEver) {
    const Recorded run({"answer:write#3=silence"});
    EXPECT_EQ(run.Outcome().status, 124);
    run.ExpectDecodes();
}

TEST(TheWaveformOfARun, IsTheSameToTheByteASecondTime) {
    const std::vector<std::string> faults = {"char:to-chip#420=parity", "char:to-host#70=double"};
    const std::string vcd = Recorded(faults).Vcd();
    EXPECT_GT(vcd.size(), 10'000U);
    runs::ExpectSame(Recorded(faults).Vcd(), vcd);
}

}  // namespace
}  // namespace waveforms
