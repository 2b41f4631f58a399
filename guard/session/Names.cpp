// SPDX-License-Identifier: MIT
#include <array>

#include "guard/session/Verdict.h"

namespace guard {
namespace {

constexpr std::array<std::string_view, kPhaseCount> kPhaseNames{
    "lock",  "ask",    "enter", "erase",   "prove-erased", "write",
    "prove", "commit", "start", "release", "read"};

constexpr std::array<std::string_view, 7> kChipStates{
    "untouched", "as-it-was", "erased", "no-firmware", "unknown", "image-proved", "image-running"};

constexpr std::array<std::string_view, 12> kOutcomes{"nothing",   "installed", "current", "equal",
                                                     "different", "read",      "told",    "erased",
                                                     "reset",     "released",  "checked", "listed"};

}  // namespace

std::string_view NameOf(Phase phase) {
    return kPhaseNames.at(static_cast<std::size_t>(phase));
}

std::string_view NameOf(ChipState state) {
    return kChipStates.at(static_cast<std::size_t>(state));
}

std::string_view NameOf(Outcome outcome) {
    return kOutcomes.at(static_cast<std::size_t>(outcome));
}

std::string_view NameOf(Status status) {
    switch (status) {
        case Status::kDone:
            return "done";
        case Status::kUsage:
            return "usage";
        case Status::kImageRefused:
            return "image-refused";
        case Status::kBusy:
            return "busy";
        case Status::kDeviceMissing:
            return "device-missing";
        case Status::kNoAnswer:
            return "no-answer";
        case Status::kFailed:
            return "failed";
        case Status::kWrongVersion:
            return "wrong-version";
        case Status::kDiffers:
            return "differs";
        case Status::kCouldNotLook:
            return "could-not-look";
        case Status::kInterrupted:
            return "interrupted";
        case Status::kVerdictUnwritten:
            return "verdict-unwritten";
    }
    return "unknown";
}

}  // namespace guard
