// SPDX-License-Identifier: MIT
#include "vboard/run/RunOutputs.h"

#include <sys/wait.h>

#include <cerrno>
#include <string_view>

#include "vboard/run/OutputFile.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

std::string EndText(int status) {
    return WIFSIGNALED(status) ? Formatted("killed by signal {}", WTERMSIG(status))
                               : Formatted("exit status {}", WEXITSTATUS(status));
}

}  // namespace

bool RunOutputs::Open(const RunOptions& options, std::string& problem) {
    m_paths = options.outputPaths;
    for (std::size_t output = 0; output < kOutputCount; ++output) {
        if (!m_paths[output].empty() &&
            !OpenOutput(kOutputNames[output], m_paths[output], m_files[output], problem)) {
            return false;
        }
    }
    return true;
}

void RunOutputs::EndTranscript(RunMemory& memory, int status) const {
    const Descriptor& file = m_files[Output::kTranscript];
    if (!file.IsOpen()) {
        return;
    }
    const auto append = [&file, &memory](std::string_view text) {
        memory.report.NoteWrite(Output::kTranscript, WriteAll(file, text) ? 0 : errno);
    };
    memory.transcript.HandOn(append);
    const std::int64_t microseconds = memory.report.virtualTimeNs / 1000;
    append(Formatted("{:>5}.{:06} {:<8}{}\n", microseconds / 1'000'000, microseconds % 1'000'000,
                     "end", EndText(status)));
}

std::vector<std::string> RunOutputs::Losses(const RunReport& report) const {
    std::vector<std::string> lines;
    for (std::size_t output = 0; output < kOutputCount; ++output) {
        if (report.outputErrors[output] != 0) {
            lines.push_back(
                CannotWrite(kOutputNames[output], m_paths[output], report.outputErrors[output]));
        }
    }
    return lines;
}

}  // namespace vboard
