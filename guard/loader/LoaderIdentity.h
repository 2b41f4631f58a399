// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace guard {

/// What the loader says of itself and the chip: by its version command, or by the words at 0x0FF0
/// and 0x0FFA once it is unlocked (SLAU319).
struct LoaderIdentity {
    std::uint16_t chipId = 0;         ///< 0xF249
    std::uint16_t loaderVersion = 0;  ///< In binary-coded decimals: 0x0161 is 1.61.
};

}  // namespace guard
