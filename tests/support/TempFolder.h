// SPDX-License-Identifier: MIT
#pragma once

#include <string>

// A folder of the test's own, gone with everything in it when the object goes.
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    // Writes a file with exactly this content and returns its path.
    std::string WriteFile(const std::string& name, const std::string& content) const;
    // The path of a file of that name, whether it exists or not.
    [[nodiscard]] std::string PathOf(const std::string& name) const;

private:
    std::string m_path;
};
