// SPDX-License-Identifier: MIT
#include "vboard/record/VcdWriter.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "tests/waveforms/VcdText.h"
#include "vboard/probe/Modes.h"
#include "vboard/wires/SerialLane.h"

namespace vboard {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""us;

/// One fault for the first character of a lane.
class FirstCharacterFault : public Faults {
public:
    explicit FirstCharacterFault(CharacterFault fault) : m_fault(fault) {}
    CharacterFault FaultOfCharacter(bool /*toChip*/, std::uint8_t /*value*/) override {
        return std::exchange(m_fault, {});
    }

private:
    CharacterFault m_fault;
};

/// A clock, a writer and two lanes between nobody and nobody.
class Bench {
public:
    explicit Bench(CharacterFault fault = {}) : m_faults(fault) {}

    VcdWriter& Writer() { return m_writer; }
    VirtualClock& Clock() { return m_clock; }
    Bench& Begin() {
        m_writer.Begin(true);
        return *this;
    }
    Bench& Pass(Duration length) {
        m_clock.Pass(length);
        return *this;
    }
    Bench& Send(std::uint8_t value, SerialFormat format = {}) {
        m_toChip.Send(value, format);
        return *this;
    }
    Bench& Answer(std::uint8_t value, SerialFormat format = {}) {
        m_toHost.Send(value, format);
        return *this;
    }
    Bench& Signals(Signal signal, std::uint32_t value) {
        m_writer.OnSignal(signal, value);
        return *this;
    }
    std::string Finish() {
        m_writer.Finish();
        return m_text;
    }
    [[nodiscard]] const std::string& Written() const { return m_text; }

private:
    SerialFormat m_format;
    VirtualClock m_clock;
    std::string m_text;
    FirstCharacterFault m_faults;
    std::int64_t m_handedOnUs = 0;
    VcdWriter m_writer{m_clock, [this](std::string_view text) { m_text += text; }, false,
                       m_handedOnUs};
    SerialLane m_toChip{m_clock,
                        m_writer,
                        m_faults,
                        Direction::kHostToChip,
                        [this]() -> const SerialFormat& { return m_format; },
                        [](const ReceivedCharacter&) {}};
    SerialLane m_toHost{m_clock,
                        m_writer,
                        m_faults,
                        Direction::kChipToHost,
                        [this]() -> const SerialFormat& { return m_format; },
                        [](const ReceivedCharacter&) {}};
};

TEST(AWaveform, OfARunInWhichNothingHappensDeclaresItsSignalsAndTellsHowTheyStand) {
    EXPECT_EQ(Bench().Begin().Pass(7us).Finish(),
              "$version vboard $end\n"
              "$timescale 1 us $end\n"
              "$scope module board $end\n"
              "$var wire 1 A reset_gpio $end\n"
              "$var wire 1 C rxd_nmi_gpio $end\n"
              "$var wire 1 D msp_tck_gpio $end\n"
              "$var wire 1 E tristate $end\n"
              "$var wire 1 F chip_hold $end\n"
              "$var wire 1 G chip_rst_nmi $end\n"
              "$var wire 1 H chip_tck $end\n"
              "$var wire 1 I chip_mode_reset $end\n"
              "$var wire 1 J chip_mode_armed $end\n"
              "$var wire 1 K chip_mode_loader $end\n"
              "$var wire 1 L chip_mode_application $end\n"
              "$var wire 1 M chip_mode_stopped $end\n"
              "$var wire 1 N chip_mode_unpowered $end\n"
              "$var wire 1 O loader_state_off $end\n"
              "$var wire 1 P loader_state_sync $end\n"
              "$var wire 1 Q loader_state_frame $end\n"
              "$var wire 1 T loader_state_working $end\n"
              "$var wire 1 U loader_state_answering $end\n"
              "$var wire 1 V loader_locked $end\n"
              "$var wire 1 W chip_busy $end\n"
              "$var wire 1 Y host_tx $end\n"
              "$var wire 1 a host_rx $end\n"
              "$var wire 1 c message_to_chip $end\n"
              "$var wire 1 d message_to_host $end\n"
              "$upscope $end\n"
              "$enddefinitions $end\n"
              "#0\n"
              "$dumpvars\n"
              "0A\n1C\n1D\n0E\n0F\n1G\n1H\n"
              "0I\n0J\n0K\n0L\n1M\n0N\n"
              "1O\n0P\n0Q\n0T\n0U\n"
              "1V\n0W\n1Y\n1a\n0c\n0d\n"
              "$end\n"
              "#7\n");
}

TEST(AWaveform, BeginsWithWhatWasAnnouncedBefore) {
    const std::string vcd =
        Bench()
            .Signals(Signal::kResetGpio, 1)
            .Signals(Signal::kChipMode, static_cast<std::uint32_t>(ChipMode::kLoader))
            .Begin()
            .Finish();
    EXPECT_EQ(ChangesOf(vcd, "reset_gpio"), "0:1");
    EXPECT_EQ(ChangesOf(vcd, "chip_mode_loader"), "0:1");
    EXPECT_EQ(ChangesOf(vcd, "chip_mode_stopped"), "0:0");
}

TEST(AWaveform, ShowsTheBitsOfACharacterLeastSignificantFirstWithEvenParity) {
    // 0x13 has three ones: 0 11001000 1 1, 104.167 us each.
    const std::string vcd = Bench().Begin().Pass(1ms).Send(0x13).Pass(10ms).Finish();
    EXPECT_EQ(ChangesOf(vcd, "host_tx"), "0:1 1000:0 1104:1 1312:0 1520:1 1625:0 1937:1");
    EXPECT_EQ(ChangesOf(vcd, "host_rx"), "0:1");
}

TEST(AWaveform, ShowsCharactersOfBothDirectionsAtTheirOwnSpeeds) {
    const SerialFormat fast{38400, 8, Parity::kNone, 2};
    const std::string vcd = Bench().Begin().Send(0xFF).Answer(0x00, fast).Pass(10ms).Finish();
    EXPECT_EQ(ChangesOf(vcd, "host_tx"), "0:1 1:0 104:1 937:0 1041:1");
    EXPECT_EQ(ChangesOf(vcd, "host_rx"), "0:1 1:0 234:1");
}

TEST(AWaveform, ShowsCharactersBackToBackAsOneStreamOfBits) {
    // 0x00: nine bits low with its parity, one stop bit, and the next start at 1145.837 us.
    const std::string vcd = Bench().Begin().Pass(1us).Send(0x00).Send(0x00).Pass(10ms).Finish();
    EXPECT_EQ(ChangesOf(vcd, "host_tx"), "0:1 1:0 1042:1 1146:0 2188:1");
}

TEST(AWaveform, ShowsAWrongParityBitAsItWasSent) {
    const std::string vcd = Bench({CharacterFault::Kind::kParity, 0, {}})
                                .Begin()
                                .Pass(1us)
                                .Send(0x00)
                                .Pass(10ms)
                                .Finish();
    EXPECT_EQ(ChangesOf(vcd, "host_tx"), "0:1 1:0 938:1");
}

TEST(AWaveform, ShowsTheLineIdleWhereACharacterIsLost) {
    const std::string vcd = Bench({CharacterFault::Kind::kLost, 0, {}})
                                .Begin()
                                .Pass(1us)
                                .Send(0x00)
                                .Send(0x00)
                                .Pass(10ms)
                                .Finish();
    EXPECT_EQ(ChangesOf(vcd, "host_tx"), "0:1 1146:0 2188:1");
}

TEST(AWaveform, MergesBitsAndSignalsInTheOrderOfTime) {
    Bench bench;
    bench.Begin().Pass(1us).Send(0x00).Pass(500us).Signals(Signal::kTristate, 1).Pass(10ms);
    const std::string vcd = bench.Finish();
    EXPECT_EQ(vcd.substr(vcd.find("$end\n#1\n")), "$end\n#1\n0Y\n#501\n1E\n#1042\n1Y\n#10501\n");
}

TEST(AWaveform, WritesNothingWhereAValueStaysTheSame) {
    const std::string vcd =
        Bench().Begin().Pass(1us).Signals(Signal::kTristate, 0).Pass(1us).Finish();
    EXPECT_EQ(vcd.substr(vcd.rfind("$end\n")), "$end\n#2\n");
}

TEST(AWaveform, MarksAMessageForAWhile) {
    Bench bench;
    bench.Begin().Pass(10us);
    bench.Writer().OnMessage(Direction::kHostToChip, std::vector<std::uint8_t>{0xB4, 0x00});
    bench.Pass(1ms);
    bench.Writer().OnMessage(Direction::kChipToHost, std::vector<std::uint8_t>{0xB5, 0x12, 0x34});
    const std::string vcd = bench.Pass(1ms).Finish();
    EXPECT_EQ(ChangesOf(vcd, "message_to_chip"), "0:0 10:1 110:0");
    EXPECT_EQ(ChangesOf(vcd, "message_to_host"), "0:0 1010:1 1110:0");
}

TEST(AWaveform, LengthensTheMarkWhereASecondMessageFollowsSoon) {
    Bench bench;
    bench.Begin().Pass(10us);
    bench.Writer().OnMessage(Direction::kHostToChip, std::vector<std::uint8_t>{1});
    bench.Pass(60us);
    bench.Writer().OnMessage(Direction::kHostToChip, std::vector<std::uint8_t>{2});
    const std::string vcd = bench.Pass(1ms).Finish();
    EXPECT_EQ(ChangesOf(vcd, "message_to_chip"), "0:0 10:1 170:0");
}

TEST(AWaveform, EndsInTheMiddleOfACharacterWhereTheRunDoes) {
    const std::string vcd = Bench().Begin().Pass(1us).Send(0x55).Pass(300us).Finish();
    EXPECT_EQ(vcd.substr(vcd.find("$end\n#1\n")), "$end\n#1\n0Y\n#105\n1Y\n#209\n0Y\n#301\n");
}

TEST(AWaveform, WritesWhatChangesInTheFirstMicrosecondBehindTheLevelsAtTheBeginning) {
    const std::string vcd = Bench()
                                .Begin()
                                .Send(0xFF)
                                .Signals(Signal::kTristate, 1)
                                .Pass(1us)
                                .Signals(Signal::kResetGpio, 1)
                                .Finish();
    EXPECT_EQ(vcd.substr(vcd.find("$dumpvars")).substr(0, 13), "$dumpvars\n0A\n");
    EXPECT_EQ(vcd.substr(vcd.rfind("$end\n")), "$end\n#1\n0Y\n1E\n1A\n");
}

/// The file of two programs, of which the second begins at `second` and changes something at once.
std::string TwoPrograms(Instant second) {
    std::string text;
    std::int64_t handedOnUs = 0;
    const TextSink sink = [&](std::string_view piece) { text += piece; };
    {
        VirtualClock clock;
        VcdWriter writer(clock, sink, false, handedOnUs);
        writer.Begin(true);
        clock.Pass(5ms);
        writer.Finish();
    }
    VirtualClock clock{second};
    VcdWriter writer(clock, sink, false, handedOnUs);
    writer.OnSignal(Signal::kTristate, 1);
    writer.Begin(false);
    writer.OnSignal(Signal::kResetGpio, 1);
    clock.Pass(1ms);
    writer.Finish();
    return text;
}

TEST(AWaveform, GoesOnWithASecondProgramOfTheSameRunAtTheInstantWhereTheFirstOneEnded) {
    const std::string vcd = TwoPrograms(Instant{5ms});
    EXPECT_EQ(vcd.find("$dumpall"), std::string::npos) << "readers stop at it";
    const std::string rest = vcd.substr(vcd.rfind("$end\n"));
    EXPECT_TRUE(rest.starts_with("$end\n#5000\n0A\n1C\n1D\n1E\n")) << rest;
    EXPECT_TRUE(rest.ends_with("\n0d\n1A\n#6000\n")) << rest;
    EXPECT_EQ(ChangesOf(vcd, "tristate"), "0:0 5000:1");
}

TEST(AWaveform, GoesOnLaterWhereTheFirstProgramWroteNoEnd) {
    const std::string vcd = TwoPrograms(Instant{5500us});
    EXPECT_EQ(ChangesOf(vcd, "tristate"), "0:0 5500:1");
}

TEST(AnEagerWaveform, HandsOnEveryChangeAtOnce) {
    VirtualClock clock;
    std::string text;
    std::int64_t handedOnUs = 0;
    VcdWriter writer(
        clock, [&](std::string_view piece) { text += piece; }, true, handedOnUs);
    writer.Begin(true);
    clock.Pass(3us);
    writer.OnSignal(Signal::kTristate, 1);
    EXPECT_TRUE(text.ends_with("$end\n#3\n1E\n")) << text;
    EXPECT_EQ(handedOnUs, 3);
}

TEST(AWaveform, OfALongRunIsHandedOnInPieces) {
    Bench bench;
    bench.Begin();
    for (int second = 0; second < 100'000; ++second) {
        bench.Pass(1us).Signals(Signal::kTristate, second % 2 == 0 ? 1 : 0);
    }
    EXPECT_GT(bench.Written().size(), 500'000U);
}

}  // namespace
}  // namespace vboard
