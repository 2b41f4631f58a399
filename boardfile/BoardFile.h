// SPDX-License-Identifier: MIT
#pragma once

// A board in a file, as flashguard and the virtual board both take it: which devices and GPIO lines
// lead to the chip, and what the chip is like where it differs from its part. The keys are
// described in docs/BOARD-FILES.md; the language is TOML 1.0.

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace boardfile {

/// A memory, both ends included, and how much of it is erased at once.
struct Area {
    std::uint16_t first = 0;
    std::uint16_t last = 0;
    std::uint16_t segmentBytes = 0;
    bool operator==(const Area&) const = default;
};

/// The bytes D1 and D2 that set the chip's clock for a speed of the loader.
struct Clock {
    unsigned baud = 0;  ///< 9600, 19200 or 38400.
    std::uint8_t d1 = 0;
    std::uint8_t d2 = 0;
    bool operator==(const Clock&) const = default;
};

/// What a file says. What may be left out and is, has no value.
struct Description {
    std::string path;
    std::string name;
    std::string port;
    std::optional<std::string> communication;  ///< Without one the board has no such device.
    std::string chip;                          ///< A part's name.
    unsigned reset = 0;                        ///< GPIO numbers.
    unsigned rxdNmi = 0;
    unsigned tck = 0;
    std::optional<Area> main;
    std::optional<Area> information;
    std::optional<bool> calibration;
    std::optional<std::uint16_t> version;  ///< Address of the image's version word.
    std::optional<unsigned> eraseTotalMs;
    std::vector<Clock> speeds;  ///< In ascending order.
    bool operator==(const Description&) const = default;
};

/// Reads the file at `path`; `chips` are the parts that it may name. On success `description` is
/// replaced. On failure it is unchanged, and `problems` has everything that is wrong with the file,
/// each as one line "PATH:LINE: what is wrong; what is accepted" in the order of their lines.
[[nodiscard]] bool Read(const std::string& path, std::span<const std::string_view> chips,
                        Description& description, std::vector<std::string>& problems);

/// The same for a text that stands for the content of the file at `path`.
[[nodiscard]] bool ReadText(const std::string& path, std::string_view text,
                            std::span<const std::string_view> chips, Description& description,
                            std::vector<std::string>& problems);

}  // namespace boardfile
