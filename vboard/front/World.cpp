// SPDX-License-Identifier: MIT
#include "vboard/front/World.h"

#include <fmt/format.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "vboard/faults/FaultPlanParser.h"
#include "vboard/front/RealLibc.h"

namespace vboard {
namespace {

constexpr std::uint8_t kWriteCommand = 0x12;
constexpr std::uint8_t kAcknowledged = 0x90;

[[noreturn]] void Fail(std::string_view problem) {
    WriteAll(STDERR_FILENO, fmt::format("vboard: {}\n", problem));
    Real().quickExit(kExitOwnError);
    std::abort();
}

/// All of an inherited file, from its beginning: an earlier program of the run may have read it.
std::string ReadAll(int descriptor) {
    std::string text;
    std::array<char, 4096> part{};
    for (;;) {
        const ssize_t got =
            pread(descriptor, part.data(), part.size(), static_cast<off_t>(text.size()));
        if (got <= 0) {
            return text;
        }
        text.append(part.data(), static_cast<std::size_t>(got));
    }
}

}  // namespace

World* World::s_world = nullptr;

World* World::IfMade() {
    return s_world;
}

World* World::Get() {
    static bool looked = false;
    if (looked) {
        return s_world;
    }
    looked = true;
    const char* text = std::getenv(kSessionVariable);
    Session session;
    if (text == nullptr || !Session::Parse(text, session)) {
        return nullptr;
    }
    // Never destroyed: streams that the program left open are flushed after every destructor has
    // run.
    auto* world = new World;
    if (!world->Make(session)) {
        delete world;
        return nullptr;
    }
    s_world = world;
    return world;
}

bool World::Make(const Session& session) {
    std::string problem;
    if (!m_file.Attach(session.boardDescriptor, problem)) {
        Fail(fmt::format("the board {}", problem));
    }
    void* report = mmap(nullptr, sizeof(RunReport), PROT_READ | PROT_WRITE, MAP_SHARED,
                        session.reportDescriptor, 0);
    if (report == MAP_FAILED) {
        Fail("the run's report can't be mapped");
    }
    m_report = static_cast<RunReport*>(report);
    ++m_report->worlds;
    m_process = getpid();
    const Instant start{Duration{m_report->boardTimeNs}};
    OrderFaults(session);
    m_board = std::make_unique<Board>(m_file.Setup(), m_file.ChipMemory(), *m_faults, *this, start);
    m_recordings = std::make_unique<Recordings>(session, *m_board, m_report->worlds == 1);
    m_board->Restore(m_file.State());
    m_recordings->Begin();
    m_board->AddListener(*this);
    if (session.transcriptDescriptor >= 0) {
        const int descriptor = session.transcriptDescriptor;
        m_transcript = std::make_unique<Transcript>(
            m_board->Clock(), [descriptor](std::string_view lines) { WriteAll(descriptor, lines); },
            session.pace > 0);
        m_board->AddListener(*m_transcript);
    }
    if (session.pace > 0) {
        m_pacer = std::make_unique<RealTimePacer>(session.pace, start.time_since_epoch());
        m_board->Clock().SetPacer(m_pacer.get());
    }
    if (session.limitNs > 0) {
        m_board->Clock().SetLimit(Instant{Duration{session.limitNs}}, [this] {
            EndProgram(Verdict::kTimeLimit, "still running at the time limit");
        });
    }
    m_made = true;
    if (m_report->worlds == 1 && m_file.State().chip.mode == ChipMode::kUnpowered) {
        // A cut of the supply is an event of the run that ordered it: the next finds it back.
        m_board->SetPower(true);
    }
    return true;
}

void World::OrderFaults(const Session& session) {
    std::vector<FaultRule> rules;
    std::string problem;
    if (session.faultsDescriptor >= 0 &&
        !ParseFaultPlan(ReadAll(session.faultsDescriptor), rules, problem)) {
        Fail(problem);
    }
    if (rules.empty() && session.noiseRate <= 0 && session.callsDescriptor < 0) {
        m_faults = std::make_unique<Faults>();
        return;
    }
    const FaultNames names{m_file.Setup().PortPath(), m_file.Setup().CommPath()};
    auto plan = std::make_unique<FaultPlan>(std::move(rules), names);
    if (session.noiseRate > 0) {
        plan->SetNoise(NoiseSource(session.noiseRate, session.noiseSeed));
    }
    if (session.callsDescriptor >= 0) {
        m_calls = std::make_unique<LineFile>(session.callsDescriptor);
        plan->SetCallLine([this](std::string_view line) { m_calls->Add(line); });
    }
    m_faults = std::move(plan);
}

void World::Keep() {
    m_file.Store(m_board->State());
    m_report->boardTimeNs = m_board->Clock().Now().time_since_epoch().count();
    m_report->virtualTimeNs = m_report->boardTimeNs;
}

void World::OnSignal(Signal signal, std::uint32_t /*value*/) {
    // What the loader is doing at this moment is not kept; everything else may change what is.
    if (m_made && signal != Signal::kLoaderState && signal != Signal::kChipBusy) {
        m_file.Store(m_board->State());
    }
}

void World::OnCall(const HostCall& /*call*/) {
    Keep();
}

void World::OnLoaderCommand(const LoaderCommand& command) {
    if (command.command == kWriteCommand && command.answer == kAcknowledged) {
        m_report->bytesProgrammed += command.lengthBytes;
        ++m_report->blocksProgrammed;
    }
}

void World::End() {
    if (m_ended || getpid() != m_process) {
        return;
    }
    m_ended = true;
    const std::int64_t endNs = m_board->Clock().Now().time_since_epoch().count();
    m_recordings->ProgramEnded();
    m_board->Clock().SetPacer(nullptr);
    m_board->Clock().SetLimit(Instant::max(), {});
    m_board->Settle();
    Keep();
    m_report->virtualTimeNs = endNs;
    if (m_transcript) {
        m_transcript->Finish();
    }
    if (m_calls) {
        m_calls->HandOn();
    }
    m_recordings->Finish();
}

void World::EndProgram(Verdict verdict, std::string_view text) {
    m_report->verdict = static_cast<std::uint32_t>(verdict);
    const std::size_t length = std::min(text.size(), m_report->verdictText.size() - 1);
    std::copy_n(text.begin(), length, m_report->verdictText.begin());
    m_report->verdictText.at(length) = '\0';
    m_report->virtualTimeNs = m_board->Clock().Now().time_since_epoch().count();
    if (verdict == Verdict::kKilled) {
        // As with a real kill, what the program had only buffered is lost.
        End();
        static_cast<void>(kill(getpid(), SIGKILL));
    }
    End();
    // What the program has said so far is for people to read; what it has buffered for the board
    // would never have been written.
    m_over = true;
    std::fflush(nullptr);
    Real().quickExit(kExitWaitsForEver);
    std::abort();
}

void World::Kill() {
    EndProgram(Verdict::kKilled, "killed at an ordered fault");
}

void World::WaitsForEver(std::string_view call, std::string_view path, std::string_view awaited) {
    EndProgram(Verdict::kStuck, fmt::format("would wait for ever in {}{}{} for {}", call,
                                            path.empty() ? "" : " of ", path, awaited));
}

}  // namespace vboard

namespace {
// Runs at exit() and at the return of main.
__attribute__((destructor)) void EndOfProgram() {
    if (vboard::World* world = vboard::World::IfMade()) {
        world->End();
    }
}
}  // namespace
