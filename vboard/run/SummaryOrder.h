// SPDX-License-Identifier: MIT
#pragma once

// The summary for programs that a run was asked for: the memory in which it is counted, the image
// to compare with, and where it goes at the end.

#include <optional>

#include "vboard/run/Descriptor.h"
#include "vboard/run/RunOptions.h"
#include "vboard/run/RunSummary.h"

namespace vboard {

class SummaryOrder {
public:
    SummaryOrder() = default;
    ~SummaryOrder();
    SummaryOrder(const SummaryOrder&) = delete;
    SummaryOrder& operator=(const SummaryOrder&) = delete;

    /// Opens what the options ask for; nothing is fine, too. On failure `problem` is one line.
    [[nodiscard]] bool Open(const RunOptions& options, std::string& problem);

    /// Shared memory of the size of SummaryCounts; closed when no summary is wanted.
    [[nodiscard]] const Descriptor& Counts() const { return m_counts; }

    /// Writes the summary to the file that was asked for, and to standard error if that was.
    /// `status` is waitpid's; `board` is as the run left it.
    void Report(int status, const RunReport& report, const BoardFile& board) const;

private:
    [[nodiscard]] bool ReadImage(std::string& problem);
    [[nodiscard]] bool MakeCounts(std::string& problem);
    [[nodiscard]] bool OpenFile(const std::string& path, std::string& problem);

    Descriptor m_counts;
    SummaryCounts* m_memory = nullptr;
    Descriptor m_file;
    std::string m_imagePath;
    std::optional<MemoryImage> m_image;
    bool m_onStandardError = false;
};

}  // namespace vboard
