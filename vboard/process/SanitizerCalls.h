// SPDX-License-Identifier: MIT
#pragma once

namespace vboard {

/// Whether `caller`, the address that a call of the program returns to, lies in the address
/// sanitizer's run-time library: that asks for the time when it has given memory back, which is no
/// doing of the program. False where the board is built without it.
[[nodiscard]] bool IsTheSanitizers(const void* caller);

}  // namespace vboard
