// SPDX-License-Identifier: MIT
#include "vboard/faults/FaultPlanParser.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <limits>
#include <ostream>
#include <utility>

#include "vboard/faults/FaultTable.h"

namespace vboard {
namespace {

using namespace std::chrono_literals;

using Range = std::pair<std::uint64_t, std::uint64_t>;
constexpr std::uint64_t kNoEnd = std::numeric_limits<std::uint64_t>::max();

FaultRule Parsed(std::string_view text) {
    FaultRule rule;
    std::string problem;
    EXPECT_TRUE(ParseFaultRule(text, rule, problem)) << problem;
    return rule;
}

std::string ProblemOf(std::string_view text) {
    FaultRule rule;
    std::string problem;
    EXPECT_FALSE(ParseFaultRule(text, rule, problem)) << text;
    EXPECT_EQ(rule.text, "") << "a refused rule changes nothing";
    return problem;
}

TEST(FaultRuleText, WithoutMoreStrikesTheFirstEventThatFits) {
    const FaultRule rule = Parsed("read=eio");
    EXPECT_EQ(rule.place, FaultPlace::kRead);
    EXPECT_EQ(rule.target, "");
    EXPECT_EQ(rule.from, Instant::min());
    EXPECT_EQ(rule.occurrences.first, 1U);
    EXPECT_EQ(rule.occurrences.last, 1U);
    EXPECT_EQ(rule.outcome.action, FaultAction::kErrno);
    EXPECT_EQ(rule.outcome.error, EIO);
}

TEST(FaultRuleText, KeepsTheWordsItWasOrderedWith) {
    EXPECT_EQ(Parsed("  write:port#2 =  short 1 ").text, "write:port#2 =  short 1");
}

TEST(FaultRuleText, TakesAPathWithEverythingUpToTheNextMark) {
    EXPECT_EQ(Parsed("fopen:/sys/class/gpio/gpio91/direction#2=enoent").target,
              "/sys/class/gpio/gpio91/direction");
    EXPECT_EQ(Parsed("flush:gpio86/value@1s=eio").target, "gpio86/value");
    EXPECT_EQ(Parsed("open:/dev/tty*=eio").target, "/dev/tty*");
    EXPECT_EQ(Parsed("open:*=eio").target, "");
}

TEST(FaultRuleText, CountsOccurrencesInEveryForm) {
    const auto occurrences = [](std::string_view text) {
        const Occurrences wanted = Parsed(text).occurrences;
        return Range(wanted.first, wanted.last);
    };
    EXPECT_EQ(occurrences("read#7=eio"), Range(7, 7));
    EXPECT_EQ(occurrences("read#2..19=eio"), Range(2, 19));
    EXPECT_EQ(occurrences("read#3..=eio"), Range(3, kNoEnd));
    EXPECT_EQ(occurrences("read#*=eio"), Range(1, kNoEnd));
    for (const PlaceInfo& place : AllFaultPlaces()) {
        const std::string example(place.example);
        const std::string_view head = std::string_view(example).substr(0, example.find('#'));
        const std::string action = example.substr(example.find('='));
        const bool sticks = place.place == FaultPlace::kCell;
        EXPECT_EQ(occurrences(std::string(head.substr(0, head.find('='))) + action),
                  Range(1, sticks ? kNoEnd : 1))
            << example;
    }
    EXPECT_EQ(occurrences("cell:0x2100#1=stuck-erased"), Range(1, 1));
}

TEST(FaultRuleText, CountsBytesInTens) {
    EXPECT_EQ(Parsed("read=short 19").outcome.count, 19U);
}

TEST(FaultRuleText, TakesRowsOfUpTo4096Bytes) {
    std::string row;
    for (int count = 0; count < 4096; ++count) {
        row += " 90";
    }
    EXPECT_EQ(Parsed("read=bytes" + row).outcome.bytes, std::vector<std::uint8_t>(4096, 0x90));
    EXPECT_NE(ProblemOf("read=bytes 90" + row).find("is not a row of bytes"), std::string::npos);
}

TEST(FaultRuleText, ReadsTimesExactlyInEveryUnit) {
    const auto from = [](std::string_view text) {
        return Parsed(std::string("read@") + std::string(text) + "=eio").from.time_since_epoch();
    };
    EXPECT_EQ(from("0s"), 0ns);
    EXPECT_EQ(from("2.5s"), 2500ms);
    EXPECT_EQ(from("0.1s"), 100ms);
    EXPECT_EQ(from("300ms"), 300ms);
    EXPECT_EQ(from("20.25us"), 20250ns);
    EXPECT_EQ(from("7ns"), 7ns);
    EXPECT_EQ(from("922337203s"), 922337203s);
}

TEST(FaultRuleText, TakesATimeAndAnOccurrenceTogether) {
    const FaultRule rule = Parsed("char:to-chip@1.5s#3=parity");
    EXPECT_EQ(rule.target, "to-chip");
    EXPECT_EQ(rule.from, Instant{1500ms});
    EXPECT_EQ(rule.occurrences.first, 3U);
}

TEST(FaultRuleText, KnowsErrnosByEveryNameInEitherCase) {
    EXPECT_EQ(Parsed("read=enodev").outcome.error, ENODEV);
    EXPECT_EQ(Parsed("read=ENOSPC").outcome.error, ENOSPC);
    EXPECT_EQ(Parsed("read=ewouldblock").outcome.error, EAGAIN);
    EXPECT_EQ(Parsed("read=edeadlock").outcome.error, EDEADLK);
    EXPECT_EQ(Parsed("read=ENOTSUP").outcome.error, EOPNOTSUPP);
    EXPECT_EQ(Parsed("read=ehwpoison").outcome.error, EHWPOISON);
}

TEST(FaultRuleText, ReadsBytesWithAndWithoutTheirPrefix) {
    using Bytes = std::vector<std::uint8_t>;
    EXPECT_EQ(Parsed("read=bytes 90").outcome.bytes, (Bytes{0x90}));
    EXPECT_EQ(Parsed("answer:sync=preceded 0x41  42 f").outcome.bytes, (Bytes{0x41, 0x42, 0x0F}));
    EXPECT_EQ(Parsed("char=change 0xA0").outcome.bytes, (Bytes{0xA0}));
}

TEST(FaultRuleText, NamesEveryCommandOfTheLoader) {
    for (const AnswerName& name : AllAnswerNames()) {
        const FaultRule rule = Parsed(std::string("answer:") + std::string(name.word) + "=nak");
        EXPECT_EQ(rule.command, name.command) << name.word;
        EXPECT_EQ(rule.target, name.word);
    }
    EXPECT_EQ(Parsed("answer:*=nak").command, std::nullopt);
    EXPECT_EQ(Parsed("answer=nak").command, std::nullopt);
}

TEST(FaultRuleText, TakesOneAddressOrARangeOfThem) {
    EXPECT_EQ(Parsed("cell:0x2100=stuck-erased").lastAddress, 0x2100);
    const FaultRule range = Parsed("cell:0x2100-0xffff=stuck-erased");
    EXPECT_EQ(range.firstAddress, 0x2100);
    EXPECT_EQ(range.lastAddress, 0xFFFF);
    const FaultRule any = Parsed("cell=stuck-erased");
    EXPECT_EQ(any.firstAddress, 0x0000);
    EXPECT_EQ(any.lastAddress, 0xFFFF);
}

TEST(FaultRuleText, GivesPowerBackAfterATimeOnlyWhereOneIsNamed) {
    EXPECT_EQ(Parsed("power@1s=off").outcome.time, 0ns);
    EXPECT_EQ(Parsed("power@1s=off 50ms").outcome.time, 50ms);
    EXPECT_EQ(Parsed("call#3=power off 2s").outcome.time, 2s);
    EXPECT_EQ(Parsed("call#3=power off").outcome.action, FaultAction::kPowerOff);
    EXPECT_EQ(Parsed("call#3=power on").outcome.action, FaultAction::kPowerOn);
}

TEST(FaultRuleText, EveryExampleOfTheTableIsARuleForItsRow) {
    for (const PlaceInfo& place : AllFaultPlaces()) {
        EXPECT_EQ(Parsed(place.example).place, place.place) << place.example;
    }
    for (const ActionInfo& action : AllFaultActions()) {
        EXPECT_EQ(Parsed(action.example).outcome.action, action.action) << action.example;
    }
}

TEST(FaultRuleText, EveryOutcomeThatAPlaceTakesIsReadThereAndNoOther) {
    for (const PlaceInfo& place : AllFaultPlaces()) {
        for (const ActionInfo& action : AllFaultActions()) {
            const std::string_view example = action.example;
            const std::string text = std::string(place.word) + (place.takesTimeOnly ? "@1s" : "") +
                                     std::string(example.substr(example.find('=')));
            FaultRule rule;
            std::string problem;
            EXPECT_EQ(ParseFaultRule(text, rule, problem), place.Takes(action.action)) << text;
        }
    }
}

TEST(FaultRuleText, AnOutcomeWrittenDownIsReadBackAsTheSame) {
    for (const ActionInfo& action : AllFaultActions()) {
        const FaultRule rule = Parsed(action.example);
        const std::string_view example = action.example;
        const std::string again =
            std::string(example.substr(0, example.find('=') + 1)) + OutcomeText(rule.outcome);
        EXPECT_EQ(OutcomeText(Parsed(again).outcome), OutcomeText(rule.outcome)) << again;
        EXPECT_EQ(Parsed(again).outcome.time, rule.outcome.time) << again;
    }
}

TEST(WrongFaultRule, NamesTheRuleTheWordAndWhatIsAccepted) {
    EXPECT_EQ(
        ProblemOf("raed:port=eio"),
        "fault rule 'raed:port=eio': 'raed' is no place: take call, open, fopen, read, write, "
        "flush, close, ioctl, select, tcsetattr, pause, char, answer, cell, edge, rise, fall, "
        "power, program");
    EXPECT_EQ(
        ProblemOf("read:prot=eio"),
        "fault rule 'read:prot=eio': 'prot' is no device: take port, comm, export, unexport, "
        "gpioN/value, gpioN/direction, a path, or one of these cut short with a * at its end");
    EXPECT_EQ(ProblemOf("read:port=eoi"),
              "fault rule 'read:port=eoi': 'eoi' is no outcome here: take ERRNO, short N, bytes "
              "HH..., silence, kill, power off [TIME], power on");
    EXPECT_EQ(ProblemOf("answer:wirte=nak"),
              "fault rule 'answer:wirte=nak': 'wirte' is no command of the loader: take sync, "
              "password, write, read, erase, mass-erase, load-pc, erase-check, version, "
              "change-speed, memory-offset");
    EXPECT_EQ(ProblemOf("edge:tck=lost"),
              "fault rule 'edge:tck=lost': 'tck' is no line: take reset_gpio, rxd_nmi_gpio, "
              "msp_tck_gpio");
    EXPECT_EQ(ProblemOf("char:up=lost"),
              "fault rule 'char:up=lost': 'up' is no direction: take to-chip, to-host");
    EXPECT_EQ(ProblemOf("cell:2100=stuck-erased"),
              "fault rule 'cell:2100=stuck-erased': '2100' is no address: take 0x2100, or a range "
              "0x2100-0x21ff");
    EXPECT_EQ(ProblemOf("read:port"),
              "fault rule 'read:port': 'read:port' has no '=': take "
              "PLACE[:TARGET][@TIME][#N]=OUTCOME");
}

struct Refused {
    const char* rule;
    const char* complaint;

    friend std::ostream& operator<<(std::ostream& out, const Refused& refused) {
        return out << refused.rule;
    }
};
class WrongFaultRuleOfAKind : public testing::TestWithParam<Refused> {};

TEST_P(WrongFaultRuleOfAKind, IsRefused) {
    EXPECT_NE(ProblemOf(GetParam().rule).find(GetParam().complaint), std::string::npos)
        << ProblemOf(GetParam().rule);
}

TEST(FaultRules, ThatNameNoTimeAreToldHowTimesAreWritten) {
    const std::string problem = ProblemOf("read@5=eio");
    EXPECT_TRUE(
        problem.ends_with("'5' is no time: take a number with a unit: 300ms, 1.5s, 20us, 100ns"))
        << problem;
}

INSTANTIATE_TEST_SUITE_P(
    OneEach, WrongFaultRuleOfAKind,
    testing::Values(
        Refused{"", "has no '='"}, Refused{"=", "'' is no place"},
        Refused{"read=", "'' is no outcome"}, Refused{"read:=eio", "'' is no device"},
        Refused{"read#=eio", "'' is no occurrence"}, Refused{"read#0=eio", "'0' is no occurrence"},
        Refused{"read#-1=eio", "'-1' is no occurrence"},
        Refused{"read#3..2=eio", "'3..2' is no occurrence"},
        Refused{"read#1..x=eio", "'1..x' is no occurrence"},
        Refused{"read#3@1s=eio", "'3@1s' is no occurrence"},
        Refused{"read#99999999999999999999=eio", "is no occurrence"},
        Refused{"read@=eio", "'' is no time"}, Refused{"read@5=eio", "'5' is no time"},
        Refused{"read@1.2.3s=eio", "'1.2.3s' is no time"},
        Refused{"read@.5s=eio", "'.5s' is no time"}, Refused{"read@5m=eio", "'5m' is no time"},
        Refused{"read@99999999999s=eio", "is no time"},
        Refused{"read=short", "'' is no count: take short N"},
        Refused{"read=short -1", "'-1' is no count"}, Refused{"read=short x", "'x' is no count"},
        Refused{"read=bytes", "'' is not a row of bytes"},
        Refused{"read=bytes 100", "'100' is not a row of bytes"},
        Refused{"read=bytes 90 zz", "'90 zz' is not a row of bytes"},
        Refused{"char=change 90 91", "'90 91' is not one byte"},
        Refused{"char=late", "'' is no time"}, Refused{"char=late 3", "'3' is no time"},
        Refused{"char=lost 3", "'3' is too much: take 'lost' without more"},
        Refused{"answer:write=eio", "'eio' is no outcome here"},
        Refused{"pause:port=kill", "'port' is too much: take pause without a target"},
        Refused{"pause=eio", "'eio' is no outcome here: take silence, kill"},
        Refused{"power=off", "'power' needs a time: take power@2.5s"},
        Refused{"power@1s#2=off", "'2' is too much: take power@TIME without a '#'"},
        Refused{"power:*@1s=off", "'*' is too much"},
        Refused{"power@1s=kill", "take off [TIME], on"},
        Refused{"cell:0x10000=stuck-erased", "is no address"},
        Refused{"cell:0x20-0x10=stuck-erased", "is no address"},
        Refused{"open:/dev/x\ny=eio", "is not one line of text"},
        Refused{"open:/dev/x\x1fy=eio", "is not one line of text"},
        Refused{"read#a=eio", "'a' is no occurrence"},
        Refused{"read#1..a=eio",
                "'1..a' is no occurrence: take N, N..M, N.. or *, counted from 1, behind a @TIME"},
        Refused{"power@1s=off 0s", "'0s' is no time to be without: take a time above 0, or none"},
        Refused{"read=short a", "'a' is no count"}));

TEST(FaultPlanText, PassesOverEmptyLinesAndComments) {
    std::vector<FaultRule> rules;
    std::string problem;
    ASSERT_TRUE(ParseFaultPlan("# nothing yet\n\n  read:port#3=eio  \r\n\t# more\nedge=lost", rules,
                               problem))
        << problem;
    ASSERT_EQ(rules.size(), 2U);
    EXPECT_EQ(rules[0].text, "read:port#3=eio");
    EXPECT_EQ(rules[1].text, "edge=lost");
}

TEST(FaultPlanText, NamesTheLineOfAWrongRule) {
    std::vector<FaultRule> rules;
    std::string problem;
    ASSERT_FALSE(ParseFaultPlan("\n# first\nread=eio\nedge=found\n", rules, problem));
    EXPECT_EQ(problem, "line 4: fault rule 'edge=found': 'found' is no outcome here: take lost");
}

}  // namespace
}  // namespace vboard
