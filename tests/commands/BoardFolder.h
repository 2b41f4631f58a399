// SPDX-License-Identifier: MIT
#pragma once

// A folder with board files in it, and vboard at hand.

#include <cstdint>
#include <string>
#include <vector>

#include "tests/runs/Process.h"
#include "tests/support/TempFolder.h"

namespace commands {

class BoardFolder {
public:
    /// Runs vboard with these words, in a string with blanks between them, in the folder. What is
    /// behind "--" starts with flashmcu or another program.
    runs::Ended Vboard(const std::string& words) const;
    /// The same, for what must succeed: its standard output.
    std::string Does(const std::string& words) const;
    /// The same, for what must be refused with status 125 and one line: that line.
    std::string Refuses(const std::string& words) const;

    [[nodiscard]] std::string PathOf(const std::string& name) const {
        return m_folder.PathOf(name);
    }
    [[nodiscard]] std::vector<std::uint8_t> Bytes(const std::string& name) const;
    void Overwrite(const std::string& name, const std::vector<std::uint8_t>& bytes) const;
    /// Inverts one byte of a file.
    void Flip(const std::string& name, std::size_t offset) const;

    /// Images that the repository brings.
    static std::string Blinky();
    static std::string Big();

private:
    TempFolder m_folder;
};

}  // namespace commands
