// SPDX-License-Identifier: MIT
#pragma once

#include <fmt/core.h>

#include <cstdio>
#include <string>

// fmt's formatting, compiled once. Called directly, its header-only functions would be compiled
// again in each of some fifty sources, which takes longer than all the rest of them.
namespace vboard {

/// What the functions below are made of: `arguments` laid into the braces of `format`.
[[nodiscard]] std::string FormatArguments(fmt::string_view format, fmt::format_args arguments);
void AppendArguments(std::string& text, fmt::string_view format, fmt::format_args arguments);

/// The text of `format` with `values` in its braces, in fmt's language; a format that does not suit
/// its values is refused by the compiler.
template <typename... Values>
[[nodiscard]] std::string Formatted(fmt::format_string<Values...> format, Values&&... values) {
    return FormatArguments(format, fmt::make_format_args(values...));
}

/// The same, added to the end of `text` without a string in between.
template <typename... Values>
void AppendFormatted(std::string& text, fmt::format_string<Values...> format, Values&&... values) {
    AppendArguments(text, format, fmt::make_format_args(values...));
}

/// The same, written to `stream`.
template <typename... Values>
void PrintFormatted(std::FILE* stream, fmt::format_string<Values...> format, Values&&... values) {
    const std::string text = FormatArguments(format, fmt::make_format_args(values...));
    (void)std::fwrite(text.data(), 1, text.size(), stream);
}

}  // namespace vboard
