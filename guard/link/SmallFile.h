// SPDX-License-Identifier: MIT
#pragma once

// The small files of the kernel: one text in, one text out.

#include <string>
#include <string_view>

namespace guard {

/// Whether all of `text` was taken by one write. Nothing is created.
[[nodiscard]] bool WriteSmallFile(const std::string& path, std::string_view text);

/// Up to 31 characters without the newline at their end; "" where nothing can be read.
[[nodiscard]] std::string ReadSmallFile(const std::string& path);

}  // namespace guard
