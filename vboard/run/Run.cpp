// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "vboard/run/BoardAccess.h"
#include "vboard/run/FileClaims.h"
#include "vboard/run/GatherFaults.h"
#include "vboard/run/LibraryWatch.h"
#include "vboard/run/ProgramStart.h"
#include "vboard/run/ReplayLine.h"
#include "vboard/run/RunOptions.h"
#include "vboard/run/RunOutputs.h"
#include "vboard/run/SummaryOutput.h"
#include "vboard/session/ProgramFile.h"
#include "vboard/session/Session.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

void Say(const std::string& text) {
    PrintFormatted(stderr, "vboard: {}\n", text);
}

/// Everything of one run that must be closed or unmapped at its end.
struct RunFiles {
    Descriptor board;
    BoardFile boardFile;
    Descriptor report;
    RunMemory* memory = nullptr;
    RunReport* reportMemory = nullptr;
    Descriptor faults;
    RunOutputs outputs;
    SummaryOutput summary;
    bool endedWithoutLibrary = false;
};

bool OpenReport(RunFiles& files, std::string& problem) {
    files.report = Descriptor(memfd_create("vboard-report", MFD_CLOEXEC));
    if (!files.report.IsOpen() || ftruncate(files.report.Number(), sizeof(RunMemory)) != 0) {
        problem = Formatted("no memory for the report: {}", strerrordesc_np(errno));
        return false;
    }
    void* mapped = mmap(nullptr, sizeof(RunMemory), PROT_READ | PROT_WRITE, MAP_SHARED,
                        files.report.Number(), 0);
    if (mapped == MAP_FAILED) {
        problem = Formatted("no memory for the report: {}", strerrordesc_np(errno));
        return false;
    }
    files.memory = static_cast<RunMemory*>(mapped);
    files.reportMemory = &files.memory->report;
    const BoardSetup& setup = files.boardFile.Setup();
    setup.PortPath().copy(files.memory->portPath.data(), kLongestDevicePath - 1);
    setup.CommPath().copy(files.memory->commPath.data(), kLongestDevicePath - 1);
    return true;
}

/// No file of the run is two things at once. Before anything is opened for writing.
bool ClaimFiles(const RunOptions& options, const std::string& library, std::string& problem) {
    FileClaims claims;
    bool claimed = claims.Claim("board file", options.boardPath, problem) &&
                   claims.Claim("image", options.imagePath, problem) &&
                   claims.Claim("fault plan", options.faultPlanPath, problem) &&
                   claims.Claim("library", library, problem) &&
                   claims.Claim("program", FindProgram(options.program.front()), problem);
    for (std::size_t output = 0; claimed && output < kOutputCount; ++output) {
        claimed = claims.Claim(kOutputNames[output], options.outputPaths[output], problem);
    }
    return claimed && claims.Claim("summary", options.summaryPath, problem);
}

bool OpenOrMakeBoard(const RunOptions& options, RunFiles& files, std::string& problem) {
    BoardSetup setup;
    if (!SetupFrom(options.settings, setup, problem)) {
        return false;
    }
    const bool exists = !options.boardPath.empty() && access(options.boardPath.c_str(), F_OK) == 0;
    if (exists && !options.settings.empty()) {
        problem = Formatted("board file '{}' exists and has its own setup: leave '{}' out",
                            options.boardPath, options.settings.front());
        return false;
    }
    if (exists) {
        return OpenBoard(options.boardPath, files.board, files.boardFile, problem) &&
               files.summary.ImageFits(files.boardFile.Setup(), problem);
    }
    return files.summary.ImageFits(setup, problem) &&
           MakeBoard(options.boardPath, setup, {}, files.board, files.boardFile, problem);
}

/// Hands the rules over in a file of memory, where no length limits them.
bool KeepFaults(const std::vector<std::string>& rules, RunFiles& files, std::string& problem) {
    if (rules.empty()) {
        return true;
    }
    std::string text;
    for (const std::string& rule : rules) {
        text += rule + "\n";
    }
    files.faults = Descriptor(memfd_create("vboard-faults", MFD_CLOEXEC));
    if (!files.faults.IsOpen() || write(files.faults.Number(), text.data(), text.size()) !=
                                      static_cast<ssize_t>(text.size())) {
        problem = Formatted("no memory for the fault plan: {}", strerrordesc_np(errno));
        return false;
    }
    return true;
}

/// What the run needs, in an order in which nothing is made or emptied before all else is known to
/// be right.
bool OpenFiles(const RunOptions& options, const std::string& library,
               std::vector<std::string>& faults, RunFiles& files, std::string& problem) {
    return ClaimFiles(options, library, problem) && GatherFaults(options, faults, problem) &&
           KeepFaults(faults, files, problem) && files.summary.ReadImage(options, problem) &&
           OpenOrMakeBoard(options, files, problem) && OpenReport(files, problem) &&
           files.outputs.Open(options, problem) && files.summary.Open(options, problem);
}

/// Where the numbers of the program's copies begin.
int FirstInherited() {
    rlimit limit{};
    static_cast<void>(getrlimit(RLIMIT_NOFILE, &limit));
    return static_cast<int>(std::min<rlim_t>(limit.rlim_cur, kSessionDescriptorsEnd)) -
           kMostSessionDescriptors;
}

/// A copy that the program inherits, numbered out of its way; -1 stays -1. Ends the child when
/// there is none: what was asked for would get lost without a word.
int Inherited(const Descriptor& descriptor, RunReport& report) {
    if (!descriptor.IsOpen()) {
        return -1;
    }
    // Below these are the standard streams and what a program needs at least.
    constexpr int kLeastLeft = 8;
    const int first = FirstInherited();
    const int copy = first < kLeastLeft ? -1 : fcntl(descriptor.Number(), F_DUPFD, first);
    if (copy < 0) {
        Say(
            Formatted("the program's limit of open files leaves none for the board: raise it "
                      "(ulimit -n {})",
                      kSessionDescriptorsEnd));
        report.ownError = 1;
        _exit(kExitOwnError);
    }
    return copy;
}

[[noreturn]] void Become(const RunOptions& options, const RunFiles& files,
                         const std::string& library) {
    // The program does not outlive a runner that was killed.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    RunReport& report = *files.reportMemory;
    Session session;
    session.boardDescriptor = Inherited(files.board, report);
    session.memoryDescriptor = Inherited(files.report, report);
    session.faultsDescriptor = Inherited(files.faults, report);
    for (std::size_t output = 0; output < kOutputCount; ++output) {
        session.outputDescriptors[output] = Inherited(files.outputs.Files()[output], report);
    }
    session.noiseRate = options.noiseRate;
    session.noiseSeed = options.noiseSeed;
    session.wavePart = static_cast<std::uint16_t>(options.wavePart);
    session.counts = files.summary.IsWanted() ? 1 : 0;
    session.pace = options.pace;
    session.limitNs = static_cast<std::int64_t>(options.timeLimitSeconds * 1e9);
    files.memory->session = session;
    BecomeProgram(options, session.memoryDescriptor, library);
    report.startError = errno;
    _exit(errno == ENOENT ? kExitNotFound : kExitCannotExecute);
}

volatile sig_atomic_t g_program = 0;

void HandOnSignal(int signal) {
    kill(static_cast<pid_t>(g_program), signal);
}

/// Starts the program and waits for its end. What ends the runner is handed on to the program, so
/// that the run has an end that can be told. False when there is no process for it.
bool StartAndWait(const RunOptions& options, RunFiles& files, const std::string& library,
                  int& status) {
    sigset_t ending;
    sigset_t before;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGHUP);
    sigprocmask(SIG_BLOCK, &ending, &before);
    const pid_t program = fork();
    if (program == 0) {
        sigprocmask(SIG_SETMASK, &before, nullptr);
        Become(options, files, library);
    }
    g_program = program;
    if (program > 0) {
        signal(SIGTERM, HandOnSignal);
        signal(SIGHUP, HandOnSignal);
        // An interrupt from the keyboard is the program's to answer; the runner stays to report.
        signal(SIGINT, SIG_IGN);
        signal(SIGQUIT, SIG_IGN);
        // A reader of its records that goes away is told of, as a full disk is.
        signal(SIGPIPE, SIG_IGN);
    }
    sigprocmask(SIG_SETMASK, &before, nullptr);
    files.endedWithoutLibrary = program > 0 && options.via.empty() &&
                                EndIfWithoutLibrary(program, library, *files.reportMemory);
    while (program > 0 && waitpid(program, &status, 0) < 0 && errno == EINTR) {
    }
    return program > 0;
}

std::string VerdictText(const RunReport& report) {
    return Formatted("{}, at {:.6f} s of virtual time", report.verdictText.data(),
                     static_cast<double>(report.verdictTimeNs) / 1e9);
}

std::string ApplicationText(const BoardFile& file) {
    std::uint16_t version = 0;
    if (RunningVersion(file.State(), file.ChipMemory(), file.Setup().Options(), version)) {
        return Formatted("the application runs, version {}", version);
    }
    return Formatted(
        "no application runs, the chip is in state '{}'",
        ValueName(Signal::kChipMode, static_cast<std::uint32_t>(file.State().chip.mode)));
}

/// False when a summary was asked for and can't be given.
bool Summarize(const RunOptions& options, const RunFiles& files, int status) {
    const RunReport& report = *files.reportMemory;
    if (report.worlds == 0 && !options.quiet) {
        Say("the program never reached the board");
    }
    BoardFile now;
    std::string problem;
    if (!now.Attach(files.board.Number(), problem)) {
        Say(Formatted("the board {}", problem));
        return false;
    }
    const bool reported = files.summary.Report(status, *files.memory, now, problem);
    if (!reported) {
        Say(problem);
    }
    if (options.quiet || options.summaryAsJson || report.worlds == 0) {
        return reported;
    }
    Say(Formatted("{} bytes of flash programmed in {} blocks; {}; {:.6f} s of virtual time",
                  report.bytesProgrammed, report.blocksProgrammed, ApplicationText(now),
                  static_cast<double>(report.virtualTimeNs) / 1e9));
    const WeakBytes weak = WeakBytesOf(now);
    if (weak != WeakBytes{}) {
        Say(
            Formatted("{} bytes of flash are weakly erased and {} weakly programmed: they were "
                      "under erase for less than 200 ms in all",
                      weak.erased, weak.programmed));
    }
    return reported;
}

/// Says what is to be said at the end of a run. False when something of it is vboard's own failure.
bool Report(const RunOptions& options, const RunFiles& files, int status) {
    const RunReport& report = *files.reportMemory;
    files.outputs.EndTranscript(*files.memory, status);
    if (report.verdict != static_cast<std::uint32_t>(Verdict::kNone)) {
        Say(VerdictText(report));
    }
    const std::vector<std::string> losses = files.outputs.Losses(report);
    std::for_each(losses.begin(), losses.end(), Say);
    if (report.startError != 0) {
        Say(Formatted("'{}' can't be started: {}", NameOfProgram(options),
                      strerrordesc_np(report.startError)));
        return losses.empty();
    }
    if (report.ownError != 0) {
        return false;
    }
    if (report.loaded == 0) {
        Say(Formatted(
            "'{}' {} the library of the board{}: nothing of what it did has reached "
            "the board",
            NameOfProgram(options),
            files.endedWithoutLibrary ? "has started without" : "ended without having loaded",
            files.endedWithoutLibrary ? " and was ended" : ""));
        return false;
    }
    return Summarize(options, files, status) && losses.empty();
}

/// The status of the run. Where the board ended a program of it, that decides, whatever the others
/// made of it.
int StatusOf(const RunReport& report, int status) {
    switch (static_cast<Verdict>(report.verdict)) {
        case Verdict::kStuck:
        case Verdict::kTimeLimit:
            return kExitWaitsForEver;
        case Verdict::kKilled:
            return kExitSignalBase + SIGKILL;
        case Verdict::kNone:
            break;
    }
    return WIFSIGNALED(status) ? kExitSignalBase + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace

int Run(const RunOptions& options) {
    RunFiles files;
    std::string library;
    std::string problem;
    std::vector<std::string> faults;
    if (!FindLibrary(options, library, problem) || !CheckProgram(options, library, problem) ||
        !OpenFiles(options, library, faults, files, problem)) {
        Say(problem);
        return kExitOwnError;
    }
    int ended = 0;
    if (!StartAndWait(options, files, library, ended)) {
        Say(Formatted("no process for the program: {}", strerrordesc_np(errno)));
        return kExitOwnError;
    }
    // What the program has left behind in the background has no board any more.
    files.reportMemory->over = 1;
    flock(files.board.Number(), LOCK_UN);
    const bool complete = Report(options, files, ended);
    const int status = StatusOf(*files.reportMemory, ended);
    if (status != 0 && files.reportMemory->startError == 0 &&
        (!faults.empty() || options.noiseRate > 0)) {
        Say(Formatted("replay: {}", ReplayLine(options, faults)));
    }
    return complete ? status : kExitOwnError;
}

}  // namespace vboard
