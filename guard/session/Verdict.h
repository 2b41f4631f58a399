// SPDX-License-Identifier: MIT
#pragma once

// How a run ended: the status that the program leaves with, the state that the chip is in, and
// every figure that was measured on the way. A session fills one; the reports write it down.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "guard/loader/LoaderIdentity.h"
#include "guard/session/Phase.h"

namespace guard {

/// What the program ends with. The numbers are promised to scripts.
enum class Status : std::uint8_t {
    kDone = 0,              ///< Done and proved, or nothing was to be done.
    kUsage = 2,             ///< The command line, or a board's file.
    kImageRefused = 10,     ///< No device was touched.
    kBusy = 11,             ///< Another run has the port.
    kDeviceMissing = 12,    ///< A device or line is missing or refused; the chip is as it was.
    kNoAnswer = 13,         ///< No chip answers; nothing was erased.
    kFailed = 20,           ///< The chip holds no runnable firmware.
    kWrongVersion = 21,     ///< Programmed and proved, but the firmware does not say the version.
    kDiffers = 22,          ///< verify: the chip does not hold the image.
    kCouldNotLook = 23,     ///< The memory could not be read; the chip is as it was.
    kInterrupted = 24,      ///< By a signal; ChipState says what the chip holds.
    kVerdictUnwritten = 25  ///< All is well but for a report that could not be written.
};

/// What the chip holds when the run ends, as far as the run can know it.
enum class ChipState : std::uint8_t {
    kUntouched,     ///< No device was touched.
    kAsItWas,       ///< The lines moved; its memory is what it was.
    kErased,        ///< Proved erased, by `erase`.
    kNoFirmware,    ///< Erased or partly written, with no reset vector: it starts nothing.
    kUnknown,       ///< An erase or the vectors were sent, and whether they arrived is not known.
    kImageProved,   ///< The image, whole, read back.
    kImageRunning,  ///< The same, and the firmware says the image's version (or took its password).
};

/// What was done; the one word that tells two runs of the same status apart.
enum class Outcome : std::uint8_t {
    kNothing,    ///< The run did not come to its end.
    kInstalled,  ///< install: programmed and proved.
    kCurrent,    ///< install: the firmware is the image's already.
    kEqual,      ///< verify: the chip holds the image.
    kDifferent,  ///< verify: it does not.
    kRead,
    kTold,  ///< info.
    kErased,
    kReset,
    kReleased,
    kChecked,  ///< check: the image can be installed.
    kListed,   ///< boards.
};

[[nodiscard]] std::string_view NameOf(ChipState state);  ///< "image-proved", for programs.
[[nodiscard]] std::string_view NameOf(Outcome outcome);  ///< "installed"
[[nodiscard]] std::string_view NameOf(Status status);    ///< "device-missing"

/// All that a run has to say at its end; what was not found out is empty or 0.
struct Verdict {
    std::string command;  ///< "install"
    std::string board;
    std::string port;
    Status status = Status::kDone;
    Outcome outcome = Outcome::kNothing;
    ChipState chip = ChipState::kUntouched;
    int signal = 0;  ///< The signal that interrupted the run, 0 for none.

    // The sentence of a failure has three parts, each of them one clause without a full stop.
    std::string problem;  ///< What is wrong; empty for a run that is well.
    std::string remedy;   ///< What to do.

    std::string imagePath;                       ///< As given; empty where there was no image.
    std::string imageSha256;                     ///< Of the file, 64 digits.
    std::string contentSha256;                   ///< Of the bytes that have to be in the chip.
    std::string readSha256;                      ///< Of the same addresses, as read back.
    std::uint32_t imageBytes = 0;                ///< Covered by the image.
    std::uint32_t blocks = 0;                    ///< Of the plan.
    std::optional<std::uint16_t> imageVersion;   ///< The word at the version's address.
    std::optional<std::uint16_t> versionBefore;  ///< None: nobody answered, or was not asked.
    std::optional<std::uint16_t> versionAfter;
    std::optional<LoaderIdentity> loader;
    std::optional<std::uint16_t> differenceAt;  ///< The first address that differs.
    std::uint32_t differingBytes = 0;

    std::uint32_t bitsPerSecond = 0;  ///< Of the writing, 0 where there was none.
    std::uint32_t entries = 0;        ///< Ways into the loader that were tried.
    std::uint32_t reentries = 0;      ///< Sessions begun anew after a failure.
    std::uint32_t retries = 0;        ///< Exchanges repeated.
    std::uint32_t lineErrors = 0;     ///< Characters that no answer has, and answers cut short.
    std::uint32_t refusals = 0;       ///< Frames that the loader answered with 0xA0.
    std::uint32_t massErases = 0;
    std::uint32_t bytesWritten = 0;  ///< Blocks acknowledged, repeated ones counted again.
    std::uint32_t bytesRead = 0;

    std::array<std::int64_t, kPhaseCount> phaseNs{};  ///< Time spent in each phase.
    std::int64_t totalNs = 0;
};

}  // namespace guard
