// SPDX-License-Identifier: MIT
#pragma once

// Everything that a run says, to everybody who wants to know: a person, a program, a collector of
// figures, a service manager.

#include <memory>
#include <string>
#include <vector>

#include "guard/link/Clock.h"
#include "guard/report/Output.h"
#include "guard/report/PlainReport.h"
#include "guard/session/Progress.h"
#include "image/Finding.h"

namespace guard {

/// Who wants to know, and how.
struct ReportOptions {
    bool json = false;         ///< JSON Lines on standard output instead of words.
    bool quiet = false;        ///< Nothing but what is wrong.
    bool verbose = false;      ///< Every frame, too.
    std::string prometheus;    ///< Path of the file for a collector; empty for none.
    std::string notifySocket;  ///< Value of NOTIFY_SOCKET; empty for none.
    unsigned columns = 0;      ///< Width of the terminal on standard output, 0 if it is none.
    bool colours = false;
    int output = 1;
    int error = 2;
    ClockSource now = Now;
};

/// The options' second half, from the environment and standard output: NO_COLOR, TERM,
/// NOTIFY_SOCKET, and whether there is a terminal.
void LookAround(ReportOptions& options);

/// Hands everything on to those whom the options name.
class Report : public Progress {
public:
    /// `output` and `error` in the options are descriptors of the caller, and stay open.
    explicit Report(const ReportOptions& options);

    /// What was found in the image at `path`, before any phase. What refuses it is listed on
    /// standard error behind the verdict's sentence.
    void OnFindings(const std::string& path, const image::Findings& findings);

    /// Lines about files, for standard error behind the verdict's sentence.
    void OnComplaints(const std::vector<std::string>& lines);

    void OnPhase(Phase phase, std::uint32_t total) override;
    void OnAdvance(std::uint32_t done) override;
    void OnNote(std::string_view text) override;
    void OnFrame(bool toChip, std::span<const std::uint8_t> bytes) override;
    void OnLog(std::string_view line) override;
    void OnVerdict(const Verdict& verdict) override;

    /// Lines of an answer that is neither news nor verdict: what `check` and `boards` print.
    void Answer(std::string_view text);

    /// Whether the verdict has reached every file that it was ordered into.
    [[nodiscard]] bool VerdictWritten() const;

private:
    void WriteFile(const Verdict& verdict);

    ReportOptions m_options;
    Output m_output;
    Output m_error;
    std::vector<std::unique_ptr<Progress>> m_listeners;
    std::string m_complaints;  ///< Lines for standard error, behind the verdict.
    bool m_fileWritten = true;
};

}  // namespace guard
