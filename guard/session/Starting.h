// SPDX-License-Identifier: MIT
#pragma once

// Out of the loader and into the firmware.

#include "guard/session/Work.h"

namespace guard {

/// Starts the firmware and asks for its version, three times at most, the later ones with a reset
/// by RESET_GPIO. With `expected`, only that version will do. The answer stands in the verdict.
/// kDone, kDiffers or kStopped.
[[nodiscard]] Step StartAndAsk(Work& work, std::optional<std::uint16_t> expected);

/// What stands in for it on a board that cannot be asked: into the loader again, where the chip has
/// to take `password`; then the firmware is started. kDone or why not.
[[nodiscard]] Step StartAndUnlock(Work& work, const Password& password);

/// Fills in `remedy` and the status of a run that ended with `step` and left the chip as
/// the verdict says.
void Conclude(Work& work, Step step);

}  // namespace guard
