// SPDX-License-Identifier: MIT
#pragma once

// What a board is made of: model, part, device names, options. Kept in board files as lines of
// KEY=VALUE.

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "vboard/chip/ChipModel.h"
#include "vboard/wires/BoardModel.h"

namespace vboard {

class BoardSetup {
public:
    /// A BRDA board with the default part.
    BoardSetup();

    /// Sets one key: model, chip, port, comm, receive-trigger, or one of the chip's options. False,
    /// with a sentence in `problem` that names the accepted words, when it is refused; nothing has
    /// changed then.
    [[nodiscard]] bool Set(std::string_view key, std::string_view value, std::string& problem);

    /// Everything that was set, as lines of KEY=VALUE in the order of the keys.
    [[nodiscard]] std::string Text() const;
    /// Reads such lines into a new setup.
    [[nodiscard]] static bool Parse(std::string_view text, BoardSetup& setup, std::string& problem);

    [[nodiscard]] const BoardModel& Model() const { return *m_model; }
    [[nodiscard]] const ChipModel& Part() const { return *m_part; }
    [[nodiscard]] const ChipOptions& Options() const { return m_options; }
    [[nodiscard]] const std::string& PortPath() const { return m_portPath; }
    [[nodiscard]] const std::string& CommPath() const { return m_commPath; }
    [[nodiscard]] unsigned ReceiveTrigger() const { return m_receiveTrigger; }

    /// Keys of the board itself, for listings; the chip's stand in AllChipOptions().
    [[nodiscard]] static std::span<const ChipOptionInfo> BoardOptions();

private:
    void Apply();

    std::map<std::string, std::string, std::less<>> m_set;
    const BoardModel* m_model;
    const ChipModel* m_part;
    ChipOptions m_options;
    std::string m_portPath;
    std::string m_commPath;
    unsigned m_receiveTrigger = 1;
};

}  // namespace vboard
