// SPDX-License-Identifier: MIT
#include <algorithm>
#include <array>

#include "vboard/chip/ChipModel.h"

namespace vboard {
namespace {

constexpr AddressRange kMain{0x2100, 0xFFFF};
constexpr AddressRange kInfo{0x1000, 0x10FF};
constexpr AddressRange kRam{0x1100, 0x20FF};
constexpr std::uint16_t kMassEraseOld = 5297;
constexpr std::uint16_t kMassEraseNew = 10593;

// The recommended settings of the change of baud rate (SLAU319, tables beside its command), for
// 9600, 19200 and 38400 baud.
using ClockRow = std::array<ClockBytes, kLoaderSpeeds.size()>;
constexpr ClockRow kClockOfF1xx{{{0x80, 0x85}, {0xE0, 0x86}, {0xE0, 0x87}}};
constexpr ClockRow kClockOfF2xx{{{0x80, 0x85}, {0x00, 0x8B}, {0x80, 0x8C}}};

// The chip id is the board's own; figures with a doubt are named in `source`.
constexpr std::array<ChipModel, 4> kChips{{
    {
        .name = "msp430-56k",
        .description = "56 KiB flash, loader 1.61; one mass erase is enough",
        .mainMemory = kMain,
        .infoMemory = kInfo,
        .ram = kRam,
        .mainSegmentBytes = 512,
        .infoSegmentBytes = 64,
        .chipId = 0xF249,
        .loaderVersion = 0x0161,
        .hasVersionCommand = true,
        .hasEraseCheck = true,
        .comparesWhileWriting = true,
        .checksAfterSegmentErase = true,
        .wrongPassword = WrongPassword::kAckLocked,
        .cumulativeErase = false,
        .massErasePeriods = kMassEraseNew,
        .clockBytes = kClockOfF2xx,
        .source = "SLAU319 and data sheets; chip id and clock family assumed",
    },
    {
        .name = "msp430-56k-v110",
        .description = "older part: loader 1.10 that does not compare and has neither erase check "
                       "nor version command, short mass erases that add up, 128-byte information "
                       "segments",
        .mainMemory = kMain,
        .infoMemory = kInfo,
        .ram = kRam,
        .mainSegmentBytes = 512,
        .infoSegmentBytes = 128,
        .chipId = 0xF149,
        .loaderVersion = 0x0110,
        .hasVersionCommand = false,
        .hasEraseCheck = false,
        .comparesWhileWriting = false,
        .checksAfterSegmentErase = false,
        .wrongPassword = WrongPassword::kAckLocked,
        .cumulativeErase = true,
        .massErasePeriods = kMassEraseOld,
        .clockBytes = kClockOfF1xx,
        .source =
            "SLAU319 and data sheets; geometry, chip id, and what a short erase leaves assumed",
    },
    {
        .name = "msp430-56k-v202",
        .description = "loader 2.02, which has neither erase check nor version command",
        .mainMemory = kMain,
        .infoMemory = kInfo,
        .ram = kRam,
        .mainSegmentBytes = 512,
        .infoSegmentBytes = 64,
        .chipId = 0xF26F,
        .loaderVersion = 0x0202,
        .hasVersionCommand = false,
        .hasEraseCheck = false,
        .comparesWhileWriting = true,
        .checksAfterSegmentErase = true,
        .wrongPassword = WrongPassword::kAckLocked,
        .cumulativeErase = false,
        .massErasePeriods = kMassEraseNew,
        .clockBytes = kClockOfF2xx,
        .source = "SLAU319; geometry, chip id and clock family assumed",
    },
    {
        .name = "msp430-56k-key",
        .description =
            "loader 2.12 with a loader key at 0xFFDE: unless that word is 0x0000, a wrong "
            "password erases the flash",
        .mainMemory = kMain,
        .infoMemory = kInfo,
        .ram = kRam,
        .mainSegmentBytes = 512,
        .infoSegmentBytes = 64,
        .chipId = 0xF26F,
        .loaderVersion = 0x0212,
        .hasVersionCommand = false,
        .hasEraseCheck = false,
        .comparesWhileWriting = true,
        .checksAfterSegmentErase = true,
        .wrongPassword = WrongPassword::kErase,
        .cumulativeErase = false,
        .massErasePeriods = kMassEraseNew,
        .clockBytes = kClockOfF2xx,
        .source = "SLAU319; geometry, chip id, loader version and clock family assumed",
    },
}};

}  // namespace

std::span<const ChipModel> AllChipModels() {
    return kChips;
}

const ChipModel* FindChipModel(std::string_view name) {
    const auto found = std::find_if(kChips.begin(), kChips.end(),
                                    [name](const ChipModel& model) { return model.name == name; });
    return found == kChips.end() ? nullptr : &*found;
}

const ChipModel& DefaultChipModel() {
    return kChips.front();
}

}  // namespace vboard
