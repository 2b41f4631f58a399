// SPDX-License-Identifier: MIT
#include "vboard/board/StartState.h"

#include <algorithm>

#include "vboard/text/Format.h"

namespace vboard {

bool FitsFlash(const ChipModel& part, const image::MemoryImage& image, std::string& problem) {
    for (std::size_t address = 0; address < kMemorySizeBytes; ++address) {
        const auto at = static_cast<std::uint16_t>(address);
        if (image.Covers(at) && !part.mainMemory.Contains(at) && !part.infoMemory.Contains(at)) {
            problem = Formatted(
                "holds a byte for 0x{:04X}, where chip {} has no flash: its main memory is "
                "0x{:04X}-0x{:04X}, its information memory 0x{:04X}-0x{:04X}",
                address, part.name, part.mainMemory.first, part.mainMemory.last,
                part.infoMemory.first, part.infoMemory.last);
            return false;
        }
    }
    return true;
}

bool FillMemory(const BoardSetup& setup, const image::MemoryImage* image, Memory memory,
                std::string& problem) {
    const bool erased = setup.Start() == StartState::kErased;
    if (image != nullptr && erased) {
        problem = "is not for a board that starts erased: leave out one of the two";
        return false;
    }
    if (image != nullptr && !FitsFlash(setup.Part(), *image, problem)) {
        return false;
    }
    if (image == nullptr && !erased) {
        FillWithOldFirmware(memory, setup.Options());
        return true;
    }
    std::fill(memory.begin(), memory.end(), kErasedByte);
    for (std::size_t address = 0; image != nullptr && address < memory.size(); ++address) {
        memory[address] = image->At(static_cast<std::uint16_t>(address));
    }
    return true;
}

BoardState StateAtStart(const BoardSetup& setup,
                        std::span<const std::uint8_t, kMemorySizeBytes> memory) {
    BoardState state;
    const bool hasNothingToRun = memory[kResetVectorAddress] == kErasedByte &&
                                 memory[kResetVectorAddress + 1] == kErasedByte;
    state.chip.mode = hasNothingToRun ? ChipMode::kStopped : ChipMode::kApplication;
    if (setup.Start() == StartState::kLoader) {
        state.chip.mode = ChipMode::kLoader;
    }
    if (setup.Start() == StartState::kReset) {
        const unsigned gpio = setup.Gpios().at(static_cast<std::size_t>(HostLine::kReset));
        // As a boot program leaves it: driven, and not exported.
        state.gpios.at(gpio) = {
            .exported = false, .output = true, .high = true, .activeLow = false, .edge = 0};
        state.chip.mode = ChipMode::kReset;
        state.chip.hold = PinLevel::kHigh;
    }
    return state;
}

}  // namespace vboard
