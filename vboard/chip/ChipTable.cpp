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

// The chip id is the board's own; figures with a doubt are named in `source`.
constexpr std::array<ChipModel, 4> kModels{{
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
        .comparesWhileWriting = true,
        .checksAfterSegmentErase = true,
        .wrongPassword = WrongPassword::kAckLocked,
        .massErasePeriods = kMassEraseNew,
        .source = "SLAU319 and data sheets; chip id and wrong-password answer assumed",
    },
    {
        .name = "msp430-56k-v110",
        .description = "older part: loader 1.10 that does not compare, short mass erase, 128-byte "
                       "information segments",
        .mainMemory = kMain,
        .infoMemory = kInfo,
        .ram = kRam,
        .mainSegmentBytes = 512,
        .infoSegmentBytes = 128,
        .chipId = 0xF149,
        .loaderVersion = 0x0110,
        .hasVersionCommand = true,
        .comparesWhileWriting = false,
        .checksAfterSegmentErase = false,
        .wrongPassword = WrongPassword::kAckLocked,
        .massErasePeriods = kMassEraseOld,
        .source = "SLAU319 and data sheets; geometry, chip id and wrong-password answer assumed",
    },
    {
        .name = "msp430-56k-v202",
        .description = "loader 2.02, which has no version command and refuses a wrong password",
        .mainMemory = kMain,
        .infoMemory = kInfo,
        .ram = kRam,
        .mainSegmentBytes = 512,
        .infoSegmentBytes = 64,
        .chipId = 0xF26F,
        .loaderVersion = 0x0202,
        .hasVersionCommand = false,
        .comparesWhileWriting = true,
        .checksAfterSegmentErase = true,
        .wrongPassword = WrongPassword::kNak,
        .massErasePeriods = kMassEraseNew,
        .source = "SLAU319; geometry, chip id and wrong-password answer assumed",
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
        .comparesWhileWriting = true,
        .checksAfterSegmentErase = true,
        .wrongPassword = WrongPassword::kErase,
        .massErasePeriods = kMassEraseNew,
        .source = "SLAU319; geometry, chip id and loader version assumed",
    },
}};

}  // namespace

std::span<const ChipModel> AllChipModels() {
    return kModels;
}

const ChipModel* FindChipModel(std::string_view name) {
    const auto found = std::find_if(kModels.begin(), kModels.end(),
                                    [name](const ChipModel& model) { return model.name == name; });
    return found == kModels.end() ? nullptr : &*found;
}

const ChipModel& DefaultChipModel() {
    return kModels.front();
}

}  // namespace vboard
