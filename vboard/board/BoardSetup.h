// SPDX-License-Identifier: MIT
#pragma once

// What a board is made of: model, part, device names, options. Kept in board files as lines of
// KEY=VALUE.

#include <array>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "vboard/chip/ChipModel.h"
#include "vboard/wires/BoardModel.h"

namespace vboard {

/// What a board does when it is new.
enum class StartState : std::uint8_t { kRunning, kErased, kLoader, kReset, kSilent };

/// One row of the listing of start states.
struct StartStateInfo {
    StartState state;
    std::string_view name;  ///< The word for it in settings.
    std::string_view meaning;
};

/// The table, in the order of the enumeration.
[[nodiscard]] std::span<const StartStateInfo> AllStartStates();

/// A setup is always whole: what was not set is as the model and the part have it.
class BoardSetup {
public:
    /// A BRDA board with the default part.
    BoardSetup();

    /// Sets one key: model, name, lines, chip, port, comm, receive-trigger, start, or one of the
    /// chip's options.
    /// False, with a sentence in `problem` that names the accepted words, when it is refused;
    /// nothing has changed then.
    [[nodiscard]] bool Set(std::string_view key, std::string_view value, std::string& problem);

    /// Everything that was set, as lines of KEY=VALUE in the order of the keys.
    [[nodiscard]] std::string Text() const;
    /// Reads such lines into a new setup.
    [[nodiscard]] static bool Parse(std::string_view text, BoardSetup& setup, std::string& problem);

    /// The model's name, or the one that was set.
    [[nodiscard]] std::string_view Name() const;
    /// GPIO numbers of the chip's lines, in the order of HostLine.
    [[nodiscard]] const std::array<unsigned, kHostLineCount>& Gpios() const { return m_gpios; }
    /// The part on the board; a row of the table of parts.
    [[nodiscard]] const ChipModel& Part() const { return *m_part; }
    /// The chip's options; a board that starts silent has a silent chip.
    [[nodiscard]] const ChipOptions& Options() const { return m_effectiveOptions; }
    /// Everything that was set, key by key.
    [[nodiscard]] const std::map<std::string, std::string, std::less<>>& Settings() const {
        return m_set;
    }
    /// Path of the programming port, below /dev/.
    [[nodiscard]] const std::string& PortPath() const { return m_portPath; }
    /// Empty when the board has no communication device.
    [[nodiscard]] const std::string& CommPath() const { return m_commPath; }
    /// What a new board does at first. A kept one goes on where it was.
    [[nodiscard]] StartState Start() const { return m_start; }
    /// Characters that the port's receive FIFO gathers before it hands them on: 1 to 16.
    [[nodiscard]] unsigned ReceiveTrigger() const { return m_receiveTrigger; }

    /// Keys of the board itself, for listings; the chip's stand in AllChipOptions().
    [[nodiscard]] static std::span<const ChipOptionInfo> BoardOptions();

private:
    [[nodiscard]] bool Take(std::string_view key, std::string_view value, std::string& problem);
    void Apply();

    std::map<std::string, std::string, std::less<>> m_set;
    const BoardModel* m_model;
    std::array<unsigned, kHostLineCount> m_gpios{};
    const ChipModel* m_part;
    ChipOptions m_options;
    ChipOptions m_effectiveOptions;
    StartState m_start = StartState::kRunning;
    std::string m_portPath;
    std::string m_commPath;
    unsigned m_receiveTrigger = 1;
};

}  // namespace vboard
