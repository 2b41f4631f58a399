// SPDX-License-Identifier: MIT
#pragma once

// The files that a run was asked for and that the library in the program writes: transcript, list
// of calls, waveform, picture.

#include <array>
#include <string>
#include <vector>

#include "vboard/run/Descriptor.h"
#include "vboard/run/RunOptions.h"
#include "vboard/session/Session.h"

namespace vboard {

class RunOutputs {
public:
    /// Opens what the options ask for; nothing is fine, too. On failure `problem` is one line.
    [[nodiscard]] bool Open(const RunOptions& options, std::string& problem);

    /// Closed when this output was not asked for.
    [[nodiscard]] const Descriptor& File(Output output) const;

    /// Completes the transcript with what a killed program left in `memory`, and with the line of
    /// its end. `status` is waitpid's.
    void EndTranscript(RunMemory& memory, int status) const;

    /// One line for each file that is not whole, because something of it could not be written.
    [[nodiscard]] std::vector<std::string> Losses(const RunReport& report) const;

private:
    std::array<Descriptor, kOutputCount> m_files;
    std::array<std::string, kOutputCount> m_paths;
};

}  // namespace vboard
