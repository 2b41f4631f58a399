// SPDX-License-Identifier: MIT
#pragma once

// A folder for the files of tens of thousands of runs, gone with its object: in memory where there
// is one (/dev/shm) and TMPDIR names no other place.

#include <string>

namespace sweeps {

class RunFolder {
public:
    /// Throws std::runtime_error, with the path, where none can be made.
    RunFolder();
    ~RunFolder();
    RunFolder(const RunFolder&) = delete;
    RunFolder& operator=(const RunFolder&) = delete;

    [[nodiscard]] const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

}  // namespace sweeps
