// SPDX-License-Identifier: MIT
#include "guard/report/Words.h"

#include <array>

#include "image/HexDigits.h"

namespace guard {
namespace {

constexpr std::array<std::string_view, kPhaseCount> kPhases{"Waiting for the port",
                                                            "Asking the firmware",
                                                            "Entering the loader",
                                                            "Erasing",
                                                            "Proving it is erased",
                                                            "Writing",
                                                            "Reading back",
                                                            "Writing the vectors",
                                                            "Starting the firmware",
                                                            "Letting go",
                                                            "Reading"};

constexpr std::array<std::string_view, 7> kStates{"no device was touched",
                                                  "the chip is as it was",
                                                  "the chip is erased",
                                                  "the chip holds no runnable firmware",
                                                  "what the chip holds is not known",
                                                  "the chip holds the image, read back whole",
                                                  "the chip runs the image"};

std::string VersionText(const std::optional<std::uint16_t>& version) {
    return version ? "version " + std::to_string(*version) : "no version";
}

std::string LoaderText(const LoaderIdentity& loader) {
    const std::string digits = image::HexDigits(loader.loaderVersion, 4);
    const std::string major = digits[0] == '0' ? digits.substr(1, 1) : digits.substr(0, 2);
    return "loader " + major + "." + digits.substr(2) + ", chip " +
           image::HexDigits(loader.chipId, 4);
}

std::string InstalledText(const Verdict& verdict) {
    return "installed " + VersionText(verdict.imageVersion) + ": " +
           std::to_string(verdict.imageBytes) + " bytes in " + std::to_string(verdict.blocks) +
           " blocks, read back" +
           (verdict.retries > 0 || verdict.reentries > 0
                ? ", " + std::to_string(verdict.retries) + " retries, " +
                      std::to_string(verdict.reentries) + " new sessions"
                : "");
}

std::string ToldText(const Verdict& verdict) {
    const std::string firmware = verdict.versionBefore
                                     ? "the firmware runs, " + VersionText(verdict.versionBefore)
                                     : "no firmware answers";
    return verdict.loader ? LoaderText(*verdict.loader) + "; " + firmware : firmware;
}

std::string OutcomeText(const Verdict& verdict) {
    switch (verdict.outcome) {
        case Outcome::kInstalled:
            return InstalledText(verdict);
        case Outcome::kCurrent:
            return "current: the chip runs " + VersionText(verdict.imageVersion) + " already";
        case Outcome::kEqual:
            return "equal: the chip holds the image, all " + std::to_string(verdict.imageBytes) +
                   " bytes";
        case Outcome::kDifferent:
            return "different: the chip does not hold the image";
        case Outcome::kRead:
            return "read " + std::to_string(verdict.bytesRead) + " bytes";
        case Outcome::kTold:
            return ToldText(verdict);
        case Outcome::kErased:
            return "erased, and proved so";
        case Outcome::kReset:
            return verdict.versionAfter
                       ? "reset: the firmware runs, " + VersionText(verdict.versionAfter)
                       : "reset: the chip answers; this board has no way to ask its firmware";
        case Outcome::kReleased:
            return "released: lines and switch are let go of";
        case Outcome::kChecked:
            return "well: " + VersionText(verdict.imageVersion) + ", " +
                   std::to_string(verdict.imageBytes) + " bytes";
        case Outcome::kListed:
        case Outcome::kNothing:
            break;
    }
    return "";
}

}  // namespace

std::string_view WordsFor(Phase phase) {
    return kPhases.at(static_cast<std::size_t>(phase));
}

std::string_view WordsFor(ChipState state) {
    return kStates.at(static_cast<std::size_t>(state));
}

std::string TimeText(Duration length) {
    constexpr std::int64_t kTenthNs = 100'000'000;
    constexpr std::int64_t kTenthsShown = 1000;
    constexpr std::int64_t kSecondsShown = 600;
    const std::int64_t tenths = length.count() / kTenthNs;
    const std::int64_t seconds = tenths / 10;
    if (tenths < kTenthsShown) {
        return std::to_string(seconds) + "." + std::to_string(tenths % 10) + " s";
    }
    return seconds < kSecondsShown ? std::to_string(seconds) + " s"
                                   : std::to_string(seconds / 60) + " min";
}

bool IsWell(const Verdict& verdict) {
    return verdict.status == Status::kDone;
}

std::string FailureSentence(const Verdict& verdict) {
    std::string sentence =
        verdict.problem.empty() ? std::string(NameOf(verdict.status)) : verdict.problem;
    sentence += "; ";
    sentence += WordsFor(verdict.chip);
    if (!verdict.remedy.empty()) {
        sentence += "; " + verdict.remedy;
    }
    return sentence;
}

std::string ResultLine(const Verdict& verdict) {
    std::string line = OutcomeText(verdict);
    if (verdict.totalNs > 0 && !line.empty()) {
        line += ", " + TimeText(Duration(verdict.totalNs));
    }
    return line;
}

}  // namespace guard
