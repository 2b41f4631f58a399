// SPDX-License-Identifier: MIT
#include "guard/report/JsonObject.h"

#include <algorithm>

#include "image/HexDigits.h"

namespace guard {
namespace {

constexpr unsigned char kFirstPrintable = 0x20;
constexpr const char* kReplacement = "\xEF\xBF\xBD";

bool IsContinuation(char character) {
    return (static_cast<unsigned char>(character) & 0xC0U) == 0x80U;
}

/// The lowest code of a character with so many bytes, which a shorter one could have said.
constexpr std::uint32_t LowestOf(std::size_t bytes) {
    return bytes == 2 ? 0x80 : bytes == 3 ? 0x800 : 0x10000;
}

/// How many bytes the character at the start of `text` has; 0 when it is no UTF-8 (RFC 3629).
std::size_t CharacterBytes(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80) {
        return 1;
    }
    const std::size_t bytes = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < bytes ||
        !std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(bytes),
                     IsContinuation)) {
        return 0;
    }
    std::uint32_t code = first & (0xFFU >> (bytes + 1));
    for (std::size_t index = 1; index < bytes; ++index) {
        code = code << 6U | (static_cast<unsigned char>(text[index]) & 0x3FU);
    }
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    return code < LowestOf(bytes) || code > 0x10FFFF || surrogate ? 0 : bytes;
}

std::string Escaped(char character) {
    if (character == '"' || character == '\\') {
        return std::string("\\") + character;
    }
    const auto code = static_cast<unsigned char>(character);
    return code < kFirstPrintable ? "\\u" + image::HexDigits(code, 4) : std::string(1, character);
}

}  // namespace

std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    while (!text.empty()) {
        const std::size_t bytes = CharacterBytes(text);
        if (bytes == 0) {
            quoted += kReplacement;
        } else if (bytes == 1) {
            quoted += Escaped(text.front());
        } else {
            quoted += text.substr(0, bytes);
        }
        text.remove_prefix(std::max<std::size_t>(bytes, 1));
    }
    return quoted + "\"";
}

std::string& JsonObject::Key(std::string_view key) {
    m_members += m_members.empty() ? "" : ",";
    m_members += Quoted(key);
    m_members += ':';
    return m_members;
}

JsonObject& JsonObject::Text(std::string_view key, std::string_view value) {
    Key(key) += Quoted(value);
    return *this;
}

JsonObject& JsonObject::Number(std::string_view key, std::int64_t value) {
    Key(key) += std::to_string(value);
    return *this;
}

JsonObject& JsonObject::Flag(std::string_view key, bool value) {
    Key(key) += value ? "true" : "false";
    return *this;
}

JsonObject& JsonObject::Null(std::string_view key) {
    Key(key) += "null";
    return *this;
}

JsonObject& JsonObject::Object(std::string_view key, const JsonObject& value) {
    Key(key) += value.Line();
    return *this;
}

}  // namespace guard
