// SPDX-License-Identifier: MIT
#include "vboard/record/Summary.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>

namespace vboard {
namespace {

using std::chrono_literals::operator""ms;

using enum ChipMode;

/// What one kind of operation took, in one line: times in milliseconds, nothing that is 0.
std::string Text(const Activity& activity) {
    std::ostringstream text;
    const auto add = [&](const char* name, std::uint64_t value, std::uint64_t unit = 1) {
        if (value != 0) {
            text << (text.tellp() > 0 ? " " : "") << name << ' '
                 << static_cast<double>(value) / static_cast<double>(unit);
        }
    };
    constexpr std::uint64_t kMs = 1'000'000;
    add("count", activity.count);
    add("line", activity.lineNs, kMs);
    add("busy", activity.busyNs, kMs);
    add("pause", activity.pauseNs, kMs);
    add("waiting", activity.waitingNs, kMs);
    add("least", activity.leastNs, kMs);
    add("to-chip", activity.charactersToChip);
    add("to-host", activity.charactersToHost);
    add("syncs", activity.syncs);
    add("frames", activity.frames);
    add("refusals", activity.refusals);
    add("retries", activity.retries);
    add("blocks", activity.blocks);
    add("bytes", activity.blockBytes);
    add("acknowledged-blocks", activity.acknowledgedBlocks);
    add("acknowledged-bytes", activity.acknowledgedBytes);
    return text.str();
}

/// A summary that is told a conversation step by step. A character takes 1 ms.
class Conversation {
public:
    Conversation& Mode(ChipMode mode) {
        return Signals(Signal::kChipMode, static_cast<std::uint32_t>(mode));
    }
    Conversation& Busy(bool busy) { return Signals(Signal::kChipBusy, busy ? 1 : 0); }
    Conversation& Pass(Duration length) {
        m_clock.Pass(length);
        return *this;
    }
    Conversation& Pause(Duration length) {
        m_summary.OnPause(length);
        return Pass(length);
    }
    Conversation& BeginPause(Duration length) {
        m_summary.OnPause(length);
        return *this;
    }
    Conversation& ToChip(std::uint8_t value) { return Send(Direction::kHostToChip, value); }
    Conversation& ToHost(std::uint8_t value) { return Send(Direction::kChipToHost, value); }
    Conversation& Takes(std::uint8_t command, std::uint16_t length = 0) {
        m_summary.OnLoaderCommand({command, 0x2100, length, 0x90, ""});
        return *this;
    }
    /// A sync and a frame of two characters that are both answered.
    Conversation& Exchange(std::uint8_t command, std::uint16_t length, std::uint8_t answer) {
        ToChip(0x80).Pass(1ms).Takes(0x80).ToHost(0x90).Pass(1ms);
        ToChip(0x80).Pass(1ms).ToChip(command).Pass(1ms).Takes(command, length);
        return ToHost(answer).Pass(1ms);
    }
    Conversation& Finish() {
        m_summary.Finish();
        return *this;
    }
    [[nodiscard]] std::string Of(Operation operation) const {
        return Text(m_counts.at(static_cast<std::size_t>(operation)));
    }

private:
    Conversation& Signals(Signal signal, std::uint32_t value) {
        m_summary.OnSignal(signal, value);
        return *this;
    }
    Conversation& Send(Direction direction, std::uint8_t value) {
        m_summary.OnCharacter({direction, value, m_clock.Now(), kBitsPerSecond, 0, 10});
        return *this;
    }
    static constexpr std::uint32_t kBitsPerSecond = 10'000;  // 100 us a bit

    VirtualClock m_clock;
    SummaryCounts m_counts{};
    Summary m_summary{m_clock, m_counts};
};

TEST(ASummary, OfARunWithoutAnOperationTellsWhatHappenedOutside) {
    Conversation run;
    run.Mode(kApplication).Pause(500ms).Pass(20ms).Finish();
    EXPECT_EQ(run.Of(Operation::kOutside), "pause 500 waiting 20");
    EXPECT_EQ(run.Of(Operation::kReset), "");
}

TEST(ASummary, CountsEachMomentOnceLineBeforeFlashBeforePauseBeforeWaiting) {
    Conversation run;
    run.Mode(kReset).BeginPause(10ms).Pass(1ms).ToChip(1).Busy(true).Pass(3ms).Busy(false);
    run.Pass(8ms).Finish();
    // 1 pause, 1 line with busy under it, 2 busy, 6 left of the pause, 2 of nothing.
    EXPECT_EQ(run.Of(Operation::kReset),
              "count 1 line 1 busy 2 pause 7 waiting 2 least 4 to-chip 1");
}

TEST(ASummary, AddsUpLineTimeOfBothDirectionsForTheLeastEvenWhereTheyMeet) {
    Conversation run;
    run.ToChip(1).ToHost(2).Pass(3ms).Finish();
    EXPECT_EQ(run.Of(Operation::kOutside), "line 1 waiting 2 least 2 to-chip 1 to-host 1");
}

TEST(ASummary, NamesOperationsByWhatTheLoaderWasAskedFor) {
    Conversation run;
    run.Mode(kApplication).Mode(kReset).Pass(1ms).Mode(kApplication);
    run.Mode(kReset).Pass(2ms).Mode(kLoader).ToChip(0x80).Pass(1ms).Takes(0x80).Mode(kReset);
    run.Mode(kApplication).Mode(kReset).Mode(kLoader).Exchange(0x18, 0xA506, 0x90).Mode(kStopped);
    run.Mode(kReset).Mode(kLoader).Exchange(0x10, 0, 0x90).Exchange(0x16, 0xA504, 0x90);
    run.Exchange(0x12, 16, 0x90).Mode(kApplication);
    run.Mode(kReset).Mode(kLoader).Exchange(0x14, 16, 0x80).Exchange(0x14, 16, 0x80);
    run.Mode(kApplication).Finish();
    EXPECT_EQ(run.Of(Operation::kReset), "count 1 waiting 1");
    EXPECT_EQ(run.Of(Operation::kDetect), "count 1 line 1 waiting 2 least 1 to-chip 1 syncs 1");
    EXPECT_EQ(run.Of(Operation::kErase),
              "count 1 line 5 least 5 to-chip 3 to-host 2 syncs 1 frames 1");
    EXPECT_EQ(run.Of(Operation::kProgram),
              "count 1 line 15 least 15 to-chip 9 to-host 6 syncs 3 frames 3 blocks 1 bytes 16 "
              "acknowledged-blocks 1 acknowledged-bytes 16");
    EXPECT_EQ(run.Of(Operation::kOther),
              "count 1 line 10 least 10 to-chip 6 to-host 4 syncs 2 frames 2");
    EXPECT_EQ(run.Of(Operation::kOutside), "");
}

TEST(ASummary, CountsAFrameAfterARefusedOneAsARetry) {
    Conversation run;
    run.Mode(kReset).Mode(kLoader);
    run.Exchange(0x12, 16, 0xA0).Exchange(0x12, 16, 0x90).Exchange(0x12, 8, 0x90);
    run.Mode(kApplication).Finish();
    EXPECT_EQ(run.Of(Operation::kProgram),
              "count 1 line 15 least 15 to-chip 9 to-host 6 syncs 3 frames 3 refusals 1 retries 1 "
              "blocks 3 bytes 40 acknowledged-blocks 2 acknowledged-bytes 24");
}

TEST(ASummary, CountsAFrameAfterOneWhoseAnswerWasDamagedOnTheWireAsARetry) {
    Conversation run;
    run.Mode(kReset).Mode(kLoader).Exchange(0x12, 16, 0x41).Exchange(0x12, 16, 0x90);
    run.Mode(kApplication).Finish();
    EXPECT_EQ(run.Of(Operation::kProgram),
              "count 1 line 10 least 10 to-chip 6 to-host 4 syncs 2 frames 2 retries 1 "
              "blocks 2 bytes 32 acknowledged-blocks 1 acknowledged-bytes 16");
}

TEST(ASummary, CountsASyncRightAfterASyncAsARetry) {
    Conversation run;
    run.Mode(kReset).Mode(kLoader).Takes(0x80).Takes(0x80).Takes(0x12, 2).Takes(0x80);
    run.Finish();
    EXPECT_EQ(run.Of(Operation::kProgram), "count 1 syncs 3 frames 1 retries 1 blocks 1 bytes 2");
}

TEST(ASummary, CountsNoRetryAcrossTwoOperations) {
    Conversation run;
    run.Mode(kReset).Mode(kLoader).Exchange(0x18, 0, 0xA0).Mode(kApplication);
    run.Mode(kReset).Mode(kLoader).Exchange(0x18, 0, 0x90).Mode(kApplication).Finish();
    EXPECT_EQ(run.Of(Operation::kErase),
              "count 2 line 10 least 10 to-chip 6 to-host 4 syncs 2 frames 2 refusals 1");
}

TEST(ASummary, CompletesTheOperationUnderWayWhereTheProgramEndsAndHearsNothingAfter) {
    Conversation run;
    run.Mode(kReset).Mode(kLoader).Pass(1ms).Finish();
    run.Pass(5ms).Exchange(0x12, 16, 0x90).Mode(kApplication).Finish();
    EXPECT_EQ(run.Of(Operation::kDetect), "count 1 waiting 1");
    EXPECT_EQ(run.Of(Operation::kProgram), "");
    EXPECT_EQ(run.Of(Operation::kOutside), "");
}

}  // namespace
}  // namespace vboard
