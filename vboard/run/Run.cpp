// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <sstream>

#include "vboard/board/Session.h"
#include "vboard/run/BoardAccess.h"
#include "vboard/run/FaultOrder.h"
#include "vboard/run/ReplayLine.h"
#include "vboard/run/RunOptions.h"
#include "vboard/run/RunOutputs.h"
#include "vboard/run/SummaryOrder.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

constexpr const char* kLibraryName = "libvboard.so";

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
    SummaryOrder summary;
};

/// Beside the runner in a build folder, below the library folder when installed.
std::filesystem::path FindLibrary(const RunOptions& options) {
    if (!options.libraryPath.empty()) {
        return options.libraryPath;
    }
    std::error_code error;
    const auto folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    const auto beside = folder / kLibraryName;
    return std::filesystem::exists(beside, error)
               ? beside
               : (folder / VBOARD_LIBRARY_FOLDER / kLibraryName).lexically_normal();
}

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

bool OpenFiles(const RunOptions& options, RunFiles& files, std::string& problem) {
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
    const bool opened =
        exists ? OpenBoard(options.boardPath, files.board, files.boardFile, problem)
               : MakeBoard(options.boardPath, setup, {}, files.board, files.boardFile, problem);
    if (!opened || !OpenReport(files, problem)) {
        return false;
    }
    return files.outputs.Open(options, problem) && files.summary.Open(options, problem);
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

/// A copy that the program inherits, numbered out of its way; -1 stays -1.
int Inherited(const Descriptor& descriptor) {
    return descriptor.IsOpen() ? fcntl(descriptor.Number(), F_DUPFD, kFirstSessionDescriptor) : -1;
}

/// The program and its arguments, behind the words of the emulator if there is one.
std::vector<std::string> CommandOf(const RunOptions& options) {
    std::istringstream via(options.via);
    std::vector<std::string> words{std::istream_iterator<std::string>(via), {}};
    words.insert(words.end(), options.program.begin(), options.program.end());
    return words;
}

/// Lets the loader of the program, and no other, put the library in front of libc. An emulator is
/// a program of this machine that could not load it: qemu-user hands the setting on.
void Preload(const RunOptions& options, const std::string& library) {
    const char* name = options.via.empty() ? "LD_PRELOAD" : "QEMU_SET_ENV";
    const std::string setting = options.via.empty() ? library : "LD_PRELOAD=" + library;
    const char separator = options.via.empty() ? ':' : ',';
    const char* others = std::getenv(name);
    const std::string all =
        others == nullptr ? setting : Formatted("{}{}{}", setting, separator, others);
    setenv(name, all.c_str(), 1);
}

[[noreturn]] void BecomeProgram(const RunOptions& options, const RunFiles& files,
                                const std::string& library) {
    // The program does not outlive a runner that was killed.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    Session session;
    session.boardDescriptor = Inherited(files.board);
    session.reportDescriptor = Inherited(files.report);
    session.transcriptDescriptor = Inherited(files.outputs.File(Output::kTranscript));
    session.faultsDescriptor = Inherited(files.faults);
    session.callsDescriptor = Inherited(files.outputs.File(Output::kCalls));
    session.noiseRate = options.noiseRate;
    session.noiseSeed = options.noiseSeed;
    session.vcdDescriptor = Inherited(files.outputs.File(Output::kWaveform));
    session.waveDescriptor = Inherited(files.outputs.File(Output::kPicture));
    session.wavePart = options.wavePart;
    session.summaryDescriptor = Inherited(files.summary.Counts());
    session.pace = options.pace;
    session.limitNs = static_cast<std::int64_t>(options.timeLimitSeconds * 1e9);
    setenv(kSessionVariable, session.Text().c_str(), 1);
    Preload(options, library);

    const std::vector<std::string> words = CommandOf(options);
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string& word : words) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    execvp(arguments.front(), arguments.data());
    const int error = errno;
    Say(Formatted("'{}' can't be started: {}", words.front(), strerrordesc_np(error)));
    _exit(error == ENOENT ? kExitNotFound : kExitCannotExecute);
}

int WaitFor(pid_t program) {
    // An interrupt from the keyboard is the program's to answer; the runner stays to report.
    signal(SIGINT, SIG_IGN);
    signal(SIGQUIT, SIG_IGN);
    int status = 0;
    while (waitpid(program, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

std::string VerdictText(const RunReport& report) {
    return Formatted("{}, at {:.6f} s of virtual time", report.verdictText.data(),
                     static_cast<double>(report.virtualTimeNs) / 1e9);
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
        Say("the program never reached the board: is it linked statically?");
    }
    BoardFile now;
    std::string problem;
    if (!now.Attach(files.board.Number(), problem)) {
        Say(Formatted("the board {}", problem));
        return false;
    }
    const bool reported = files.summary.Report(status, report, now, problem);
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

}  // namespace

int Run(const RunOptions& options) {
    RunFiles files;
    std::string problem;
    const std::string library = FindLibrary(options).string();
    if (access(library.c_str(), R_OK) != 0) {
        Say(Formatted("the library '{}' is missing: it belongs beside the runner", library));
        return kExitOwnError;
    }
    std::vector<std::string> faults;
    if (!GatherFaults(options, faults, problem) || !KeepFaults(faults, files, problem) ||
        !OpenFiles(options, files, problem)) {
        Say(problem);
        return kExitOwnError;
    }
    const pid_t program = fork();
    if (program < 0) {
        Say(Formatted("no process for the program: {}", strerrordesc_np(errno)));
        return kExitOwnError;
    }
    if (program == 0) {
        BecomeProgram(options, files, library);
    }
    const int status = WaitFor(program);
    files.outputs.EndTranscript(*files.memory, status);
    if (files.reportMemory->verdict != static_cast<std::uint32_t>(Verdict::kNone)) {
        Say(VerdictText(*files.reportMemory));
    }
    const bool started = !WIFEXITED(status) || (WEXITSTATUS(status) != kExitNotFound &&
                                                WEXITSTATUS(status) != kExitCannotExecute);
    const std::vector<std::string> losses = files.outputs.Losses(*files.reportMemory);
    std::for_each(losses.begin(), losses.end(), Say);
    bool complete = losses.empty();
    if (started) {
        complete = Summarize(options, files, status) && complete;
    }
    if (status != 0 && started && (!faults.empty() || options.noiseRate > 0)) {
        Say(Formatted("replay: {}", ReplayLine(options, faults)));
    }
    if (!complete) {
        return kExitOwnError;
    }
    return WIFSIGNALED(status) ? kExitSignalBase + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace vboard
