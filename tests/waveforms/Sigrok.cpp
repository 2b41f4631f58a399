// SPDX-License-Identifier: MIT
#include "tests/waveforms/Sigrok.h"

#include "tests/runs/Lines.h"
#include "tests/runs/Process.h"
#include "tests/support/TempFolder.h"

namespace waveforms {

bool HaveSigrok() {
    const TempFolder folder;
    return runs::RunProcess({"sigrok-cli", "--version"}, folder.PathOf("")).status == 0;
}

std::vector<Annotation> Decode(const std::string& vcdPath, const std::string& line,
                               const std::string& annotation, unsigned bitsPerSecond) {
    const TempFolder folder;
    const std::string output =
        runs::RunProcess({"sigrok-cli", "-I", "vcd", "-i", vcdPath, "-P",
                          "uart:rx=" + line + ":baudrate=" + std::to_string(bitsPerSecond) +
                              ":parity=even:format=hex",
                          "-A", "uart=rx-" + annotation, "--protocol-decoder-samplenum"},
                         folder.PathOf(""))
            .output;
    // "1651104-1651938 uart-1: 80"; a sample is a microsecond.
    std::vector<Annotation> annotations;
    for (const std::string& text : runs::LinesOf(output)) {
        const std::size_t words = text.find(": ");
        if (words != std::string::npos) {
            annotations.push_back({std::stol(text), text.substr(words + 2)});
        }
    }
    return annotations;
}

}  // namespace waveforms
