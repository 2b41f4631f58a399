// SPDX-License-Identifier: MIT
#pragma once

// Files that the commands write.

#include <sys/types.h>

#include <string>
#include <string_view>

#include "vboard/run/Descriptor.h"

namespace vboard {

/// What a new file may be used for, before the umask.
inline constexpr mode_t kNewFileMode = 0644;

/// Opens a file for a text, over an old one of that name. On failure `problem` is one line that
/// calls it `what`.
[[nodiscard]] bool OpenOutput(std::string_view what, const std::string& path,
                              Descriptor& descriptor, std::string& problem);

/// Writes all of `text`. False when that can't be done; errno says why.
[[nodiscard]] bool WriteAll(const Descriptor& descriptor, std::string_view text);

/// The one line for a file that can't be opened or written, because of errno value `error`.
[[nodiscard]] std::string CannotWrite(std::string_view what, std::string_view path, int error);

}  // namespace vboard
