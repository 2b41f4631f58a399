// SPDX-License-Identifier: MIT
#pragma once

// A second witness for waveforms: sigrok's UART decoder (Debian's sigrok-cli) reads the serial link
// back out of them.

#include <string>
#include <vector>

namespace waveforms {

/// False where sigrok-cli is not installed; tests that need it are skipped then.
[[nodiscard]] bool HaveSigrok();

/// One annotation of the decoder.
struct Annotation {
    long startUs;
    std::string text;
};

/// What the decoder says about one line of a waveform (`host_tx` or `host_rx`) at a speed, 8 data
/// bits, even parity, in one class of its annotations: `data`, `parity-err`, `warnings`. Those of
/// data begin with the first data bit.
[[nodiscard]] std::vector<Annotation> Decode(const std::string& vcdPath, const std::string& line,
                                             const std::string& annotation,
                                             unsigned bitsPerSecond = 9600);

}  // namespace waveforms
