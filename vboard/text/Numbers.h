// SPDX-License-Identifier: MIT
#pragma once

// Numbers as people write them, taken strictly.

#include <charconv>
#include <string_view>
#include <system_error>

namespace vboard {

/// True when all of `text` is a number of this base that `number` can hold: no sign but a minus for
/// types that have one, no blank, no prefix, nothing behind it. `number` is left alone otherwise.
template <class Number>
[[nodiscard]] bool ParseWhole(std::string_view text, int base, Number& number) {
    Number parsed{};
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, parsed, base);
    if (error != std::errc{} || end != last) {
        return false;
    }
    number = parsed;
    return true;
}

/// Takes the 0x or 0X at the beginning of `text` away; false when there is none.
[[nodiscard]] inline bool TakeHexPrefix(std::string_view& text) {
    if (!text.starts_with("0x") && !text.starts_with("0X")) {
        return false;
    }
    text.remove_prefix(2);
    return true;
}

}  // namespace vboard
