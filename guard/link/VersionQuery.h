// SPDX-License-Identifier: MIT
#pragma once

// One question to the firmware that runs on the chip, over the communication device, that always
// ends: its version.
//
//     request  02 B4 00            any message  L, then L bytes        reply  L B5 high low ...

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "guard/link/Clock.h"

namespace guard {

/// How one waits for an answer: the firmware is asked once and listened to for a quarter of a
/// second, again and again until `limit` has passed, at least once.
class VersionQuery {
public:
    /// `device` is the path of the communication device, opened anew for each Ask.
    explicit VersionQuery(std::string device) : m_device(std::move(device)) {}

    /// The version; nothing when no answer came.
    [[nodiscard]] std::optional<std::uint16_t> Ask(Duration limit);

private:
    std::string m_device;
};

}  // namespace guard
