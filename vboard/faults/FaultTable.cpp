// SPDX-License-Identifier: MIT
#include "vboard/faults/FaultTable.h"

#include <array>
#include <initializer_list>

#include "vboard/probe/LoaderCodes.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

using enum FaultAction;

constexpr std::uint32_t Set(std::initializer_list<FaultAction> actions) {
    std::uint32_t set = 0;
    for (const FaultAction action : actions) {
        set |= BitOf(action);
    }
    return set;
}

constexpr std::uint32_t kAnyCall = Set({kErrno, kSilence, kKill, kPowerOff, kPowerOn});
constexpr std::uint32_t kReading = kAnyCall | Set({kShort, kBytes});
constexpr std::uint32_t kWriting = kAnyCall | Set({kShort});
constexpr std::uint32_t kSelecting = kAnyCall | Set({kTimeout});
constexpr std::uint32_t kPausing = Set({kSilence, kKill, kPowerOff, kPowerOn});
constexpr std::uint32_t kOnTheWire =
    Set({kLost, kChange, kParity, kDouble, kLate, kPowerOff, kPowerOn});
constexpr std::uint32_t kAnswering =
    Set({kAck, kNak, kBytes, kPreceded, kLate, kSilence, kPowerOff, kPowerOn});

// clang-format off
constexpr std::array<PlaceInfo, static_cast<std::size_t>(FaultPlace::kCount)> kPlaces{{
    {FaultPlace::kCall, "call", TargetKind::kDevice, false, false, kReading | kSelecting,
     "any call of the program that reaches the board, pauses included", "call#40=kill"},
    {FaultPlace::kOpen, "open", TargetKind::kDevice, false, false, kAnyCall,
     "open of a device or file", "open:comm=enoent"},
    {FaultPlace::kFopen, "fopen", TargetKind::kDevice, false, false, kAnyCall,
     "the same through stdio", "fopen:/sys/class/gpio/gpio91/direction=enoent"},
    {FaultPlace::kRead, "read", TargetKind::kDevice, false, false, kReading,
     "read", "read:port#3=eio"},
    {FaultPlace::kWrite, "write", TargetKind::kDevice, false, false, kWriting,
     "write", "write:port#2=short 1"},
    {FaultPlace::kFlush, "flush", TargetKind::kDevice, false, false, kWriting,
     "the write that stdio makes when a stream is flushed", "flush:gpio86/value#4=eio"},
    {FaultPlace::kClose, "close", TargetKind::kDevice, false, false, kAnyCall,
     "close, and fclose", "close:port=eio"},
    {FaultPlace::kIoctl, "ioctl", TargetKind::kDevice, false, false, kAnyCall,
     "ioctl", "ioctl:comm#2=enotty"},
    {FaultPlace::kSelect, "select", TargetKind::kDevice, false, false, kSelecting,
     "select and poll, by the first device they wait for", "select:comm=timeout"},
    {FaultPlace::kTcsetattr, "tcsetattr", TargetKind::kDevice, false, false, kAnyCall,
     "tcsetattr", "tcsetattr:port=einval"},
    {FaultPlace::kPause, "pause", TargetKind::kNone, false, false, kPausing,
     "usleep, sleep and nanosleep", "pause#7=kill"},
    {FaultPlace::kCharacter, "char", TargetKind::kDirection, false, false, kOnTheWire,
     "a character on the serial wire", "char:to-host#5=change 0x41"},
    {FaultPlace::kAnswer, "answer", TargetKind::kCommand, false, false, kAnswering,
     "an answer of the loader, by the command it answers", "answer:write#2=nak"},
    {FaultPlace::kCell, "cell", TargetKind::kAddress, false, true,
     Set({kStuckErased, kStuckProgrammed}),
     "a cell of the flash, or a range of them", "cell:0x2100=stuck-programmed"},
    {FaultPlace::kEdge, "edge", TargetKind::kLine, false, false, Set({kLost}),
     "an edge on a host line, on its way to the chip", "edge:msp_tck_gpio#2=lost"},
    {FaultPlace::kRise, "rise", TargetKind::kLine, false, false, Set({kLost}),
     "a rising edge", "rise:rxd_nmi_gpio=lost"},
    {FaultPlace::kFall, "fall", TargetKind::kLine, false, false, Set({kLost}),
     "a falling edge", "fall:msp_tck_gpio#*=lost"},
    {FaultPlace::kPower, "power", TargetKind::kNone, true, false, Set({kOff, kOn}),
     "the chip's supply at an instant", "power@2.5s=off"},
    {FaultPlace::kProgram, "program", TargetKind::kNone, true, false, Set({kKill}),
     "the program at an instant", "program@2.5s=kill"},
}};

constexpr std::array<ActionInfo, static_cast<std::size_t>(FaultAction::kCount)> kActions{{
    {kErrno, "ERRNO", ArgumentKind::kNone,
     "the call is not carried out and fails with this errno: eio, ENOENT ...", "read:port=eio"},
    {kShort, "short", ArgumentKind::kCount,
     "carried out for the first N bytes only, and reports them", "write:port#5=short 3"},
    {kBytes, "bytes", ArgumentKind::kBytes,
     "these bytes, in hexadecimal, in place of what was read or would be answered",
     "answer:mass-erase=bytes 90 90"},
    {kTimeout, "timeout", ArgumentKind::kNone,
     "the call waits as long as it may and reports that nothing came", "select:comm#2=timeout"},
    {kSilence, "silence", ArgumentKind::kNone,
     "a call that never returns, an answer that is never sent", "answer:sync#1=silence"},
    {kKill, "kill", ArgumentKind::kNone,
     "the program is killed before the call is carried out", "write:port#6=kill"},
    {kPowerOff, "power off", ArgumentKind::kTimeOrNothing,
     "the chip loses its supply, before the call is carried out or in place of the answer; with a "
     "time it comes back after that long",
     "answer:write#3=power off 50ms"},
    {kPowerOn, "power on", ArgumentKind::kNone,
     "the chip gets its supply back", "open:comm#4=power on"},
    {kOff, "off", ArgumentKind::kTimeOrNothing,
     "the supply goes; with a time it comes back after that long", "power@2.5s=off 100ms"},
    {kOn, "on", ArgumentKind::kNone, "the supply comes back", "power@3s=on"},
    {kLost, "lost", ArgumentKind::kNone, "does not arrive", "char:to-chip#2=lost"},
    {kChange, "change", ArgumentKind::kByte,
     "arrives as this byte, with the parity that fits it", "char:to-host#2=change 80"},
    {kParity, "parity", ArgumentKind::kNone,
     "arrives with its parity bit inverted", "char:to-chip@1.5s=parity"},
    {kDouble, "double", ArgumentKind::kNone,
     "arrives twice, one right after the other", "char:to-host#4=double"},
    {kLate, "late", ArgumentKind::kTime,
     "starts that much later, and what follows it too", "answer:*=late 300ms"},
    {kAck, "ack", ArgumentKind::kNone, "90 is answered, whatever was done",
     "answer:password=ack"},
    {kNak, "nak", ArgumentKind::kNone, "A0 is answered, whatever was done",
     "answer:write#2..3=nak"},
    {kPreceded, "preceded", ArgumentKind::kBytes,
     "these bytes come before the answer", "answer:sync#2=preceded 41 42"},
    {kStuckErased, "stuck-erased", ArgumentKind::kNone,
     "programming does not change the cell", "cell:0x2104-0x2105=stuck-erased"},
    {kStuckProgrammed, "stuck-programmed", ArgumentKind::kNone,
     "erasing does not change the cell", "cell:0xfffe#1=stuck-programmed"},
}};

constexpr std::array<AnswerName, 11> kAnswers{{
    {"sync", kSyncByte}, {"password", kReceivePassword}, {"write", kReceiveBlock},
    {"read", kTransmitBlock}, {"erase", kEraseFlash}, {"mass-erase", kMassErase},
    {"load-pc", kLoadProgramCounter}, {"erase-check", kEraseCheck}, {"version", kTransmitVersion},
    {"change-speed", kChangeSpeed}, {"memory-offset", kSetMemoryOffset},
}};

constexpr std::array<std::string_view, 3> kLines{"reset_gpio", "rxd_nmi_gpio", "msp_tck_gpio"};
// clang-format on

std::string_view ArgumentForm(ArgumentKind argument) {
    switch (argument) {
        case ArgumentKind::kNone:
            return "";
        case ArgumentKind::kCount:
            return " N";
        case ArgumentKind::kByte:
            return " HH";
        case ArgumentKind::kBytes:
            return " HH...";
        case ArgumentKind::kTime:
            return " TIME";
        case ArgumentKind::kTimeOrNothing:
            return " [TIME]";
    }
    return "";
}

}  // namespace

std::span<const PlaceInfo> AllFaultPlaces() {
    return kPlaces;
}

std::span<const ActionInfo> AllFaultActions() {
    return kActions;
}

std::span<const AnswerName> AllAnswerNames() {
    return kAnswers;
}

std::span<const std::string_view> AllFaultLines() {
    return kLines;
}

const PlaceInfo& InfoOf(FaultPlace place) {
    return kPlaces.at(static_cast<std::size_t>(place));
}

const ActionInfo& InfoOf(FaultAction action) {
    return kActions.at(static_cast<std::size_t>(action));
}

FaultPlace PlaceOf(CallKind kind) {
    return static_cast<FaultPlace>(static_cast<unsigned>(FaultPlace::kOpen) +
                                   static_cast<unsigned>(kind));
}

std::string FormOf(const ActionInfo& action) {
    return Formatted("{}{}", action.word, ArgumentForm(action.argument));
}

std::string FormsOf(const PlaceInfo& place) {
    std::string forms;
    for (const ActionInfo& action : kActions) {
        if (place.Takes(action.action)) {
            forms += Formatted("{}{}", forms.empty() ? "" : ", ", FormOf(action));
        }
    }
    return forms;
}

}  // namespace vboard
