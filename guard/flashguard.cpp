// SPDX-License-Identifier: MIT

// flashguard: the program. It reads what it was told, the board and the image, hands them to one of
// the operations, and ends with the verdict's status.

#include <fcntl.h>
#include <unistd.h>

#include <optional>

#include "flashmcu/Log.h"
#include "guard/Answers.h"
#include "guard/CommandLine.h"
#include "guard/Files.h"
#include "guard/link/StopRequest.h"
#include "guard/report/HeldVerdict.h"
#include "guard/report/Report.h"
#include "guard/session/Operations.h"
#include "image/IntelHex.h"

namespace guard {
namespace {

/// Descriptors 0 to 2 that the caller has closed would be taken by devices, and words written into
/// them.
void OpenStandardDescriptors() {
    int file = 0;
    do {
        file = open("/dev/null", O_RDWR);
    } while (file >= 0 && file <= STDERR_FILENO);
    (void)close(file);
}

Progress* theProgress = nullptr;

void ToProgress(const char* path, int line, const char* level, const std::string& message) {
    if (theProgress != nullptr) {
        theProgress->OnLog(std::string(path) + ":" + std::to_string(line) + " " + level + " " +
                           message);
    }
}

/// What is known of a run before it begins.
Verdict Refusal(Status status, const Request& request) {
    Verdict verdict;
    verdict.command = request.command;
    verdict.board = request.board.name;
    verdict.port = request.board.port;
    verdict.status = status;
    return verdict;
}

Verdict Perform(const CommandLine& line, const Request& request, Progress& progress) {
    switch (line.command) {
        case Command::kInstall:
            return Install(request, progress);
        case Command::kVerify:
            return Verify(request, progress);
        case Command::kInfo:
            return Info(request, progress);
        case Command::kErase:
            return Erase(request, progress);
        case Command::kReset:
            return Reset(request, progress);
        default:
            return Release(request, progress);
    }
}

/// Reads what the line names. Nothing when the run can begin; else the verdict, announced.
std::optional<Verdict> Prepare(const CommandLine& line, Request& request, Report& report) {
    Verdict verdict;
    std::string problem;
    if (!MakeRequest(line, request, report, problem)) {
        verdict = Refusal(Status::kUsage, request);
        verdict.problem = problem;
        verdict.remedy = "'flashguard boards' lists those that there are";
        report.OnVerdict(verdict);
        return verdict;
    }
    verdict = Refusal(Status::kImageRefused, request);
    if (line.command != Command::kCheck && !ReadImages(line, request, report, verdict)) {
        report.OnVerdict(verdict);
        return verdict;
    }
    return std::nullopt;
}

/// Writes the file that was asked for before the verdict is announced, which tells of it.
Verdict ReadInto(const CommandLine& line, const Request& request, Report& report) {
    image::MemoryImage memory;
    HeldVerdict held(report);
    Verdict verdict = Read(request, held, memory);
    std::string problem;
    if (verdict.status == Status::kDone && !WriteImage(line.output, memory, problem)) {
        verdict.status = Status::kVerdictUnwritten;
        verdict.outcome = Outcome::kNothing;
        verdict.problem = "what was read can't be written: " + problem;
        verdict.remedy = "name a file that can be written";
    }
    report.OnVerdict(verdict);
    return verdict;
}

Verdict RunCommand(const CommandLine& line, Report& report) {
    if (line.command == Command::kBoards) {
        return ListBoards(line, report);
    }
    Request request;
    if (const auto verdict = Prepare(line, request, report)) {
        return *verdict;
    }
    if (line.command == Command::kCheck) {
        return CheckImage(line, request.board, report);
    }
    return line.command == Command::kRead ? ReadInto(line, request, report)
                                          : Perform(line, request, report);
}

int Run(const CommandLine& line) {
    ReportOptions options;
    options.json = line.json;
    options.quiet = line.quiet;
    options.verbose = line.verbose;
    options.prometheus = line.prometheus;
    LookAround(options);
    Report report(options);
    theProgress = &report;
    logSink = ToProgress;
    const Verdict verdict = RunCommand(line, report);
    if (verdict.status == Status::kDone && !report.VerdictWritten()) {
        return static_cast<int>(Status::kVerdictUnwritten);
    }
    return verdict.outcome == Outcome::kCurrent && verdict.status == Status::kDone
               ? line.statusWhenCurrent
               : static_cast<int>(verdict.status);
}

}  // namespace
}  // namespace guard

int main(int argc, char** argv) {
    guard::OpenStandardDescriptors();
    guard::CommandLine line;
    if (const auto status = guard::ParseCommandLine(argc, argv, line)) {
        return *status;
    }
    guard::HoldSignals();
    return guard::Run(line);
}
