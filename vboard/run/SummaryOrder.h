// SPDX-License-Identifier: MIT
#pragma once

// The summary for programs that a run was asked for: the memory in which it is counted, the image
// to compare with, and where it goes at the end.

#include <optional>
#include <string>

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

    // In this order; nothing to do is fine, too. On failure `problem` is one line.

    /// Reads the image to compare with.
    [[nodiscard]] bool ReadImage(const RunOptions& options, std::string& problem);
    /// False for an image with bytes where the board's chip has no flash: no chip could hold it.
    [[nodiscard]] bool ImageFits(const BoardSetup& setup, std::string& problem) const;
    /// Opens what the options ask for.
    [[nodiscard]] bool Open(const RunOptions& options, std::string& problem);

    /// Shared memory of the size of SummaryCounts; closed when no summary is wanted.
    [[nodiscard]] const Descriptor& Counts() const { return m_counts; }

    /// Writes the summary to the file that was asked for, and to standard error if that was.
    /// `status` is waitpid's; `board` is as the run left it. False when the file can't be written:
    /// `problem` is one line.
    [[nodiscard]] bool Report(int status, const RunReport& report, const BoardFile& board,
                              std::string& problem) const;

private:
    [[nodiscard]] bool MakeCounts(std::string& problem);

    Descriptor m_counts;
    SummaryCounts* m_memory = nullptr;
    std::string m_path;
    Descriptor m_file;
    std::string m_imagePath;
    std::optional<image::MemoryImage> m_image;
    bool m_onStandardError = false;
};

}  // namespace vboard
