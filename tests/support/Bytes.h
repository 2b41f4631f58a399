// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

// "80 1E 04" for people to read; "" for no bytes.
std::string ToText(const Bytes& bytes);
// The same text back to bytes; blanks separate, digits are hexadecimal.
Bytes FromText(const std::string& text);
// `count` equal bytes.
Bytes Repeat(std::uint8_t value, std::size_t count);
Bytes operator+(const Bytes& left, const Bytes& right);
