// SPDX-License-Identifier: MIT
#include "vboard/faults/FaultRule.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "vboard/text/Format.h"
#include "vboard/text/HexText.h"

namespace vboard {
namespace {

std::string ErrnoText(int error) {
    const char* name = strerrorname_np(error);
    std::string text = name != nullptr ? name : std::to_string(error);
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

}  // namespace

std::string OutcomeText(const FaultOutcome& outcome) {
    if (outcome.action == FaultAction::kErrno) {
        return ErrnoText(outcome.error);
    }
    const ActionInfo& info = InfoOf(outcome.action);
    switch (info.argument) {
        case ArgumentKind::kCount:
            return Formatted("{} {}", info.word, outcome.count);
        case ArgumentKind::kByte:
        case ArgumentKind::kBytes:
            return Formatted("{} {}", info.word, HexText(outcome.bytes));
        case ArgumentKind::kTimeOrNothing:
        case ArgumentKind::kTime:
            return outcome.time == Duration::zero()
                       ? std::string(info.word)
                       : Formatted("{} {}ns", info.word, outcome.time.count());
        case ArgumentKind::kNone:
            break;
    }
    return std::string(info.word);
}

}  // namespace vboard
