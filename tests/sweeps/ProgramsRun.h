// SPDX-License-Identifier: MIT
#pragma once

// The long way to run the tool on the virtual board, which users go: both programs, unmodified.

#include <cstdint>
#include <string>
#include <vector>

#include "tests/sweeps/Ended.h"

namespace sweeps {

class ProgramsRun {
public:
    /// `prefix`: of the paths of files that this makes, in a folder that is there.
    ProgramsRun(std::string vboard, std::string flashmcu, std::string folder, std::string prefix);
    ~ProgramsRun();
    ProgramsRun(const ProgramsRun&) = delete;
    ProgramsRun& operator=(const ProgramsRun&) = delete;

    /// A new board, as it is delivered.
    void Renew();
    /// Programs the image at `path` on the board as it is.
    [[nodiscard]] Ended Run(const std::string& path, const std::vector<std::string>& rules);

private:
    [[nodiscard]] std::string File(const char* name) const;

    std::string m_vboard;
    std::string m_flashmcu;
    std::string m_folder;
    std::string m_prefix;
    std::vector<std::uint8_t> m_memory;
};

}  // namespace sweeps
