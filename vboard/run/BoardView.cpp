// SPDX-License-Identifier: MIT
#include "vboard/run/BoardView.h"

#include <algorithm>
#include <array>

#include "vboard/host/SysfsGpio.h"
#include "vboard/probe/Signals.h"

namespace vboard {
namespace {

constexpr unsigned kRowBytes = 16;

/// In the order of HostLine.
constexpr std::array<Signal, kHostLineCount> kLineSignals{Signal::kResetGpio, Signal::kRxdNmiGpio,
                                                          Signal::kMspTckGpio};

std::size_t ProgrammedBytes(Memory memory, unsigned first, unsigned last) {
    const auto bytes = memory.subspan(first, last - first + 1);
    return bytes.size() -
           static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), kErasedByte));
}

void AddSegment(std::vector<MemoryStretch>& stretches, const MemoryStretch& segment) {
    const bool continues = !stretches.empty() && (stretches.back().programmedBytes == 0) ==
                                                     (segment.programmedBytes == 0);
    if (!continues) {
        stretches.push_back(segment);
        return;
    }
    stretches.back().range.last = segment.range.last;
    stretches.back().programmedBytes += segment.programmedBytes;
}

MemoryArea LookAtArea(std::string_view name, AddressRange range, std::uint16_t segmentBytes,
                      Memory memory) {
    MemoryArea area{name, range, segmentBytes, {}};
    for (unsigned first = range.first; first <= range.last;) {
        // Segments lie at multiples of their size.
        const unsigned last =
            std::min<unsigned>(first - first % segmentBytes + segmentBytes - 1, range.last);
        AddSegment(area.stretches,
                   {{static_cast<std::uint16_t>(first), static_cast<std::uint16_t>(last)},
                    ProgrammedBytes(memory, first, last)});
        first = last + 1;
    }
    return area;
}

LineView LookAtLine(const BoardFile& file, std::size_t line) {
    const unsigned gpio = file.Setup().Gpios().at(line);
    const GpioState& state = file.State().gpios.at(gpio);
    const SignalInfo& info = InfoOf(kLineSignals.at(line));
    const Drive drive = SysfsGpio::DriveOf(state);
    // A pull resistor holds a released line at its idle level.
    const bool high = drive == Drive::kReleased ? info.idleValue != 0 : drive == Drive::kHigh;
    return {info.name, gpio, state.exported, state.output, high};
}

}  // namespace

BoardView LookAt(const BoardFile& file) {
    BoardView view{file, {}, {}, {}, WeakBytesOf(file)};
    for (std::size_t line = 0; line < kHostLineCount; ++line) {
        view.lines.push_back(LookAtLine(file, line));
    }
    const ChipModel& part = file.Setup().Part();
    const Memory memory = file.ChipMemory();
    view.areas = {
        LookAtArea("information", part.infoMemory, part.infoSegmentBytes, memory),
        LookAtArea("main", part.mainMemory, part.mainSegmentBytes, memory),
    };
    std::uint16_t version = 0;
    if (RunningVersion(file.State(), memory, file.Setup().Options(), version)) {
        view.runningVersion = version;
    }
    return view;
}

image::MemoryImage ProgrammedImage(const BoardFile& file) {
    image::MemoryImage image;
    const Memory memory = file.ChipMemory();
    const ChipModel& part = file.Setup().Part();
    for (const AddressRange& range : {part.infoMemory, part.mainMemory}) {
        for (unsigned address = range.first; address <= range.last; ++address) {
            const unsigned row = address - address % kRowBytes;
            if (ProgrammedBytes(memory, row, row + kRowBytes - 1) > 0) {
                image.Set(static_cast<std::uint16_t>(address), memory[address]);
            }
        }
    }
    return image;
}

}  // namespace vboard
