// SPDX-License-Identifier: MIT
#include "TempFolder.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

TempFolder::TempFolder() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "flashmcu-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no temporary folder at " + pattern);
    }
    m_path = std::filesystem::canonical(pattern).string();
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string TempFolder::WriteFile(const std::string& name, const std::string& content) const {
    std::string path = PathOf(name);
    std::ofstream file(path, std::ios::binary);
    file << content;
    return path;
}

std::string TempFolder::PathOf(const std::string& name) const {
    return m_path + "/" + name;
}
