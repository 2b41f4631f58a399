// SPDX-License-Identifier: MIT

// vboard list: the tables that boards and faults are made from.

#include <array>

#include "vboard/board/BoardSetup.h"
#include "vboard/faults/FaultTable.h"
#include "vboard/run/Commands.h"
#include "vboard/text/Format.h"
#include "vboard/wires/BoardModel.h"

namespace vboard {
namespace {

const char* WrongPasswordText(WrongPassword behaviour) {
    switch (behaviour) {
        case WrongPassword::kAckLocked:
            return "answered 90, protected commands A0";
        case WrongPassword::kNak:
            return "answered A0";
        case WrongPassword::kErase:
            return "erases the flash, answered 90";
    }
    return "";
}

/// "9600 80 85, 19200 00 8B, 38400 80 8C"
std::string ClockBytesText(const ChipModel& chip) {
    std::string text;
    for (std::size_t speed = 0; speed < kLoaderSpeeds.size(); ++speed) {
        const ClockBytes& clock = chip.clockBytes.at(speed);
        AppendFormatted(text, "{}{} {:02X} {:02X}", text.empty() ? "" : ", ",
                        kLoaderSpeeds.at(speed), clock.d1, clock.d2);
    }
    return text;
}

void ListChips() {
    for (const ChipModel& chip : AllChipModels()) {
        PrintFormatted(stdout, "{}\n    {}\n", chip.name, chip.description);
        PrintFormatted(
            stdout,
            "    main 0x{:04X}-0x{:04X} in segments of {}, information 0x{:04X}-0x{:04X} in "
            "segments of {}, RAM 0x{:04X}-0x{:04X}\n",
            chip.mainMemory.first, chip.mainMemory.last, chip.mainSegmentBytes,
            chip.infoMemory.first, chip.infoMemory.last, chip.infoSegmentBytes, chip.ram.first,
            chip.ram.last);
        PrintFormatted(
            stdout,
            "    chip id {:04X}, loader {:x}.{:02x}, version command: {}, erase check: {}\n",
            chip.chipId, chip.loaderVersion >> 8U, chip.loaderVersion & 0xFFU,
            chip.hasVersionCommand ? "yes" : "no", chip.hasEraseCheck ? "yes" : "no");
        PrintFormatted(
            stdout,
            "    compares while writing: {}, checks after segment erase: {}, mass erase: {} "
            "periods{}\n",
            chip.comparesWhileWriting ? "yes" : "no", chip.checksAfterSegmentErase ? "yes" : "no",
            chip.massErasePeriods, chip.cumulativeErase ? ", cumulative: 200 ms in all" : ", once");
        PrintFormatted(stdout, "    clock bytes D1 D2 of a change of baud rate: {}\n",
                       ClockBytesText(chip));
        PrintFormatted(stdout, "    wrong password: {}\n    source: {}\n",
                       WrongPasswordText(chip.wrongPassword), chip.source);
    }
}

void ListModels() {
    PrintFormatted(stdout, "{:<8}{:<16}{:<16}{:<12}{:<14}{}\n", "MODEL", "PORT", "COMM",
                   "RESET_GPIO", "RxD_NMI_GPIO", "MSP_TCK_GPIO");
    for (const BoardModel& model : AllBoardModels()) {
        PrintFormatted(stdout, "{:<8}{:<16}{:<16}{:<12}{:<14}{}\n", model.name, model.portPath,
                       model.commPath, model.gpios[0], model.gpios[1], model.gpios[2]);
    }
}

void ListOption(const ChipOptionInfo& option) {
    PrintFormatted(stdout, "{}\n    {}\n    takes {}; {} without it\n", option.key, option.meaning,
                   option.values, option.neutral);
    if (!option.source.empty()) {
        PrintFormatted(stdout, "    source: {}\n", option.source);
    }
}

void ListOptions() {
    for (const ChipOptionInfo& option : BoardSetup::BoardOptions()) {
        ListOption(option);
    }
    for (const ChipOptionInfo& option : AllChipOptions()) {
        ListOption(option);
    }
}

void ListStates() {
    for (const StartStateInfo& state : AllStartStates()) {
        PrintFormatted(stdout, "{:<10}{}\n", state.name, state.meaning);
    }
}

void ListFaults() {
    PrintFormatted(stdout, "where a fault strikes\n");
    for (const PlaceInfo& place : AllFaultPlaces()) {
        PrintFormatted(stdout, "  {:<11}{}\n{:13}what happens: {}\n{:13}{}\n", place.word,
                       place.meaning, "", FormsOf(place), "", place.example);
    }
    PrintFormatted(stdout, "what happens\n");
    for (const ActionInfo& action : AllFaultActions()) {
        PrintFormatted(stdout, "  {:<21}{}\n", FormOf(action), action.meaning);
    }
}

constexpr std::array<ListTable, 5> kTables{{
    {"chips", "Parts with their geometry and loader", ListChips},
    {"models", "Board models with their devices and GPIO numbers", ListModels},
    {"options", "What can be set for a board or its chip", ListOptions},
    {"states", "What a new board can do at first", ListStates},
    {"faults", "Where faults strike and what they do", ListFaults},
}};

}  // namespace

std::span<const ListTable> AllListTables() {
    return kTables;
}

}  // namespace vboard
