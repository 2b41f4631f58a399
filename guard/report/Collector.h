// SPDX-License-Identifier: MIT
#pragma once

// The text file for a collector of figures (Prometheus's text format 0.0.4), as node exporters take
// it from a folder.

#include <string>

#include "guard/session/Verdict.h"

namespace guard {

/// The file's text; `unixSeconds` is when the run ended.
[[nodiscard]] std::string CollectorText(const Verdict& verdict, std::int64_t unixSeconds);

/// Writes `text` to the file at `path`, complete or not at all: beside it first, then over it. The
/// errno value of what failed, 0 for success; an old file is then untouched.
[[nodiscard]] int WriteWholeFile(const std::string& path, const std::string& text);

}  // namespace guard
