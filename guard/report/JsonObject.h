// SPDX-License-Identifier: MIT
#pragma once

// A JSON object as text, member by member, on one line. A general library for it would be a tenth
// of the whole program.

#include <cstdint>
#include <string>
#include <string_view>

namespace guard {

/// Members stand in the order in which they were added. Each method returns the object itself.
class JsonObject {
public:
    /// Adds a member of that kind; keys are ours and need no escapes.
    JsonObject& Text(std::string_view key, std::string_view value);
    JsonObject& Number(std::string_view key, std::int64_t value);
    JsonObject& Flag(std::string_view key, bool value);
    JsonObject& Null(std::string_view key);
    JsonObject& Object(std::string_view key, const JsonObject& value);

    /// "{...}" without a line feed.
    [[nodiscard]] std::string Line() const { return "{" + m_members + "}"; }

private:
    std::string& Key(std::string_view key);

    std::string m_members;
};

/// `text` in quotes, as JSON has them. What is no UTF-8, as a file's name may be, becomes U+FFFD.
[[nodiscard]] std::string Quoted(std::string_view text);

}  // namespace guard
