// SPDX-License-Identifier: MIT
#pragma once

// The summary for programs that a run was asked for: the image to compare with, and where it goes
// at the end.

#include <optional>
#include <string>

#include "vboard/run/Descriptor.h"
#include "vboard/run/RunOptions.h"
#include "vboard/run/RunSummary.h"

namespace vboard {

class SummaryOutput {
public:
    // In this order; nothing to do is fine, too. On failure `problem` is one line.

    /// Reads the image to compare with.
    [[nodiscard]] bool ReadImage(const RunOptions& options, std::string& problem);
    /// False for an image with bytes where the board's chip has no flash: no chip could hold it.
    [[nodiscard]] bool ImageFits(const BoardSetup& setup, std::string& problem) const;
    /// Opens what the options ask for.
    [[nodiscard]] bool Open(const RunOptions& options, std::string& problem);

    /// Whether it was asked for: then the programs of the run have to count.
    [[nodiscard]] bool IsWanted() const { return m_isWanted; }

    /// Writes the summary to the file that was asked for, and to standard error if that was.
    /// `status` is waitpid's; `board` is as the run left it. False when the file can't be written:
    /// `problem` is one line.
    [[nodiscard]] bool Report(int status, const RunMemory& memory, const BoardFile& board,
                              std::string& problem) const;

private:
    bool m_isWanted = false;
    std::string m_path;
    Descriptor m_file;
    std::string m_imagePath;
    std::optional<image::MemoryImage> m_image;
    bool m_onStandardError = false;
};

}  // namespace vboard
