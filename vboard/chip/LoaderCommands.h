// SPDX-License-Identifier: MIT
#pragma once

// What each command of the loader does: one row of a table each, worked on flash and lock. It knows
// nothing of characters and keeps no time; the loader around it does both.
//
// Named assumptions, where the published guide (SLAU319AF) is silent or speaks in two ways:
//   - load program counter and set memory offset need the password, as all that is not a way to
//     start over does;
//   - erase check is in the loaders from V1.50 on, but not in 2.x, like the version command (a note
//     to table 2-1 says so; 2.4.4.7 says V1.60);
//   - an erase check that finds something leaves the first such address plus one at 0x0200, also
//     where no RAM is, and nothing is left by one that passes the end of memory;
//   - change of baud rate is in every loader. Clock bytes (D1, D2) other than the recommended ones
//     of the part for that speed are written to the clock all the same: answered 0x90, and from
//     then on the loader understands nothing until it is entered anew;
//   - a part of 64 KiB has nothing beyond a memory offset other than 0: commands on memory are then
//     answered 0xA0;
//   - an odd start or length of a write, an odd erase address, a control word that is not the
//     command's, and a block that passes the end of memory are answered 0xA0;
//   - a block that lies partly where nothing can be written is written as far as there is memory,
//     and answered 0xA0 by every loader generation;
//   - a wrong password that erases is answered 0x90 once the erase is done; with the loader key
//     (word at 0xFFDE) at 0x0000 it erases nothing;
//   - a wrong password does not take back what a right one has unlocked.

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "vboard/chip/ChipModel.h"
#include "vboard/chip/Flash.h"
#include "vboard/chip/FrameDecoder.h"
#include "vboard/chip/SerialFormat.h"
#include "vboard/probe/LoaderCodes.h"

namespace vboard {

/// The interrupt vectors, whose content is the password.
inline constexpr AddressRange kVectors{0xFFE0, 0xFFFF};

/// The commands of one loader, of the generation that the part has.
class LoaderCommands {
public:
    /// What comes after the answer.
    enum class After : std::uint8_t {
        kSync,      ///< The next sync.
        kFrame,     ///< A frame: what was answered was a sync.
        kNewSpeed,  ///< The next sync at another speed.
        kJump,      ///< The loader ends.
    };

    /// What a command comes to: an answer, at once or after a work of the flash.
    struct Result {
        std::uint8_t answer = kAckByte;
        std::span<const std::uint8_t> data;  ///< Answered in a data frame instead, unless empty.
        bool works = false;                  ///< Flash changes first; Finish then says the answer.
        Duration workTime{0};                ///< How long that takes.
        After after = After::kSync;
        std::string_view refusal;  ///< Why the answer is 0xA0; static.
    };

    /// `flash` must outlive the commands; the rest is copied.
    LoaderCommands(const ChipModel& model, const ChipOptions& options, Flash& flash);

    /// The loader has been entered anew, or is put into a kept state.
    void Enter(bool unlocked);
    /// True once the right password has come since the last entry.
    [[nodiscard]] bool Unlocked() const { return m_unlocked; }

    /// Carries out the frame, or begins to where flash takes its time. `frame` must last until
    /// Finish.
    [[nodiscard]] Result Execute(const Frame& frame);
    /// The work of the last command is done: completes its result.
    [[nodiscard]] Result Finish(Result result);

    /// The speed asked for by the last change of baud rate; nothing when the clock that was asked
    /// for with it is not the one that the speed needs.
    [[nodiscard]] std::optional<std::uint32_t> BitsPerSecond() const { return m_bitsPerSecond; }
    /// Whether there is anything to run where the last load of the program counter goes.
    [[nodiscard]] bool JumpsToFirmware() const;

private:
    struct Row;
    static std::span<const Row> Rows();
    [[nodiscard]] static const Row* Find(std::uint8_t command);

    Result ReceivePassword();
    Result ReceiveBlock();
    Result TransmitBlock();
    Result EraseArea();
    Result MassErase();
    Result LoadProgramCounter();
    Result EraseCheck();
    Result TransmitVersion();
    Result ChangeSpeed();
    Result SetMemoryOffset();

    Result WrongPasswordSent();
    [[nodiscard]] Result FinishBlock(Result result) const;
    [[nodiscard]] bool PasswordFits() const;

    ChipModel m_model;
    WrongPassword m_wrongPassword;
    Flash& m_flash;
    Frame m_frame;
    bool m_unlocked = false;
    std::uint16_t m_memoryOffset = 0;
    std::optional<std::uint32_t> m_bitsPerSecond = SerialFormat{}.bitsPerSecond;
};

}  // namespace vboard
