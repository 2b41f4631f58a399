// SPDX-License-Identifier: MIT
#include "vboard/run/SummaryOrder.h"

#include <sys/mman.h>

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

SummaryOrder::~SummaryOrder() {
    if (m_memory != nullptr) {
        munmap(m_memory, sizeof(SummaryCounts));
    }
}

bool SummaryOrder::ReadImage(const RunOptions& options, std::string& problem) {
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

bool SummaryOrder::ImageFits(const BoardSetup& setup, std::string& problem) const {
    std::string why;
    if (m_image && !FitsFlash(setup.Part(), *m_image, why)) {
        problem = Formatted("image '{}' {}", m_imagePath, why);
        return false;
    }
    return true;
}

bool SummaryOrder::Open(const RunOptions& options, std::string& problem) {
    if (!m_onStandardError && options.summaryPath.empty()) {
        return true;
    }
    m_path = options.summaryPath;
    return MakeCounts(problem) && (m_path.empty() || OpenOutput(kSummary, m_path, m_file, problem));
}

bool SummaryOrder::MakeCounts(std::string& problem) {
    m_counts = Descriptor(memfd_create("vboard-summary", MFD_CLOEXEC));
    void* memory = MAP_FAILED;
    if (m_counts.IsOpen() && ftruncate(m_counts.Number(), sizeof(SummaryCounts)) == 0) {
        memory = mmap(nullptr, sizeof(SummaryCounts), PROT_READ | PROT_WRITE, MAP_SHARED,
                      m_counts.Number(), 0);
    }
    if (memory == MAP_FAILED) {
        problem = Formatted("no memory for the summary: {}", strerrordesc_np(errno));
        return false;
    }
    m_memory = static_cast<SummaryCounts*>(memory);
    return true;
}

bool SummaryOrder::Report(int status, const RunReport& report, const BoardFile& board,
                          std::string& problem) const {
    if (m_memory == nullptr) {
        return true;
    }
    const std::string text =
        SummaryJson({status, report, *m_memory, board, m_image ? &*m_image : nullptr, m_imagePath});
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
