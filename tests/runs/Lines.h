// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace runs {

/// The lines of a text without their line feeds; what stands behind the last one is a line, too.
std::vector<std::string> LinesOf(const std::string& text);

}  // namespace runs
