// SPDX-License-Identifier: MIT
#include "vboard/faults/FaultPlan.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <initializer_list>
#include <utility>

#include "vboard/faults/FaultPlanParser.h"
#include "vboard/probe/LoaderCodes.h"
#include "vboard/probe/Probe.h"
#include "vboard/text/Format.h"
#include "vboard/text/HexText.h"

namespace vboard {
namespace {

using namespace std::chrono_literals;

using Bytes = std::vector<std::uint8_t>;

std::vector<FaultRule> Rules(std::initializer_list<std::string_view> texts) {
    std::vector<FaultRule> rules;
    for (const std::string_view text : texts) {
        FaultRule rule;
        std::string problem;
        EXPECT_TRUE(ParseFaultRule(text, rule, problem)) << problem;
        rules.push_back(rule);
    }
    return rules;
}

/// A plan in a world that writes down what the plan does to it.
class PlannedWorld : private Probe, private FaultControl {
public:
    explicit PlannedWorld(std::initializer_list<std::string_view> rules)
        : plan(Rules(rules), {"/dev/ttyS1", "/dev/knxspi"}) {
        plan.Begin(clock, *this, *this);
    }

    VirtualClock clock;
    FaultPlan plan;

    /// "." for a call that is left alone, else the first letters of what strikes it.
    std::string Calls(CallKind kind, std::string_view path, int count) {
        std::string text;
        for (int i = 0; i < count; ++i) {
            switch (plan.FaultOfCall(kind, path, 16).kind) {
                case CallFault::Kind::kNone:
                    text += ".";
                    break;
                case CallFault::Kind::kErrno:
                    text += "E";
                    break;
                case CallFault::Kind::kKill:
                    text += "K";
                    break;
                default:
                    text += "?";
                    break;
            }
        }
        return text;
    }

    /// What has been noted and done since the last call, "; " between.
    std::string Said() { return std::exchange(m_said, {}); }

private:
    void OnNote(std::string_view room, std::string_view text) override {
        Add(std::string(room) + " " + std::string(text));
    }
    void SetPower(bool on) override { Add(on ? "power on" : "power off"); }
    void Kill() override { Add("killed"); }
    void Add(const std::string& text) { m_said += (m_said.empty() ? "" : "; ") + text; }

    std::string m_said;
};

TEST(FaultPlanCalls, TheFirstCallIsStruckAndTheOthersAreLeftAlone) {
    PlannedWorld world{"read=eio"};
    EXPECT_EQ(world.Calls(CallKind::kRead, "/dev/ttyS1", 4), "E...");
    EXPECT_EQ(world.Said(), "fault read=eio");
    EXPECT_EQ(world.plan.Strikes(), 1U);
}

TEST(FaultPlanCalls, OccurrencesCountTheCallsThatFit) {
    EXPECT_EQ(PlannedWorld{"read#3=eio"}.Calls(CallKind::kRead, "/dev/ttyS1", 5), "..E..");
    EXPECT_EQ(PlannedWorld{"read#2..3=eio"}.Calls(CallKind::kRead, "/dev/ttyS1", 5), ".EE..");
    EXPECT_EQ(PlannedWorld{"read#4..=eio"}.Calls(CallKind::kRead, "/dev/ttyS1", 5), "...EE");
    EXPECT_EQ(PlannedWorld{"read#*=eio"}.Calls(CallKind::kRead, "/dev/ttyS1", 5), "EEEEE");
}

TEST(FaultPlanCalls, AnotherKindOrDeviceIsNeitherStruckNorCounted) {
    PlannedWorld world{"read:port#2=eio"};
    EXPECT_EQ(world.Calls(CallKind::kRead, "/dev/ttyS1", 1), ".");
    EXPECT_EQ(world.Calls(CallKind::kWrite, "/dev/ttyS1", 3), "...");
    EXPECT_EQ(world.Calls(CallKind::kRead, "/dev/knxspi", 3), "...");
    EXPECT_EQ(world.Calls(CallKind::kRead, "/dev/ttyS1", 1), "E");
}

TEST(FaultPlanCalls, ShortNamesAreTheDevicesOfTheBoard) {
    EXPECT_EQ(PlannedWorld{"open:comm=eio"}.Calls(CallKind::kOpen, "/dev/knxspi", 1), "E");
    EXPECT_EQ(PlannedWorld{"open:port=eio"}.Calls(CallKind::kOpen, "/dev/knxspi", 1), ".");
    EXPECT_EQ(PlannedWorld{"flush:gpio86/value=eio"}.Calls(CallKind::kFlush,
                                                           "/sys/class/gpio/gpio86/value", 1),
              "E");
    EXPECT_EQ(PlannedWorld{"flush:export=eio"}.Calls(CallKind::kFlush, "/sys/class/gpio/export", 1),
              "E");
    EXPECT_EQ(PlannedWorld{"flush:gpio86*=eio"}.Calls(CallKind::kFlush,
                                                      "/sys/class/gpio/gpio86/direction", 1),
              "E");
    EXPECT_EQ(PlannedWorld{"flush:gpio86*=eio"}.Calls(CallKind::kFlush,
                                                      "/sys/class/gpio/gpio90/direction", 1),
              ".");
}

TEST(FaultPlanCalls, APathFitsAsAWholeOnly) {
    EXPECT_EQ(PlannedWorld{"open:/dev/ttyS1=eio"}.Calls(CallKind::kOpen, "/dev/ttyS10", 1), ".");
    EXPECT_EQ(PlannedWorld{"open:/dev/ttyS1*=eio"}.Calls(CallKind::kOpen, "/dev/ttyS10", 1), "E");
}

TEST(FaultPlanCalls, AnyCallCountsEveryKindAndPauses) {
    PlannedWorld world{"call#3=kill"};
    EXPECT_EQ(world.Calls(CallKind::kOpen, "/dev/ttyS1", 1), ".");
    EXPECT_EQ(world.Calls(CallKind::kPause, "", 1), ".");
    EXPECT_EQ(world.Calls(CallKind::kTcsetattr, "/dev/ttyS1", 1), "K");
}

TEST(FaultPlanCalls, WhatAKindOfCallCannotSufferLeavesItAloneAndSaysSo) {
    PlannedWorld world{"call#1=short 1", "call#2=eio"};
    EXPECT_EQ(world.Calls(CallKind::kOpen, "/dev/ttyS1", 1), ".");
    EXPECT_EQ(world.Calls(CallKind::kPause, "", 1), ".");
    EXPECT_EQ(world.Said(),
              "fault call#1=short 1: no effect on open; fault call#2=eio: no effect on pause");
}

TEST(FaultPlanCalls, CallsBeforeTheTimeAreNotCounted) {
    PlannedWorld world{"read@2s#2=eio"};
    EXPECT_EQ(world.Calls(CallKind::kRead, "/dev/ttyS1", 3), "...");
    world.clock.Pass(2s);
    EXPECT_EQ(world.Calls(CallKind::kRead, "/dev/ttyS1", 3), ".E.");
}

TEST(FaultPlanCalls, OfTwoRulesForOneCallTheFirstDecidesAndBothCount) {
    PlannedWorld world{"read#1=kill", "read#1..2=eio"};
    EXPECT_EQ(world.Calls(CallKind::kRead, "/dev/ttyS1", 3), "KE.");
    EXPECT_EQ(world.Said(), "fault read#1=kill; fault read#1..2=eio");
}

TEST(FaultPlanCalls, OutcomesCarryTheirNumbersAndBytes) {
    PlannedWorld world{"read#1=enospc", "read#2=short 3", "read#3=bytes 90 a0", "read#4=silence"};
    const auto next = [&] { return world.plan.FaultOfCall(CallKind::kRead, "/dev/ttyS1", 8); };
    EXPECT_EQ(next().error, ENOSPC);
    const CallFault shortened = next();
    EXPECT_EQ(shortened.kind, CallFault::Kind::kCount);
    EXPECT_EQ(shortened.count, 3U);
    const CallFault replaced = next();
    EXPECT_EQ(replaced.kind, CallFault::Kind::kBytes);
    EXPECT_EQ(replaced.bytes, (Bytes{0x90, 0xA0}));
    EXPECT_EQ(next().kind, CallFault::Kind::kSilence);
    const CallFault timedOut =
        PlannedWorld{"select=timeout"}.plan.FaultOfCall(CallKind::kSelect, "/dev/knxspi", 0);
    EXPECT_EQ(timedOut.kind, CallFault::Kind::kCount);
    EXPECT_EQ(timedOut.count, 0U);
    EXPECT_EQ(world.Said(),
              "fault read#1=enospc; fault read#2=short 3; fault read#3=bytes 90 a0; fault "
              "read#4=silence");
}

TEST(FaultPlanCalls, PowerCutAtACallGoesBeforeTheCallIsCarriedOut) {
    PlannedWorld world{"call#2=power off 30ms"};
    EXPECT_EQ(world.Calls(CallKind::kRead, "/dev/ttyS1", 3), "...");
    EXPECT_EQ(world.Said(), "fault call#2=power off 30ms; power off");
    world.clock.Pass(29ms);
    EXPECT_EQ(world.Said(), "");
    world.clock.Pass(1ms);
    EXPECT_EQ(world.Said(), "power on");
}

TEST(FaultPlanCalls, AreListedWithTheNumberThatOrdersThem) {
    PlannedWorld world{};
    std::string lines;
    world.plan.SetCallLine([&](std::string_view line) { lines += std::string(line) + "\n"; });
    static_cast<void>(world.plan.FaultOfCall(CallKind::kOpen, "/dev/ttyS1", 0));
    static_cast<void>(world.plan.FaultOfCall(CallKind::kRead, "/dev/ttyS1", 16));
    static_cast<void>(world.plan.FaultOfCall(CallKind::kPause, "", 0));
    EXPECT_EQ(lines, "1 open /dev/ttyS1 0\n2 read /dev/ttyS1 16\n3 pause - 0\n");
}

/// "3 41 in 0 ns": the number of the kind, the value, the delay.
std::string Words(const CharacterFault& fault) {
    return Formatted("{} {:02x} in {} ns", static_cast<int>(fault.kind), fault.value,
                     fault.delay.count());
}

TEST(FaultPlanCharacters, AreStruckByDirectionWithAllThatIsOrdered) {
    PlannedWorld world{"char:to-host#2=change 41", "char:to-chip=parity", "char#4=lost",
                       "char#5=late 1.5ms", "char#6=double"};
    EXPECT_EQ(Words(world.plan.FaultOfCharacter(false, 0x90)), "0 00 in 0 ns");
    EXPECT_EQ(Words(world.plan.FaultOfCharacter(true, 0x80)), "3 00 in 0 ns");
    EXPECT_EQ(Words(world.plan.FaultOfCharacter(false, 0x90)), "2 41 in 0 ns");
    EXPECT_EQ(Words(world.plan.FaultOfCharacter(true, 0x80)), "1 00 in 0 ns");
    EXPECT_EQ(Words(world.plan.FaultOfCharacter(true, 0x80)), "5 00 in 1500000 ns");
    EXPECT_EQ(Words(world.plan.FaultOfCharacter(true, 0x80)), "4 00 in 0 ns");
    world.clock.Pass(1s);
    EXPECT_EQ(world.Said(),
              "fault char:to-chip=parity; fault char:to-host#2=change 41; fault char#4=lost; "
              "fault char#5=late 1.5ms; fault char#6=double");
}

TEST(FaultPlanCharacters, TakeThePowerWithThemAndBringIt) {
    PlannedWorld world{"char=power off 5ms", "char#2=power off", "char#3=power on"};
    for (const char* said : {"power off; power on", "power off", "power on"}) {
        EXPECT_EQ(Words(world.plan.FaultOfCharacter(true, 0x80)), "0 00 in 0 ns");
        static_cast<void>(world.Said());
        world.clock.Pass(5ms);
        EXPECT_EQ(world.Said(), said);
    }
}

/// "1 a0 in 0 ns": the number of the kind, the bytes, the delay.
std::string Words(const AnswerFault& fault) {
    return Formatted("{} {} in {} ns", static_cast<int>(fault.kind), HexText(fault.bytes),
                     fault.delay.count());
}

TEST(FaultPlanAnswers, AreStruckByTheCommandTheyAnswer) {
    PlannedWorld world{"answer:write#2=nak",   "answer:sync=preceded 41 42",
                       "answer#4=silence",     "answer:erase=late 1s",
                       "answer:password=ack",  "answer:version=bytes 01 02",
                       "answer:read=power on", "answer:load-pc=power off 5ms"};
    const auto answer = [&](std::uint8_t command) {
        return Words(world.plan.FaultOfAnswer(command, 0x2100, Bytes{0x90}));
    };
    EXPECT_EQ(answer(kReceiveBlock), "0  in 0 ns");
    EXPECT_EQ(answer(kSyncByte), "2 41 42 in 0 ns");
    EXPECT_EQ(answer(kReceiveBlock), "1 a0 in 0 ns");
    EXPECT_EQ(answer(kMassErase), "1  in 0 ns");
    EXPECT_EQ(answer(kEraseFlash), "3  in 1000000000 ns");
    EXPECT_EQ(answer(kReceivePassword), "1 90 in 0 ns");
    EXPECT_EQ(answer(kTransmitVersion), "1 01 02 in 0 ns");
    EXPECT_EQ(answer(kTransmitBlock), "0  in 0 ns");
    EXPECT_EQ(answer(kLoadProgramCounter), "1  in 0 ns");
    static_cast<void>(world.Said());
    world.clock.Pass(0ns);
    EXPECT_EQ(world.Said(), "power on; power off");
    world.clock.Pass(4999us);
    EXPECT_EQ(world.Said(), "");
    world.clock.Pass(1us);
    EXPECT_EQ(world.Said(), "power on");
}

TEST(FaultPlanCells, ThatStickErasedTakeNoProgrammingButErase) {
    PlannedWorld world{"cell:0x2100-0x2101=stuck-erased"};
    EXPECT_EQ(world.plan.CellAfterProgramming(0x20FF, 0xFF, 0x12), 0x12);
    EXPECT_EQ(world.plan.CellAfterProgramming(0x2100, 0xFF, 0x12), 0xFF);
    EXPECT_EQ(world.plan.CellAfterProgramming(0x2101, 0xF0, 0x10), 0xF0);
    EXPECT_EQ(world.plan.CellAfterErase(0x2100, 0x12), 0xFF);
    EXPECT_EQ(world.plan.Strikes(), 2U);
}

TEST(FaultPlanCells, ThatStickProgrammedTakeNoEraseButProgramming) {
    PlannedWorld world{"cell:0x2100=stuck-programmed"};
    EXPECT_EQ(world.plan.CellAfterErase(0x2100, 0x12), 0x12);
    EXPECT_EQ(world.plan.CellAfterErase(0x2100, 0x12), 0x12);
    EXPECT_EQ(world.plan.CellAfterErase(0x2101, 0x12), 0xFF);
    EXPECT_EQ(world.plan.CellAfterProgramming(0x2100, 0x12, 0x02), 0x02);
}

TEST(FaultPlanEdges, AreStruckByLineAndDirection) {
    PlannedWorld world{"edge:msp_tck_gpio#2=lost", "rise:rxd_nmi_gpio=lost",
                       "fall:reset_gpio=lost"};
    EXPECT_TRUE(world.plan.EdgeArrives("msp_tck_gpio", false));
    EXPECT_FALSE(world.plan.EdgeArrives("msp_tck_gpio", true));
    EXPECT_TRUE(world.plan.EdgeArrives("rxd_nmi_gpio", false));
    EXPECT_FALSE(world.plan.EdgeArrives("rxd_nmi_gpio", true));
    EXPECT_TRUE(world.plan.EdgeArrives("reset_gpio", true));
    EXPECT_FALSE(world.plan.EdgeArrives("reset_gpio", false));
}

TEST(FaultPlanTimes, PowerGoesAndComesAtItsInstants) {
    PlannedWorld world{"power@2s=off", "power@3s=on", "power@4s=off 100ms"};
    world.clock.Pass(1999ms);
    EXPECT_EQ(world.Said(), "");
    world.clock.Pass(1ms);
    EXPECT_EQ(world.Said(), "fault power@2s=off; power off");
    world.clock.Pass(1s);
    EXPECT_EQ(world.Said(), "fault power@3s=on; power on");
    world.clock.Pass(2s);
    EXPECT_EQ(world.Said(), "fault power@4s=off 100ms; power off; power on");
}

TEST(FaultPlanTimes, TheProgramIsKilledAtItsInstant) {
    PlannedWorld world{"program@1.5s=kill"};
    world.clock.Pass(2s);
    EXPECT_EQ(world.Said(), "fault program@1.5s=kill; killed");
}

TEST(FaultPlanTimes, NothingComesAfterTheEndOfTheProgram) {
    PlannedWorld world{"power@2s=off", "call=power off 1s"};
    EXPECT_EQ(world.Calls(CallKind::kRead, "/dev/ttyS1", 1), ".");
    static_cast<void>(world.Said());
    world.plan.End();
    world.clock.Pass(10s);
    EXPECT_EQ(world.Said(), "");
}

TEST(FaultPlanTimes, AnInstantBeforeTheStartOfTheProgramIsOver) {
    VirtualClock clock(Instant{3s});
    FaultPlan plan(Rules({"program@2.5s=kill"}), {});
    Probe probe;
    class Control : public FaultControl {
    public:
        void SetPower(bool /*on*/) override {}
        void Kill() override { ++kills; }
        int kills = 0;
    } control;
    plan.Begin(clock, probe, control);
    clock.Pass(1s);
    EXPECT_EQ(control.kills, 0);
}

TEST(FaultPlanAlone, DecidesWithoutAClockOrAProbe) {
    FaultPlan plan(Rules({"read#2=eio", "call#3=power off", "power@1s=off", "char=power off"}), {});
    EXPECT_EQ(plan.FaultOfCall(CallKind::kRead, "", 1).kind, CallFault::Kind::kNone);
    EXPECT_EQ(plan.FaultOfCall(CallKind::kRead, "", 1).kind, CallFault::Kind::kErrno);
    EXPECT_EQ(plan.FaultOfCall(CallKind::kRead, "", 1).kind, CallFault::Kind::kNone);
    EXPECT_EQ(plan.FaultOfCharacter(true, 0x80).kind, CharacterFault::Kind::kNone);
    plan.End();
}

TEST(FaultTable, NamesTheCommandsByTheCodesOfTheLoader) {
    const std::array<std::uint8_t, 11> codes{0x80, 0x10, 0x12, 0x14, 0x16, 0x18,
                                             0x1A, 0x1C, 0x1E, 0x20, 0x21};
    ASSERT_EQ(AllAnswerNames().size(), codes.size());
    for (std::size_t i = 0; i < codes.size(); ++i) {
        EXPECT_EQ(AllAnswerNames()[i].command, codes.at(i)) << AllAnswerNames()[i].word;
    }
}

TEST(FaultTable, NamesTheLinesAsTheSignalsDo) {
    std::vector<std::string_view> lines;
    for (const SignalInfo& info : AllSignals()) {
        if (info.group == "line") {
            lines.push_back(info.name);
        }
    }
    EXPECT_EQ(lines, std::vector<std::string_view>(AllFaultLines().begin(), AllFaultLines().end()));
}

TEST(FaultTable, StandsInTheOrderOfItsEnumerations) {
    for (std::size_t i = 0; i < AllFaultPlaces().size(); ++i) {
        EXPECT_EQ(static_cast<std::size_t>(AllFaultPlaces()[i].place), i);
    }
    for (std::size_t i = 0; i < AllFaultActions().size(); ++i) {
        EXPECT_EQ(static_cast<std::size_t>(AllFaultActions()[i].action), i);
    }
    EXPECT_EQ(InfoOf(PlaceOf(CallKind::kOpen)).word, "open");
    EXPECT_EQ(InfoOf(PlaceOf(CallKind::kTcsetattr)).word, "tcsetattr");
    EXPECT_EQ(InfoOf(PlaceOf(CallKind::kPause)).word, "pause");
}

}  // namespace
}  // namespace vboard
