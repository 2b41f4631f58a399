// SPDX-License-Identifier: MIT
#include "vboard/faults/FaultPlanParser.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>

#include "vboard/text/Format.h"
#include "vboard/text/Numbers.h"

namespace vboard {
namespace {

constexpr int kLargestErrno = 255;
constexpr std::size_t kMostBytesOfARule = 4096;
/// Virtual times up to 292 years fit into the clock; a tenth of that leaves room to add to.
constexpr std::int64_t kLargestTimeNs = std::numeric_limits<std::int64_t>::max() / 10;

constexpr std::string_view kForm = "PLACE[:TARGET][@TIME][#N]=OUTCOME";
constexpr std::string_view kTimeForm = "a number with a unit: 300ms, 1.5s, 20us, 100ns";
constexpr std::string_view kByteForm = "bytes in hexadecimal: 90 or 0x90";

/// What is wrong with a part of the rule.
struct Wrong {
    std::string_view word;
    std::string_view what;  ///< "is no place".
    std::string accepted;
};
using Check = std::optional<Wrong>;

std::string_view Trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool ParseHex(std::string_view text, unsigned& number) {
    static_cast<void>(TakeHexPrefix(text));
    return ParseWhole(text, 16, number);
}

/// The fraction is read digit by digit, so that 0.1 s is exactly 100 ms.
bool ParseTime(std::string_view text, Duration& time) {
    constexpr std::array<std::pair<std::string_view, std::int64_t>, 4> kUnits{
        {{"ns", 1}, {"us", 1'000}, {"ms", 1'000'000}, {"s", 1'000'000'000}}};
    const std::size_t unitAt = text.find_first_not_of("0123456789.");
    if (unitAt == std::string_view::npos) {
        return false;
    }
    const auto* unit = std::find_if(kUnits.begin(), kUnits.end(), [&](const auto& known) {
        return known.first == text.substr(unitAt);
    });
    const std::string_view number = text.substr(0, unitAt);
    const std::size_t dot = std::min(number.find('.'), number.size());
    std::int64_t whole = 0;
    if (unit == kUnits.end() || !ParseWhole(number.substr(0, dot), 10, whole) ||
        whole > kLargestTimeNs / unit->second) {
        return false;
    }
    std::int64_t ns = whole * unit->second;
    std::int64_t place = unit->second;
    for (const char digit : number.substr(std::min(dot + 1, number.size()))) {
        place /= 10;
        if (digit == '.') {
            return false;
        }
        ns += (digit - '0') * place;
    }
    time = Duration{ns};
    return true;
}

std::string Upper(std::string_view text) {
    std::string upper(text);
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
    return upper;
}

/// 0 when there is no such name.
int ErrnoOf(std::string_view text) {
    constexpr std::array<std::pair<std::string_view, int>, 3> kOtherNames{
        {{"EWOULDBLOCK", EAGAIN}, {"ENOTSUP", EOPNOTSUPP}, {"EDEADLOCK", EDEADLK}}};
    const std::string upper = Upper(text);
    for (int error = 1; error <= kLargestErrno; ++error) {
        const char* name = strerrorname_np(error);
        if (name != nullptr && upper == name) {
            return error;
        }
    }
    const auto* other = std::find_if(kOtherNames.begin(), kOtherNames.end(),
                                     [&](const auto& known) { return known.first == upper; });
    return other == kOtherNames.end() ? 0 : other->second;
}

template <class Rows, class WordOf>
std::string Words(const Rows& rows, WordOf wordOf) {
    std::string words;
    for (const auto& row : rows) {
        words += Formatted("{}{}", words.empty() ? "" : ", ", wordOf(row));
    }
    return words;
}

/// The parts of a rule as they stand in its text; views into it.
struct Parts {
    std::string_view place;
    std::optional<std::string_view> target;
    std::optional<std::string_view> time;
    std::optional<std::string_view> occurrences;
    std::string_view outcome;
};

/// Takes what stands behind `mark`, when that comes next, up to the next of `ends`.
std::optional<std::string_view> TakeBehind(std::string_view& text, char mark,
                                           std::string_view ends) {
    if (text.empty() || text.front() != mark) {
        return std::nullopt;
    }
    text.remove_prefix(1);
    const std::string_view taken = text.substr(0, text.find_first_of(ends));
    text.remove_prefix(taken.size());
    return taken;
}

Check Split(std::string_view text, Parts& parts) {
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos) {
        return Wrong{text, "has no '='", std::string(kForm)};
    }
    if (std::any_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x20; })) {
        return Wrong{text, "is not one line of text", std::string(kForm)};
    }
    std::string_view rest = Trimmed(text.substr(0, equals));
    parts.outcome = Trimmed(text.substr(equals + 1));
    parts.place = rest.substr(0, rest.find_first_of(":@#"));
    rest.remove_prefix(parts.place.size());
    parts.target = TakeBehind(rest, ':', "@#");
    parts.time = TakeBehind(rest, '@', "#");
    parts.occurrences = TakeBehind(rest, '#', "");
    return std::nullopt;
}

Check FindPlace(std::string_view word, const PlaceInfo*& place) {
    const auto places = AllFaultPlaces();
    const auto found = std::find_if(places.begin(), places.end(),
                                    [word](const PlaceInfo& row) { return row.word == word; });
    if (found == places.end()) {
        return Wrong{word, "is no place",
                     Words(places, [](const PlaceInfo& row) { return row.word; })};
    }
    place = &*found;
    return std::nullopt;
}

Check TakeDevice(std::string_view word, FaultRule& rule) {
    constexpr std::array<std::string_view, 4> kDevices{"port", "comm", "export", "unexport"};
    const bool known = word.starts_with('/') || word.starts_with("gpio") ||
                       std::find(kDevices.begin(), kDevices.end(), word) != kDevices.end();
    if (!known) {
        return Wrong{word, "is no device",
                     "port, comm, export, unexport, gpioN/value, gpioN/direction, a path, or one "
                     "of these cut short with a * at its end"};
    }
    rule.target = word;
    return std::nullopt;
}

Check TakeDirection(std::string_view word, FaultRule& rule) {
    if (word != "to-chip" && word != "to-host") {
        return Wrong{word, "is no direction", "to-chip, to-host"};
    }
    rule.target = word;
    return std::nullopt;
}

Check TakeCommand(std::string_view word, FaultRule& rule) {
    const auto names = AllAnswerNames();
    const auto found = std::find_if(names.begin(), names.end(),
                                    [word](const AnswerName& row) { return row.word == word; });
    if (found == names.end()) {
        return Wrong{word, "is no command of the loader",
                     Words(names, [](const AnswerName& row) { return row.word; })};
    }
    rule.target = word;
    rule.command = found->command;
    return std::nullopt;
}

bool ParseAddress(std::string_view text, std::uint16_t& address) {
    unsigned number = 0;
    if (!text.starts_with("0x") || !ParseHex(text, number) || number > 0xFFFF) {
        return false;
    }
    address = static_cast<std::uint16_t>(number);
    return true;
}

Check TakeAddresses(std::string_view word, FaultRule& rule) {
    const std::size_t dash = word.find('-');
    const std::string_view last = dash == std::string_view::npos ? word : word.substr(dash + 1);
    if (!ParseAddress(word.substr(0, dash), rule.firstAddress) ||
        !ParseAddress(last, rule.lastAddress) || rule.lastAddress < rule.firstAddress) {
        return Wrong{word, "is no address", "0x2100, or a range 0x2100-0x21ff"};
    }
    return std::nullopt;
}

Check TakeLine(std::string_view word, FaultRule& rule) {
    const auto lines = AllFaultLines();
    if (std::find(lines.begin(), lines.end(), word) == lines.end()) {
        return Wrong{word, "is no line", Words(lines, [](std::string_view line) { return line; })};
    }
    rule.target = word;
    return std::nullopt;
}

Check TakeTarget(const PlaceInfo& place, std::optional<std::string_view> word, FaultRule& rule) {
    if (!word || (*word == "*" && place.target != TargetKind::kNone)) {
        return std::nullopt;
    }
    switch (place.target) {
        case TargetKind::kDevice:
            return TakeDevice(*word, rule);
        case TargetKind::kDirection:
            return TakeDirection(*word, rule);
        case TargetKind::kCommand:
            return TakeCommand(*word, rule);
        case TargetKind::kAddress:
            return TakeAddresses(*word, rule);
        case TargetKind::kLine:
            return TakeLine(*word, rule);
        case TargetKind::kNone:
            break;
    }
    return Wrong{*word, "is too much", Formatted("{} without a target", place.word)};
}

Check TakeTime(const PlaceInfo& place, std::optional<std::string_view> word, FaultRule& rule) {
    if (!word) {
        return place.takesTimeOnly
                   ? Check{Wrong{place.word, "needs a time", Formatted("{}@2.5s", place.word)}}
                   : std::nullopt;
    }
    Duration time{0};
    if (!ParseTime(*word, time)) {
        return Wrong{*word, "is no time", std::string(kTimeForm)};
    }
    rule.from = Instant{time};
    return std::nullopt;
}

Check TakeOccurrences(const PlaceInfo& place, std::optional<std::string_view> word,
                      FaultRule& rule) {
    constexpr std::uint64_t kNoEnd = std::numeric_limits<std::uint64_t>::max();
    if (!word) {
        rule.occurrences = {1, place.everyTime ? kNoEnd : 1};
        return std::nullopt;
    }
    if (place.takesTimeOnly) {
        return Wrong{*word, "is too much", Formatted("{}@TIME without a '#'", place.word)};
    }
    if (*word == "*") {
        rule.occurrences = {1, kNoEnd};
        return std::nullopt;
    }
    const std::size_t dots = word->find("..");
    Occurrences& wanted = rule.occurrences;
    bool right = ParseWhole(word->substr(0, dots), 10, wanted.first) && wanted.first >= 1;
    wanted.last = wanted.first;
    if (dots != std::string_view::npos) {
        const std::string_view last = word->substr(dots + 2);
        wanted.last = kNoEnd;
        right = right && (last.empty() || ParseWhole(last, 10, wanted.last));
    }
    if (!right || wanted.last < wanted.first) {
        return Wrong{*word, "is no occurrence",
                     "N, N..M, N.. or *, counted from 1, behind a @TIME"};
    }
    return std::nullopt;
}

bool ParseBytes(std::string_view text, std::vector<std::uint8_t>& bytes) {
    bytes.clear();
    for (text = Trimmed(text); !text.empty(); text = Trimmed(text)) {
        const std::string_view word = text.substr(0, text.find_first_of(" \t"));
        unsigned value = 0;
        if (!ParseHex(word, value) || value > 0xFF || bytes.size() == kMostBytesOfARule) {
            return false;
        }
        bytes.push_back(static_cast<std::uint8_t>(value));
        text.remove_prefix(word.size());
    }
    return !bytes.empty();
}

Check TakeArgument(const ActionInfo& action, std::string_view text, FaultOutcome& outcome) {
    switch (action.argument) {
        case ArgumentKind::kNone:
            return text.empty()
                       ? Check{}
                       : Wrong{text, "is too much", Formatted("'{}' without more", action.word)};
        case ArgumentKind::kCount:
            return ParseWhole(text, 10, outcome.count) ? Check{}
                                                       : Wrong{text, "is no count", FormOf(action)};
        case ArgumentKind::kByte:
            return ParseBytes(text, outcome.bytes) && outcome.bytes.size() == 1
                       ? Check{}
                       : Wrong{text, "is not one byte", std::string(kByteForm)};
        case ArgumentKind::kBytes:
            return ParseBytes(text, outcome.bytes)
                       ? Check{}
                       : Wrong{text, "is not a row of bytes", std::string(kByteForm)};
        case ArgumentKind::kTimeOrNothing:
            if (text.empty()) {
                return std::nullopt;
            }
            if (ParseTime(text, outcome.time) && outcome.time == Duration::zero()) {
                return Wrong{text, "is no time to be without", "a time above 0, or none"};
            }
            [[fallthrough]];
        case ArgumentKind::kTime:
            return ParseTime(text, outcome.time)
                       ? Check{}
                       : Wrong{text, "is no time", std::string(kTimeForm)};
    }
    return std::nullopt;
}

Check TakeOutcome(const PlaceInfo& place, std::string_view text, FaultOutcome& outcome) {
    for (const ActionInfo& action : AllFaultActions()) {
        const bool named = text.starts_with(action.word) &&
                           (text.size() == action.word.size() || text[action.word.size()] == ' ');
        if (place.Takes(action.action) && named && action.action != FaultAction::kErrno) {
            outcome.action = action.action;
            return TakeArgument(action, Trimmed(text.substr(action.word.size())), outcome);
        }
    }
    if (place.Takes(FaultAction::kErrno)) {
        outcome.action = FaultAction::kErrno;
        outcome.error = ErrnoOf(text);
        if (outcome.error != 0) {
            return std::nullopt;
        }
    }
    return Wrong{text, "is no outcome here", FormsOf(place)};
}

Check Parse(std::string_view text, FaultRule& rule) {
    Parts parts;
    const PlaceInfo* place = nullptr;
    Check wrong = Split(text, parts);
    wrong = wrong ? wrong : FindPlace(parts.place, place);
    if (wrong) {
        return wrong;
    }
    rule.place = place->place;
    wrong = TakeTarget(*place, parts.target, rule);
    wrong = wrong ? wrong : TakeTime(*place, parts.time, rule);
    wrong = wrong ? wrong : TakeOccurrences(*place, parts.occurrences, rule);
    return wrong ? wrong : TakeOutcome(*place, parts.outcome, rule.outcome);
}

}  // namespace

bool ParseFaultRule(std::string_view text, FaultRule& rule, std::string& problem) {
    FaultRule parsed;
    parsed.text = Trimmed(text);
    if (const Check wrong = Parse(parsed.text, parsed)) {
        problem = Formatted("fault rule '{}': '{}' {}: take {}", parsed.text, wrong->word,
                            wrong->what, wrong->accepted);
        return false;
    }
    rule = std::move(parsed);
    return true;
}

bool ParseFaultPlan(std::string_view text, std::vector<FaultRule>& rules, std::string& problem) {
    for (std::size_t number = 1; !text.empty(); ++number) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = Trimmed(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.empty() || line.front() == '#') {
            continue;
        }
        FaultRule rule;
        if (!ParseFaultRule(line, rule, problem)) {
            problem = Formatted("line {}: {}", number, problem);
            return false;
        }
        rules.push_back(std::move(rule));
    }
    return true;
}

}  // namespace vboard
