// SPDX-License-Identifier: MIT
#include "vboard/text/Format.h"

#include <fmt/format.h>

#include <iterator>

namespace vboard {

std::string FormatArguments(fmt::string_view format, fmt::format_args arguments) {
    return fmt::vformat(format, arguments);
}

void AppendArguments(std::string& text, fmt::string_view format, fmt::format_args arguments) {
    fmt::vformat_to(std::back_inserter(text), format, arguments);
}

}  // namespace vboard
