// SPDX-License-Identifier: MIT
#include "vboard/run/SummaryOutput.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "vboard/board/StartState.h"
#include "vboard/run/ImageFile.h"
#include "vboard/run/OutputFile.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

constexpr const char* kSummary = "summary";

}  // namespace

bool SummaryOutput::ReadImage(const RunOptions& options, std::string& problem) {
    m_onStandardError = options.summaryAsJson && !options.quiet;
    m_imagePath = options.imagePath;
    if (m_imagePath.empty()) {
        return true;
    }
    if (!m_onStandardError && options.summaryPath.empty()) {
        problem = "--image has no summary to stand in: add --summary json or --summary-file";
        return false;
    }
    return ReadImageFile(m_imagePath, m_image.emplace(), problem);
}

bool SummaryOutput::ImageFits(const BoardSetup& setup, std::string& problem) const {
    std::string why;
    if (m_image && !FitsFlash(setup.Part(), *m_image, why)) {
        problem = Formatted("image '{}' {}", m_imagePath, why);
        return false;
    }
    return true;
}

bool SummaryOutput::Open(const RunOptions& options, std::string& problem) {
    if (!m_onStandardError && options.summaryPath.empty()) {
        return true;
    }
    m_isWanted = true;
    m_path = options.summaryPath;
    return m_path.empty() || OpenOutput(kSummary, m_path, m_file, problem);
}

bool SummaryOutput::Report(int status, const RunMemory& memory, const BoardFile& board,
                           std::string& problem) const {
    if (!m_isWanted) {
        return true;
    }
    const std::string text = SummaryJson(
        {status, memory.report, memory.counts, board, m_image ? &*m_image : nullptr, m_imagePath});
    if (m_onStandardError) {
        PrintFormatted(stderr, "{}", text);
    }
    if (m_file.IsOpen() && !WriteAll(m_file, text)) {
        problem = CannotWrite(kSummary, m_path, errno);
        return false;
    }
    return true;
}

}  // namespace vboard
