// SPDX-License-Identifier: MIT

// What a struck character does to its lane: who gets what, and when.

#include <gtest/gtest.h>

#include <map>
#include <utility>

#include "vboard/wires/SerialLane.h"

#include "vboard/text/Format.h"

namespace vboard {
namespace {

using namespace std::chrono_literals;
using Kind = CharacterFault::Kind;

/// Strikes the n-th character, counted from 1, as the test says.
class StruckCharacters : public Faults {
public:
    std::map<int, CharacterFault> faults;
    int asked = 0;

    CharacterFault FaultOfCharacter(bool /*toChip*/, std::uint8_t /*value*/) override {
        const auto found = faults.find(++asked);
        return found == faults.end() ? CharacterFault{} : found->second;
    }
};

/// A lane of 8E1 characters of 1 ms each (11 bits at 11000 bit/s) with a receiver that writes down
/// what arrives when.
class StruckLane : private Probe {
public:
    explicit StruckLane(std::map<int, CharacterFault> faults) {
        m_faults.faults = std::move(faults);
        m_format.bitsPerSecond = 11'000;
    }

    VirtualClock clock;
    StruckLane& Send(std::initializer_list<std::uint8_t> values) {
        for (const std::uint8_t value : values) {
            m_lane.Send(value, m_format);
        }
        return *this;
    }
    /// "1ms 41, 2ms 42 parity": everything that arrives in the end.
    std::string Arrivals() {
        clock.Settle(Instant::max());
        return m_arrivals;
    }
    [[nodiscard]] const std::string& OnTheWire() const { return m_wire; }
    [[nodiscard]] std::size_t Pending() const { return m_lane.Pending(); }
    [[nodiscard]] int Asked() const { return m_faults.asked; }
    void DropQueued() { m_lane.DropQueued(); }

private:
    void OnCharacter(const WireCharacter& character) override {
        m_wire += Formatted("{}{:02x}", m_wire.empty() ? "" : " ", character.value);
    }

    SerialFormat m_format;
    StruckCharacters m_faults;
    std::string m_arrivals;
    std::string m_wire;
    SerialLane m_lane{clock,
                      *this,
                      m_faults,
                      Direction::kHostToChip,
                      [this]() -> const SerialFormat& { return m_format; },
                      [this](const ReceivedCharacter& character) {
                          const auto at = clock.Now().time_since_epoch() + 500us;
                          m_arrivals += Formatted(
                              "{}{}ms {:02x}{}{}", m_arrivals.empty() ? "" : ", ", at / 1ms,
                              character.value, character.parityError ? " parity" : "",
                              character.framingError ? " framing" : "");
                      }};
};

TEST(StruckCharacter, NotAtAllArrivesAfterItsTimeOnTheWire) {
    EXPECT_EQ(StruckLane({}).Send({0x41, 0x42, 0x43}).Arrivals(), "1ms 41, 2ms 42, 3ms 43");
}

TEST(StruckCharacter, LostTakesItsTimeAndNeitherArrivesNorShowsOnTheWire) {
    StruckLane lane({{2, {Kind::kLost, 0, {}}}});
    EXPECT_EQ(lane.Send({0x41, 0x42, 0x43}).Arrivals(), "1ms 41, 3ms 43");
    EXPECT_EQ(lane.OnTheWire(), "41 43");
}

TEST(StruckCharacter, ChangedArrivesWithTheParityThatFitsIt) {
    StruckLane lane({{1, {Kind::kChanged, 0x07, {}}}});
    EXPECT_EQ(lane.Send({0x41, 0x42}).Arrivals(), "1ms 07, 2ms 42");
    EXPECT_EQ(lane.OnTheWire(), "07 42");
}

TEST(StruckCharacter, WithItsParityInvertedArrivesWithItsValueAndAnError) {
    EXPECT_EQ(StruckLane({{2, {Kind::kParity, 0, {}}}}).Send({0x41, 0x42}).Arrivals(),
              "1ms 41, 2ms 42 parity");
}

TEST(StruckCharacter, DoubledArrivesTwiceAndHoldsUpTheNext) {
    StruckLane lane({{1, {Kind::kDoubled, 0, {}}}});
    EXPECT_EQ(lane.Send({0x41, 0x42}).Arrivals(), "1ms 41, 2ms 41, 3ms 42");
    EXPECT_EQ(lane.Asked(), 2) << "the twin is no character of its own";
}

TEST(StruckCharacter, LateHoldsUpWhatFollowsAndKeepsTheOrder) {
    StruckLane lane({{1, {Kind::kLate, 0, 5ms}}});
    EXPECT_EQ(lane.Send({0x41, 0x42}).Arrivals(), "6ms 41, 7ms 42");
    EXPECT_EQ(lane.Asked(), 2) << "a character is asked about once";
}

TEST(StruckCharacter, LateInTheMiddleLetsThePreviousOnesArriveInTime) {
    EXPECT_EQ(StruckLane({{2, {Kind::kLate, 0, 5ms}}}).Send({0x41, 0x42, 0x43}).Arrivals(),
              "1ms 41, 7ms 42, 8ms 43");
}

TEST(StruckCharacter, LateCountsAsPendingWhileItWaits) {
    StruckLane lane({{1, {Kind::kLate, 0, 5ms}}});
    lane.Send({0x41});
    lane.clock.Pass(4ms);
    EXPECT_EQ(lane.Pending(), 1U);
    lane.Send({0x42});
    EXPECT_EQ(lane.Arrivals(), "6ms 41, 7ms 42");
    EXPECT_EQ(lane.Pending(), 0U);
}

TEST(StruckCharacter, LateAndNotBegunIsDroppedWithTheQueue) {
    StruckLane lane({{1, {Kind::kLate, 0, 5ms}}});
    bool served = false;
    lane.clock.After(3ms, [&served] { served = true; });
    lane.Send({0x41, 0x42});
    lane.clock.Pass(2400us);
    lane.DropQueued();
    lane.DropQueued();
    EXPECT_EQ(lane.Pending(), 0U);
    lane.clock.Pass(2ms);
    EXPECT_TRUE(served) << "another's action is not taken back";
    EXPECT_EQ(lane.Send({0x43, 0x44}).Arrivals(), "5ms 43, 6ms 44");
}

TEST(StruckCharacter, OnTheWireGoesOnWhenTheQueueIsDropped) {
    StruckLane lane({{1, {Kind::kDoubled, 0, {}}}});
    lane.Send({0x41, 0x42});
    lane.DropQueued();
    EXPECT_EQ(lane.Arrivals(), "1ms 41");
}

}  // namespace
}  // namespace vboard
