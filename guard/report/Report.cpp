// SPDX-License-Identifier: MIT
#include "guard/report/Report.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <ctime>

#include "guard/check/ImageFile.h"
#include "guard/report/Collector.h"
#include "guard/report/JsonObject.h"
#include "guard/report/JsonReport.h"
#include "guard/report/ServiceNotice.h"
#include "guard/report/TerminalReport.h"
#include "guard/report/Words.h"

namespace guard {
namespace {

constexpr unsigned kUsualColumns = 80;

std::string FromEnvironment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

unsigned ColumnsOf(int descriptor) {
    winsize size{};
    return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col
                                                                        : kUsualColumns;
}

std::string JsonOf(const std::string& path, const image::Finding& finding) {
    return JsonObject()
               .Text("type", "finding")
               .Text("path", path)
               .Number("line", finding.line)
               .Flag("refused", finding.refused)
               .Text("what", finding.what)
               .Text("remedy", finding.remedy)
               .Line() +
           "\n";
}

}  // namespace

void LookAround(ReportOptions& options) {
    const std::string terminal = FromEnvironment("TERM");
    if (isatty(options.output) == 1 && !terminal.empty() && terminal != "dumb") {
        options.columns = ColumnsOf(options.output);
        options.colours = FromEnvironment("NO_COLOR").empty();
    }
    options.notifySocket = FromEnvironment("NOTIFY_SOCKET");
}

Report::Report(const ReportOptions& options)
    : m_options(options), m_output(options.output), m_error(options.error) {
    const auto now = options.now;
    if (options.json) {
        m_listeners.push_back(std::make_unique<JsonReport>(m_output, options.verbose, now));
    } else if (!options.quiet && options.columns > 0) {
        m_listeners.push_back(std::make_unique<TerminalReport>(
            m_output, options.columns, options.colours, options.verbose, now));
    } else if (!options.quiet) {
        m_listeners.push_back(std::make_unique<PlainReport>(m_output, options.verbose, now));
    }
    if (!options.notifySocket.empty()) {
        m_listeners.push_back(std::make_unique<ServiceNotice>(options.notifySocket, now));
    }
}

void Report::OnFindings(const std::string& path, const image::Findings& findings) {
    for (const image::Finding& finding : findings.Kept()) {
        const std::string line = TextOf(path, finding) + "\n";
        if (m_options.json) {
            m_output.Must(JsonOf(path, finding));
        } else if (!findings.Refused() && !m_options.quiet) {
            m_output.Must(line);
        }
        m_complaints += findings.Refused() ? line : "";
    }
    if (findings.Enough()) {
        m_complaints += path + ": there may be more; the rest was not looked at\n";
    }
}

void Report::OnComplaints(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
        m_complaints += line + "\n";
    }
}

void Report::OnPhase(Phase phase, std::uint32_t total) {
    for (const auto& listener : m_listeners) {
        listener->OnPhase(phase, total);
    }
}

void Report::OnAdvance(std::uint32_t done) {
    for (const auto& listener : m_listeners) {
        listener->OnAdvance(done);
    }
}

void Report::OnNote(std::string_view text) {
    for (const auto& listener : m_listeners) {
        listener->OnNote(text);
    }
}

void Report::OnFrame(bool toChip, std::span<const std::uint8_t> bytes) {
    for (const auto& listener : m_listeners) {
        listener->OnFrame(toChip, bytes);
    }
}

void Report::OnLog(std::string_view line) {
    for (const auto& listener : m_listeners) {
        listener->OnLog(line);
    }
}

void Report::OnVerdict(const Verdict& verdict) {
    WriteFile(verdict);
    for (const auto& listener : m_listeners) {
        listener->OnVerdict(verdict);
    }
    // What is wrong with the run comes first; everything else that is wrong, behind it.
    const std::string failure =
        IsWell(verdict) ? "" : "flashguard: " + FailureSentence(verdict) + "\n";
    if (!(failure + m_complaints).empty()) {
        m_error.Must(failure + m_complaints);
    }
}

void Report::Answer(std::string_view text) {
    m_output.Must(text);
}

bool Report::VerdictWritten() const {
    return m_fileWritten && !(m_options.json && m_output.Lost());
}

void Report::WriteFile(const Verdict& verdict) {
    if (m_options.prometheus.empty()) {
        return;
    }
    const std::string text = CollectorText(verdict, std::time(nullptr));
    if (const int problem = WriteWholeFile(m_options.prometheus, text)) {
        m_fileWritten = false;
        m_complaints += "flashguard: the figures can't be written to '" + m_options.prometheus +
                        "': " + strerrordesc_np(problem) + "\n";
    }
}

}  // namespace guard
