// SPDX-License-Identifier: MIT
#include "Bytes.h"

#include <array>
#include <cstdio>
#include <sstream>

std::string ToText(const Bytes& bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        std::array<char, 4> digits{};
        (void)std::snprintf(digits.data(), digits.size(), "%02X", byte);
        text += (text.empty() ? "" : " ") + std::string(digits.data());
    }
    return text;
}

Bytes FromText(const std::string& text) {
    Bytes bytes;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(word, nullptr, 16)));
    }
    return bytes;
}

Bytes Repeat(std::uint8_t value, std::size_t count) {
    return Bytes(count, value);
}

Bytes operator+(const Bytes& left, const Bytes& right) {
    Bytes all = left;
    all.insert(all.end(), right.begin(), right.end());
    return all;
}
