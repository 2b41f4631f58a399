// SPDX-License-Identifier: MIT
#include "vboard/record/WaveJson.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vboard {
namespace {

using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""us;

using enum ChipMode;

/// A log that is told a run step by step. A character takes 1 ms.
class Story {
public:
    Story() {
        Mode(kApplication);
        m_log.Begin();
    }
    Story& Calls() {
        m_log.OnCallBegins();
        return *this;
    }
    Story& Sets(Signal signal, std::uint32_t value) {
        m_log.OnSignal(signal, value);
        return *this;
    }
    Story& Mode(ChipMode mode) { return Sets(Signal::kChipMode, static_cast<std::uint32_t>(mode)); }
    Story& Pass(Duration length) {
        m_clock.Pass(length);
        return *this;
    }
    Story& Sends(const std::vector<std::uint8_t>& bytes) {
        return Characters(Direction::kHostToChip, bytes);
    }
    Story& Answers(const std::vector<std::uint8_t>& bytes) {
        return Characters(Direction::kChipToHost, bytes);
    }
    Story& Takes(std::uint8_t command, std::string_view words) {
        m_log.OnLoaderCommand({command, 0, 0, 0x90, words});
        return *this;
    }
    /// A sync and a frame of two characters, both answered.
    Story& Exchange(std::uint8_t command, std::uint8_t answer) {
        Calls().Sends({0x80}).Takes(0x80, "sync").Answers({0x90});
        return Calls().Sends({0x80, command}).Takes(command, "work").Answers({answer});
    }
    std::string Draw(WavePart part) {
        m_log.Finish();
        return WaveJson(m_log, part);
    }

private:
    Story& Characters(Direction direction, const std::vector<std::uint8_t>& bytes) {
        for (const std::uint8_t value : bytes) {
            m_log.OnCharacter({direction, value, m_clock.Now(), kBitsPerSecond, 0, 10});
            m_clock.Pass(1ms);
        }
        return *this;
    }

    static constexpr std::uint32_t kBitsPerSecond = 10'000;  // 100 us a bit
    VirtualClock m_clock;
    WaveLog m_log{m_clock};
};

std::string Source(const std::string& lanes, const std::string& title) {
    return "{\n  \"signal\": [\n" + lanes + "  ],\n  \"head\": {\"text\": \"" + title +
           "\"},\n  \"foot\": {\"text\": \"not to scale\"}\n}\n";
}

TEST(APicture, OfTheEntryShowsTheLinesThatMoveUpToTheFirstAnswer) {
    Story run;
    run.Pass(500ms).Calls().Sets(Signal::kResetGpio, 1).Mode(kReset).Pass(100ms);
    run.Calls().Sets(Signal::kResetGpio, 0).Pass(50ms).Calls().Mode(kLoader).Pass(1ms);
    run.Calls().Sends({0x80}).Takes(0x80, "sync").Answers({0x90});
    run.Calls().Sets(Signal::kRxdNmiGpio, 0).Mode(kReset).Pass(7ms);
    EXPECT_EQ(run.Draw(WavePart::kEntry),
              Source(R"(    {"name": "reset_gpio", "wave": "0..1.0........"},
    {"name": "chip_mode", "wave": "4..4...4......", "data": ["application", "reset", "loader"]},
    {"name": "host_tx", "wave": "1........3.1..", "data": ["80"]},
    {"name": "loader takes", "wave": "z........2.z..", "data": ["sync"]},
    {"name": "host_rx", "wave": "1..........5.1", "data": ["90"]},
    {"name": "time", "wave": "z..2.2.2.2.2.z", "data": ["100 ms", "50 ms", "1 ms", "1 ms", "1 ms"]}
)",
                     "the way into the loader, up to its first answer, from 0.500000 s"));
}

TEST(APicture, OfABlockShowsTheFirstThatWasAcceptedWithItsSync) {
    Story run;
    run.Mode(kReset).Mode(kLoader).Exchange(0x10, 0x90).Exchange(0x12, 0xA0);
    run.Exchange(0x12, 0x90).Exchange(0x12, 0x90);
    EXPECT_EQ(run.Draw(WavePart::kBlock),
              Source(R"(    {"name": "host_tx", "wave": "13.1.3.1..", "data": ["80", "80 12"]},
    {"name": "loader takes", "wave": "z2.z.2.z..", "data": ["sync", "work"]},
    {"name": "host_rx", "wave": "1..5.1.5.1", "data": ["90", "90"]},
    {"name": "time", "wave": "z2.2.2.2.z", "data": ["1 ms", "1 ms", "2 ms", "1 ms"]}
)",
                     "one block with its sync, from 0.010000 s"));
}

TEST(APicture, OfARetryShowsTheRefusedFrameAndTheNext) {
    Story run;
    run.Mode(kReset).Mode(kLoader).Exchange(0x12, 0x90).Exchange(0x12, 0xA0);
    run.Exchange(0x12, 0x90).Exchange(0x12, 0x90);
    EXPECT_EQ(
        run.Draw(WavePart::kRetry),
        Source(
            R"(    {"name": "host_tx", "wave": "13.1.3.1.3.1.3.1..", "data": ["80", "80 12", "80", "80 12"]},
    {"name": "loader takes", "wave": "z2.z.2.z.2.z.2.z..", "data": ["sync", "work", "sync", "work"]},
    {"name": "host_rx", "wave": "1..5.1.5.1.5.1.5.1", "data": ["90", "a0", "90", "90"]},
    {"name": "time", "wave": "z2.2.2.2.2.2.2.2.z", "data": ["1 ms", "1 ms", "2 ms", "1 ms", "1 ms", "1 ms", "2 ms", "1 ms"]}
)",
            "a frame that was not accepted, and the next try, from 0.005000 s"));
}

TEST(APicture, OfAResetEndsWhereTheApplicationStartsBeforeTheNextResetAtTheSameInstant) {
    Story run;
    run.Calls().Mode(kReset).Mode(kLoader).Calls().Sends({0x80}).Answers({0x90});
    run.Calls().Sets(Signal::kRxdNmiGpio, 0).Mode(kReset).Pass(100ms);
    run.Calls().Sets(Signal::kRxdNmiGpio, 1).Mode(kApplication);
    run.Calls().Sets(Signal::kTristate, 1).Calls().Sets(Signal::kResetGpio, 1).Mode(kReset);
    EXPECT_EQ(run.Pass(1ms).Draw(WavePart::kReset),
              Source(R"(    {"name": "rxd_nmi_gpio", "wave": "1.0.1....."},
    {"name": "chip_mode", "wave": "4.4.4.....", "data": ["loader", "reset", "application"]},
    {"name": "time", "wave": "z.2.z.....", "data": ["100 ms"]}
)",
                     "the way back to the application, from 0.002000 s"));
}

TEST(APicture, OfARunFoldsExchangesThatWentWellButNotTheOthers) {
    Story run;
    run.Mode(kReset).Mode(kLoader);
    for (int exchange = 0; exchange < 6; ++exchange) {
        run.Exchange(0x12, 0x90);
    }
    run.Exchange(0x12, 0xA0).Exchange(0x12, 0x90);
    EXPECT_EQ(
        run.Draw(WavePart::kRun),
        Source(
            R"(    {"name": "chip_mode", "wave": "4..4.4..................|..........................", "data": ["application", "reset", "loader"]},
    {"name": "host_tx", "wave": "1....3.1.3.1.3.1.3.1....|.3.1.3.1.3.1.3.1.3.1.3.1..", "data": ["80", "80 12", "80", "80 12", "80", "80 12", "80", "80 12", "80", "80 12"]},
    {"name": "loader takes", "wave": "z....2.z.2.z.2.z.2.z....|.2.z.2.z.2.z.2.z.2.z.2.z..", "data": ["sync", "work", "sync", "work", "sync", "work", "sync", "work", "sync", "work"]},
    {"name": "host_rx", "wave": "1......5.1.5.1.5.1.5.1..|...5.1.5.1.5.1.5.1.5.1.5.1", "data": ["90", "90", "90", "90", "90", "90", "90", "a0", "90", "90"]},
    {"name": "time", "wave": "z..2.2.2.2.2.2.2.2.2.2....2.2.2.2.2.2.2.2.2.2.2.2.z", "data": ["0", "1 ms", "1 ms", "2 ms", "1 ms", "1 ms", "1 ms", "2 ms", "1 ms", "3 more exchanges, 15 ms", "1 ms", "1 ms", "2 ms", "1 ms", "1 ms", "1 ms", "2 ms", "1 ms", "1 ms", "1 ms", "2 ms", "1 ms"]}
)",
            "the whole run, from 0.000000 s"));
}

TEST(APicture, ShowsAStateThatLastedNoTimeAtAll) {
    Story run;
    run.Pass(1ms).Calls().Mode(kReset).Pass(2500us).Calls().Mode(kApplication);
    run.Calls().Mode(kReset).Pass(1ms).Calls().Mode(kApplication);
    EXPECT_EQ(
        run.Draw(WavePart::kRun),
        Source(
            R"(    {"name": "chip_mode", "wave": "4..4.4..4.4..", "data": ["application", "reset", "application", "reset", "application"]},
    {"name": "time", "wave": "z..2.2..2.z..", "data": ["2.5 ms", "0", "1 ms"]}
)",
            "the whole run, from 0.001000 s"));
}

TEST(APicture, ShortensLongFramesAndQuotesWords) {
    Story run;
    run.Mode(kReset).Mode(kLoader).Pass(1ms).Calls();
    run.Sends({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}).Takes(0x12, "a \"b\" \\ c").Answers({0xA0});
    run.Calls().Sends({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13}).Takes(0x12, "d");
    EXPECT_EQ(
        run.Draw(WavePart::kRun),
        Source(
            R"(    {"name": "chip_mode", "wave": "4..4.4...................", "data": ["application", "reset", "loader"]},
    {"name": "host_tx", "wave": "1......3.......1.3......1", "data": ["01 02 03 04 05 06 07 08 09 0a 0b 0c", "01 02 03 04 05 06 07 08 … 0c 0d"]},
    {"name": "loader takes", "wave": "z......2.......z.2......z", "data": ["a \"b\" \\ c", "d"]},
    {"name": "host_rx", "wave": "1..............5.1.......", "data": ["a0"]},
    {"name": "time", "wave": "z..2.2.2.......2.2......z", "data": ["0", "1 ms", "12 ms", "1 ms", "13 ms"]}
)",
            "the whole run, from 0.000000 s"));
}

TEST(APicture, OfARunThatHasNoSuchPartIsEmptyAndSaysSo) {
    EXPECT_EQ(Story().Draw(WavePart::kRetry),
              Source("", "not in this run: a frame that was not accepted, and the next try"));
    EXPECT_EQ(Story().Draw(WavePart::kRun), Source("", "not in this run: the whole run"));
}

TEST(TheParts, AreFoundByTheirWords) {
    for (const WavePartInfo& info : AllWaveParts()) {
        EXPECT_EQ(FindWavePart(info.word), info.part);
    }
    EXPECT_EQ(FindWavePart("sideways"), WavePart::kCount);
}

}  // namespace
}  // namespace vboard
