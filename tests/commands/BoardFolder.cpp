// SPDX-License-Identifier: MIT
#include "tests/commands/BoardFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>

namespace commands {

runs::Ended BoardFolder::Vboard(const std::string& words) const {
    std::vector<std::string> all{"vboard"};
    std::istringstream stream(words);
    for (std::string word; stream >> word;) {
        all.push_back(word);
    }
    return runs::RunProcess(all, m_folder.PathOf("."));
}

std::string BoardFolder::Does(const std::string& words) const {
    const runs::Ended ended = Vboard(words);
    EXPECT_EQ(ended.status, 0) << "vboard " << words << "\n" << ended.error;
    return ended.output;
}

std::string BoardFolder::Refuses(const std::string& words) const {
    const runs::Ended ended = Vboard(words);
    EXPECT_EQ(ended.status, 125) << "vboard " << words;
    EXPECT_EQ(ended.output, "");
    EXPECT_EQ(std::count(ended.error.begin(), ended.error.end(), '\n'), 1) << ended.error;
    return ended.error;
}

std::vector<std::uint8_t> BoardFolder::Bytes(const std::string& name) const {
    std::ifstream file(PathOf(name), std::ios::binary);
    EXPECT_TRUE(file.is_open()) << name;
    return {std::istreambuf_iterator<char>(file), {}};
}

void BoardFolder::Overwrite(const std::string& name, const std::vector<std::uint8_t>& bytes) const {
    std::ofstream file(PathOf(name), std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    EXPECT_TRUE(file.flush()) << name;
}

void BoardFolder::Flip(const std::string& name, std::size_t offset) const {
    std::vector<std::uint8_t> bytes = Bytes(name);
    bytes.at(offset) ^= 0xFFU;
    Overwrite(name, bytes);
}

std::string BoardFolder::Blinky() {
    return FLASHMCU_SOURCE_DIR "/examples/blinky/blinky.hex";
}

std::string BoardFolder::Big() {
    return FLASHMCU_SOURCE_DIR "/examples/big/big.hex";
}

}  // namespace commands
