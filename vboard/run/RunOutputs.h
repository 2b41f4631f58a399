// SPDX-License-Identifier: MIT
#pragma once

// The files that a run was asked for and that the library in the program writes: transcript, list
// of calls, waveform, picture.

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

    /// Each is closed when it was not asked for.
    [[nodiscard]] const PerOutput<Descriptor>& Files() const { return m_files; }

    /// Completes the transcript with what a killed program left in `memory`, and with the line of
    /// its end. `status` is waitpid's.
    void EndTranscript(RunMemory& memory, int status) const;

    /// One line for each file that is not whole, because something of it could not be written.
    [[nodiscard]] std::vector<std::string> Losses(const RunReport& report) const;

private:
    PerOutput<Descriptor> m_files;
    PerOutput<std::string> m_paths;
};

}  // namespace vboard
