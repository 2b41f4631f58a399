// SPDX-License-Identifier: MIT
#pragma once

// Parts and loader generations as tables, and the options that every part takes.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "vboard/time/VirtualClock.h"

namespace vboard {

/// A stretch of the address space, both ends included.
struct AddressRange {
    std::uint16_t first = 0;
    std::uint16_t last = 0;
    /// True for both ends and what is between them.
    [[nodiscard]] constexpr bool Contains(std::uint16_t address) const {
        return address >= first && address <= last;
    }
    /// At least 1, at most the 65536 of the whole address space.
    [[nodiscard]] constexpr std::size_t SizeBytes() const { return std::size_t{last} - first + 1; }
};

/// What a wrong password does. The loaders answer it 0x90 like a right one (SLAU319AF, 2.4.4.3).
enum class WrongPassword : std::uint8_t {
    kAckLocked,  ///< Answered 0x90; the next protected command is answered 0xA0.
    kNak,        ///< Answered 0xA0; no published loader does.
    kErase,  ///< The flash is mass-erased (loader key at 0xFFDE not 0x0000), then as kAckLocked.
};

/// D1 and D2 of a change of baud rate: what is written to the two registers of the clock (F1xx and
/// F2xx: DCOCTL and BCSCTL1; F4xx: SCFI0 and SCFI1).
struct ClockBytes {
    std::uint8_t d1 = 0;
    std::uint8_t d2 = 0;
    bool operator==(const ClockBytes&) const = default;
};

/// The speeds in bits a second that D3 of a change of baud rate stands for, by its value.
inline constexpr std::array<std::uint32_t, 3> kLoaderSpeeds{9600, 19200, 38400};

/// One row of the table of parts. Texts are static.
struct ChipModel {
    std::string_view name;
    std::string_view description;
    AddressRange mainMemory;
    AddressRange infoMemory;
    AddressRange ram;
    std::uint16_t mainSegmentBytes;
    std::uint16_t infoSegmentBytes;
    std::uint16_t chipId;          ///< In the boot ROM at 0x0FF0, high byte first.
    std::uint16_t loaderVersion;   ///< In the boot ROM at 0x0FFA, high byte first: 0x0140 is V1.40.
    bool hasVersionCommand;        ///< From V1.50, but not in 2.x.
    bool hasEraseCheck;            ///< From V1.50, but not in 2.x.
    bool comparesWhileWriting;     ///< From V1.40: a byte that does not read back gives 0xA0.
    bool checksAfterSegmentErase;  ///< From V1.60.
    WrongPassword wrongPassword;
    bool cumulativeErase;            ///< Cells need 200 ms of erase time in all: EraseMargins.h.
    std::uint16_t massErasePeriods;  ///< Periods of the flash clock.
    /// What the clock needs for each of kLoaderSpeeds.
    std::array<ClockBytes, kLoaderSpeeds.size()> clockBytes;
    std::string_view source;  ///< Where the figures come from.
};

/// What can be set for any part; the values here are neutral. Keys and texts stand in
/// AllChipOptions().
struct ChipOptions {
    std::uint32_t flashClockHz = 400'000;   ///< 257 kHz to 476 kHz.
    std::optional<bool> cumulativeErase;    ///< Nothing: as the part's row says.
    Duration minimumPulse{0};               ///< Shorter levels on TCK and RST/NMI are not seen.
    Duration applicationStart{1'000'000};   ///< From reset to the first answer it could give.
    Duration applicationAnswer{1'000'000};  ///< From a request to its answer.
    Duration loaderAnswer{0};               ///< Extra time before each answer of the loader.
    std::uint16_t versionAddress = 0x2100;  ///< Where the firmware keeps its version word.
    bool silent = false;                    ///< The chip never says anything.
    Duration chatterPeriod{0};  ///< The application sends an unasked message this often; 0 = never.
    std::optional<WrongPassword> wrongPassword;  ///< Nothing: as the part's row says.
};

/// A key that can be set, for listings.
struct ChipOptionInfo {
    std::string_view key;      ///< "flash-clock-hz"
    std::string_view values;   ///< "257000..476000"
    std::string_view neutral;  ///< The value without it.
    std::string_view meaning;
    std::string_view source;
};

/// The table of parts.
[[nodiscard]] std::span<const ChipModel> AllChipModels();
/// nullptr when there is no such part.
[[nodiscard]] const ChipModel* FindChipModel(std::string_view name);
/// The part that a board carries when nothing else is said.
[[nodiscard]] const ChipModel& DefaultChipModel();

/// The table of keys that every part takes.
[[nodiscard]] std::span<const ChipOptionInfo> AllChipOptions();
/// Sets one option from its text. False, with one clear sentence in `problem` that names the
/// accepted values, when the key or the value is not one; `options` is then unchanged.
[[nodiscard]] bool SetChipOption(ChipOptions& options, std::string_view key, std::string_view value,
                                 std::string& problem);

}  // namespace vboard
