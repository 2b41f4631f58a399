// SPDX-License-Identifier: MIT

#include <array>
#include <cstddef>

#include "vboard/chip/ChipModel.h"

#include "vboard/text/Format.h"
#include "vboard/text/Numbers.h"

namespace vboard {
namespace {

using Setter = bool (*)(ChipOptions&, std::string_view);

// Decimal, or hexadecimal after 0x; nothing else, no sign, no blank.
bool ParseNumber(std::string_view text, std::uint32_t least, std::uint32_t most,
                 std::uint32_t& number) {
    const int base = TakeHexPrefix(text) ? 16 : 10;
    std::uint32_t parsed = 0;
    if (!ParseWhole(text, base, parsed) || parsed < least || parsed > most) {
        return false;
    }
    number = parsed;
    return true;
}

constexpr std::uint32_t kMostMicroseconds = 10'000'000;

template <Duration ChipOptions::*Member, std::uint32_t Least = 0>
bool SetMicroseconds(ChipOptions& options, std::string_view text) {
    std::uint32_t number = 0;
    const bool zero = ParseNumber(text, 0, 0, number);
    if (!zero && !ParseNumber(text, Least, kMostMicroseconds, number)) {
        return false;
    }
    options.*Member = std::chrono::microseconds{number};
    return true;
}

template <bool ChipOptions::*Member>
bool SetSwitch(ChipOptions& options, std::string_view text) {
    if (text != "yes" && text != "no") {
        return false;
    }
    options.*Member = text == "yes";
    return true;
}

bool SetFlashClock(ChipOptions& options, std::string_view text) {
    return ParseNumber(text, 257'000, 476'000, options.flashClockHz);
}

bool SetVersionAddress(ChipOptions& options, std::string_view text) {
    std::uint32_t address = 0;
    if (!ParseNumber(text, 0, 0xFFFE, address)) {
        return false;
    }
    options.versionAddress = static_cast<std::uint16_t>(address);
    return true;
}

struct WrongPasswordName {
    std::string_view name;
    WrongPassword value;
};

constexpr std::array<WrongPasswordName, 3> kWrongPasswordNames{{
    {"ack-locked", WrongPassword::kAckLocked},
    {"nak", WrongPassword::kNak},
    {"erase", WrongPassword::kErase},
}};

bool SetCumulativeErase(ChipOptions& options, std::string_view text) {
    if (text != "part" && text != "no" && text != "yes") {
        return false;
    }
    options.cumulativeErase = text == "part" ? std::nullopt : std::optional(text == "yes");
    return true;
}

bool SetWrongPassword(ChipOptions& options, std::string_view text) {
    if (text == "part") {
        options.wrongPassword.reset();
        return true;
    }
    for (const auto& [name, value] : kWrongPasswordNames) {
        if (name == text) {
            options.wrongPassword = value;
            return true;
        }
    }
    return false;
}

constexpr std::size_t kOptionCount = 10;

constexpr std::array<ChipOptionInfo, kOptionCount> kInfos{{
    {"flash-clock-hz", "257000..476000", "400000",
     "the flash clock, which paces erase and programming", "data sheets: 257 kHz to 476 kHz"},
    {"cumulative-erase", "part, no, yes", "part",
     "cells need 200 ms of erase time in all and lack margin until then: as the part's row says, "
     "no or yes",
     "data sheets of older parts; what a shorter erase leaves is assumed"},
    {"minimum-pulse-us", "0..10000000", "0",
     "levels on RST/NMI and TCK shorter than this are not seen, others this much later",
     "none published; to try boards with slow or filtered lines"},
    {"application-start-us", "0..10000000", "1000",
     "from reset to the first answer the application could give", "assumed"},
    {"application-answer-us", "0..10000000", "1000",
     "from a request on the second link to its answer", "assumed"},
    {"loader-answer-us", "0..10000000", "0", "extra time before each answer of the loader",
     "assumed"},
    {"version-address", "0x0000..0xFFFE", "0x2100",
     "where the firmware keeps its version word, low byte first", "the firmware's convention"},
    {"silent", "no, yes", "no", "the chip never says anything", "to try a dead chip"},
    {"chatter-period-us", "0, 100..10000000", "0",
     "the application sends the message b0 unasked this often; 0 is never", "assumed"},
    {"wrong-password", "part, ack-locked, nak, erase", "part",
     "what a wrong password does: as the part's row says, answered 0x90 and still locked, answered "
     "0xA0, or the flash erased and answered 0x90",
     "SLAU319; 0xA0 is in no published loader, and to try a program with"},
}};

// In the order of kInfos.
constexpr std::array<Setter, kOptionCount> kSetters{
    &SetFlashClock,
    &SetCumulativeErase,
    &SetMicroseconds<&ChipOptions::minimumPulse>,
    &SetMicroseconds<&ChipOptions::applicationStart>,
    &SetMicroseconds<&ChipOptions::applicationAnswer>,
    &SetMicroseconds<&ChipOptions::loaderAnswer>,
    &SetVersionAddress,
    &SetSwitch<&ChipOptions::silent>,
    &SetMicroseconds<&ChipOptions::chatterPeriod, 100>,
    &SetWrongPassword,
};

std::string UnknownKey(std::string_view key) {
    std::string problem = Formatted("there is no chip option '{}'; there are", key);
    for (std::size_t i = 0; i < kInfos.size(); ++i) {
        problem.append(i == 0 ? " " : ", ").append(kInfos[i].key);
    }
    return problem;
}

}  // namespace

std::span<const ChipOptionInfo> AllChipOptions() {
    return kInfos;
}

bool SetChipOption(ChipOptions& options, std::string_view key, std::string_view value,
                   std::string& problem) {
    for (std::size_t i = 0; i < kInfos.size(); ++i) {
        if (kInfos[i].key != key) {
            continue;
        }
        if (kSetters[i](options, value)) {
            return true;
        }
        problem = Formatted("chip option '{}' takes {}, not '{}'", key, kInfos[i].values, value);
        return false;
    }
    problem = UnknownKey(key);
    return false;
}

}  // namespace vboard
