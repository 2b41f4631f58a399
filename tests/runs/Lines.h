// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace runs {

/// The lines of a text without their line feeds; what stands behind the last one is a line, too.
std::vector<std::string> LinesOf(const std::string& text);
/// Whether this stands somewhere in the text.
bool Has(std::string_view text, std::string_view part);

}  // namespace runs
