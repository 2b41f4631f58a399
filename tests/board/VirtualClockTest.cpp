// SPDX-License-Identifier: MIT
#include "vboard/time/VirtualClock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

using namespace std::chrono_literals;
using vboard::Duration;
using vboard::Instant;
using vboard::VirtualClock;
using Waited = VirtualClock::Waited;

class VirtualClockTest : public testing::Test {
protected:
    VirtualClock::Action Note(char name) {
        return [this, name] { m_order += name; };
    }
    VirtualClock m_clock;
    std::string m_order;
};

TEST_F(VirtualClockTest, ActionsAreServedByTimeWhateverTheOrderOfAsking) {
    m_clock.After(30us, Note('c'));
    m_clock.After(10us, Note('a'));
    m_clock.After(20us, Note('b'));
    m_clock.Pass(30us);
    EXPECT_EQ(m_order, "abc");
}

TEST_F(VirtualClockTest, EqualInstantsAreServedInTheOrderOfAsking) {
    for (const char name : std::string("abcdefghij")) {
        m_clock.After(5us, Note(name));
    }
    m_clock.Pass(5us);
    EXPECT_EQ(m_order, "abcdefghij");
}

TEST_F(VirtualClockTest, AnActionStandsAtItsOwnInstantAndPassEndsAtItsEnd) {
    Instant seen{};
    m_clock.After(7us, [&] { seen = m_clock.Now(); });
    m_clock.Pass(10us);
    EXPECT_EQ(seen, Instant(7us));
    EXPECT_EQ(m_clock.Now(), Instant(10us));
}

TEST_F(VirtualClockTest, PassLeavesWhatIsDueLaterAlone) {
    m_clock.After(11us, Note('x'));
    m_clock.Pass(10us);
    EXPECT_EQ(m_order, "");
    m_clock.Pass(1us);
    EXPECT_EQ(m_order, "x");
}

TEST_F(VirtualClockTest, AnActionAskedForByAnActionIsServedInTheSamePass) {
    m_clock.After(1us, [this] {
        m_order += 'a';
        m_clock.After(1us, Note('b'));
        m_clock.After(0us, Note('0'));
    });
    m_clock.Pass(5us);
    EXPECT_EQ(m_order, "a0b");
}

TEST_F(VirtualClockTest, AnInstantInThePastIsServedNowWithoutTurningTimeBack) {
    m_clock.Pass(10us);
    m_clock.At(Instant(3us), [&] { EXPECT_EQ(m_clock.Now(), Instant(10us)); });
    m_clock.At(Instant(4us), Note('p'));
    m_clock.Pass(0us);
    EXPECT_EQ(m_order, "p");
}

TEST_F(VirtualClockTest, AnInstantInThePastIsServedAfterWhatWasAskedForBefore) {
    m_clock.Pass(10us);
    m_clock.After(0us, Note('a'));
    m_clock.At(Instant(3us), Note('b'));
    m_clock.Pass(0us);
    EXPECT_EQ(m_order, "ab");
}

TEST_F(VirtualClockTest, CancelledActionsAreNotServedAndOthersAre) {
    const auto first = m_clock.After(1us, Note('a'));
    m_clock.After(1us, Note('b'));
    const auto third = m_clock.After(2us, Note('c'));
    m_clock.Cancel(third);
    m_clock.Cancel(first);
    m_clock.Pass(5us);
    EXPECT_EQ(m_order, "b");
}

TEST_F(VirtualClockTest, CancellingWhatWasServedOrNeverWasChangesNothing) {
    const auto ticket = m_clock.After(1us, Note('a'));
    m_clock.Pass(1us);
    m_clock.Cancel(ticket);
    m_clock.Cancel(ticket);
    m_clock.Cancel(12345);
    m_clock.After(1us, Note('b'));
    m_clock.Pass(1us);
    EXPECT_EQ(m_order, "ab");
}

TEST_F(VirtualClockTest, AnActionMayCancelAnotherDueAtTheSameInstant) {
    VirtualClock::Ticket second = 0;
    m_clock.After(1us, [&] { m_clock.Cancel(second); });
    second = m_clock.After(1us, Note('x'));
    m_clock.Pass(2us);
    EXPECT_EQ(m_order, "");
}

TEST_F(VirtualClockTest, AWaitEndsAtTheActionThatSatisfiesIt) {
    m_clock.After(1us, Note('a'));
    m_clock.After(2us, Note('b'));
    m_clock.After(3us, Note('c'));
    const auto waited = m_clock.RunUntil([this] { return m_order == "ab"; }, std::nullopt);
    EXPECT_EQ(waited, Waited::kSatisfied);
    EXPECT_EQ(m_clock.Now(), Instant(2us));
}

TEST_F(VirtualClockTest, AWaitForWhatIsAlreadyThereTakesNoTime) {
    m_clock.After(0us, Note('a'));
    EXPECT_EQ(m_clock.RunUntil([] { return true; }, Instant(5us)), Waited::kSatisfied);
    EXPECT_EQ(m_order, "");
    EXPECT_EQ(m_clock.Now(), Instant(0us));
}

TEST_F(VirtualClockTest, AWaitEndsAtItsDeadline) {
    m_clock.After(10us, Note('x'));
    EXPECT_EQ(m_clock.RunUntil([] { return false; }, Instant(5us)), Waited::kTimedOut);
    EXPECT_EQ(m_clock.Now(), Instant(5us));
    EXPECT_EQ(m_order, "");
}

TEST_F(VirtualClockTest, AnActionDueAtTheDeadlineStillSatisfiesTheWait) {
    m_clock.After(5us, Note('x'));
    EXPECT_EQ(m_clock.RunUntil([this] { return m_order == "x"; }, Instant(5us)),
              Waited::kSatisfied);
}

TEST_F(VirtualClockTest, AWaitWithoutDeadlineEndsWhenNothingIsLeftToHappen) {
    m_clock.After(5us, Note('x'));
    EXPECT_EQ(m_clock.RunUntil([] { return false; }, std::nullopt), Waited::kNothingLeft);
    EXPECT_EQ(m_clock.Now(), Instant(5us));
    EXPECT_EQ(m_order, "x");
}

TEST_F(VirtualClockTest, ACancelledActionIsNothingLeftToHappen) {
    const auto ticket = m_clock.After(5us, Note('x'));
    m_clock.Cancel(ticket);
    m_clock.Cancel(ticket);
    EXPECT_EQ(m_clock.RunUntil([] { return false; }, std::nullopt), Waited::kNothingLeft);
    EXPECT_EQ(m_clock.NextAction(), std::nullopt);
    EXPECT_EQ(m_clock.Now(), Instant(0us));
}

TEST_F(VirtualClockTest, SettleServesWhatIsDueAndStandsAtTheLastAction) {
    m_clock.After(5us, Note('a'));
    m_clock.After(50us, Note('b'));
    m_clock.Settle(Instant(20us));
    EXPECT_EQ(m_order, "a");
    EXPECT_EQ(m_clock.Now(), Instant(5us));
}

TEST_F(VirtualClockTest, ThePacerIsToldOfEachNewInstantBeforeTheClockIsThere) {
    struct Recorder : vboard::Pacer {
        explicit Recorder(const VirtualClock& paced) : clock(paced) {}
        std::chrono::nanoseconds Now() const override { return {}; }
        std::chrono::nanoseconds GoingTo(std::chrono::nanoseconds sinceStart,
                                         vboard::Signals /*signals*/) override {
            EXPECT_LT(clock.Now().time_since_epoch(), sinceStart);
            told += std::to_string(sinceStart.count()) + " ";
            return sinceStart;
        }
        const VirtualClock& clock;
        std::string told;
    } pacer(m_clock);
    m_clock.SetPacer(&pacer);
    m_clock.After(2us, Note('a'));
    m_clock.After(2us, Note('b'));
    m_clock.Pass(3us);
    m_clock.SetPacer(nullptr);
    m_clock.Pass(3us);
    EXPECT_EQ(pacer.told, "2000 3000 ");
}

TEST_F(VirtualClockTest, ASignalLeavesTheClockWhereThePacerWas) {
    struct Interrupted : vboard::Pacer {
        std::chrono::nanoseconds Now() const override { return {}; }
        std::chrono::nanoseconds GoingTo(std::chrono::nanoseconds sinceStart,
                                         vboard::Signals /*signals*/) override {
            return std::min<std::chrono::nanoseconds>(sinceStart, 2us);
        }
    } pacer;
    m_clock.SetPacer(&pacer);
    m_clock.After(1us, Note('a'));
    m_clock.After(3us, Note('b'));
    EXPECT_EQ(m_clock.Pass(5us), 3us);
    EXPECT_EQ(m_order, "a");
    EXPECT_EQ(m_clock.Now(), Instant(2us));
    EXPECT_EQ(m_clock.RunUntil([] { return false; }, Instant(4us)), Waited::kInterrupted);
    EXPECT_EQ(m_clock.RunUntil([] { return false; }, std::nullopt), Waited::kInterrupted);
}

TEST_F(VirtualClockTest, OnlyMovesWhenItsSharersLetIt) {
    struct Sharers : VirtualClock::Sharers {
        bool MayMove(const VirtualClock::Wait& wait) override {
            asked += std::to_string(wait.clock.Now().time_since_epoch().count()) + " ";
            if (wait.clock.Now() == Instant(2us) && !acted) {
                acted = true;
                wait.clock.SkipTo(Instant(3us));
                return false;
            }
            return true;
        }
        std::string asked;
        bool acted = false;
    } sharers;
    m_clock.SetSharers(&sharers);
    m_clock.After(2us, Note('a'));
    EXPECT_EQ(m_clock.RunUntil([] { return false; }, Instant(5us)), Waited::kTimedOut);
    EXPECT_EQ(sharers.asked, "0 2000 3000 ");
}

TEST_F(VirtualClockTest, TimeHasAnEndThatNothingPasses) {
    m_clock.SkipTo(Instant::max() - 1us);
    EXPECT_EQ(m_clock.In(2us), Instant::max());
    EXPECT_EQ(m_clock.Pass(Duration::max()), 0us);
    EXPECT_EQ(m_clock.Now(), Instant::max());
}

TEST_F(VirtualClockTest, TheLimitStopsTheClockAtItselfOnceAndLaterActionsAreNotServedBefore) {
    Instant stopped{};
    m_clock.SetLimit(Instant(10us), [&] {
        stopped = m_clock.Now();
        m_order += '!';
    });
    m_clock.After(10us, Note('a'));
    m_clock.After(11us, Note('b'));
    m_clock.Pass(20us);
    EXPECT_EQ(stopped, Instant(10us));
    EXPECT_EQ(m_order, "a!b");
    EXPECT_EQ(m_clock.Now(), Instant(20us));
}

TEST_F(VirtualClockTest, AClockMayStartLater) {
    VirtualClock late(Instant(1h));
    EXPECT_EQ(late.Now(), Instant(1h));
    late.Pass(1us);
    EXPECT_EQ(late.Now(), Instant(1h + 1us));
}

}  // namespace
