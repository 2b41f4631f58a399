// SPDX-License-Identifier: MIT

// flashguard: the program. It reads what it was told, the board and the image, hands them to one of
// the operations, and ends with the verdict's status.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

#include "flashmcu/Log.h"
#include "guard/CommandLine.h"
#include "guard/Files.h"
#include "guard/SimpleReport.h"
#include "guard/link/StopRequest.h"
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
    if (file > STDERR_FILENO) {
        (void)close(file);
    }
}

Progress* theProgress = nullptr;

void ToProgress(const char* path, int line, const char* level, const std::string& message) {
    if (theProgress != nullptr) {
        theProgress->OnLog(std::string(path) + ":" + std::to_string(line) + " " + level + " " +
                           message);
    }
}

int Refuse(Status status, const std::string& problem, Request& request, Progress& progress) {
    Verdict verdict;
    verdict.command = request.command;
    verdict.board = request.board.name;
    verdict.port = request.board.port;
    verdict.status = status;
    verdict.problem = problem;
    progress.OnVerdict(verdict);
    return static_cast<int>(status);
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

int Run(const CommandLine& line) {
    SimpleReport report(line);
    theProgress = &report;
    logSink = ToProgress;
    Request request;
    std::string problem;
    if (!MakeRequest(line, request, problem)) {
        return Refuse(Status::kUsage, problem, request, report);
    }
    if (!ReadImages(line, request, report, problem)) {
        return Refuse(Status::kImageRefused, problem, request, report);
    }
    if (line.command == Command::kRead) {
        image::MemoryImage memory;
        const Verdict verdict = Read(request, report, memory);
        return verdict.status == Status::kDone && !WriteImage(line.output, memory, problem)
                   ? static_cast<int>(Status::kVerdictUnwritten)
                   : static_cast<int>(verdict.status);
    }
    const Verdict verdict = Perform(line, request, report);
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
