// SPDX-License-Identifier: MIT
#include "vboard/process/World.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "vboard/faults/FaultPlanParser.h"
#include "vboard/probe/LoaderCodes.h"
#include "vboard/process/BoardTurn.h"
#include "vboard/process/ProgramTime.h"
#include "vboard/process/RealLibc.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

/// All of an inherited file, from its beginning: an earlier program of the run may have read it.
std::string ReadAll(int descriptor) {
    std::string text;
    std::array<char, 4096> part{};
    for (;;) {
        const ssize_t got =
            Real().pread(descriptor, part.data(), part.size(), static_cast<off_t>(text.size()));
        if (got <= 0) {
            return text;
        }
        text.append(part.data(), static_cast<std::size_t>(got));
    }
}

}  // namespace

World* World::s_world = nullptr;

namespace {
/// The date of a board begins in 2024, and its nanoseconds since 1970 have 63 bits.
constexpr Instant kLastInstant{std::chrono::seconds{7'500'000'000}};
}  // namespace

World* World::IfMade() {
    return s_world;
}

World* World::Get() {
    RunLink* link = RunLink::Get();
    const BoardTurn turn;
    if (s_world == nullptr && link != nullptr) {
        // Never destroyed: streams that the program left open are flushed after every destructor
        // has run.
        auto* world = new World(*link);
        world->Make();
        s_world = world;
    }
    return s_world;
}

void World::Make() {
    const Session& session = m_link.TheSession();
    std::string problem;
    if (!m_file.Attach(session.boardDescriptor, problem)) {
        FailRun(Formatted("the board {}", problem));
    }
    m_report = &m_link.Memory().report;
    const bool isFirst = std::atomic_ref(m_report->worlds).fetch_add(1) == 0;
    m_process = getpid();
    m_report->owner = m_process;
    m_lastUse = m_report->CountUse();
    const Instant start{Duration{m_report->boardTimeNs}};
    if (m_link.OwnTime() < start) {
        m_behind = m_link.OwnTime();
    }
    OrderFaults(session);
    m_board = std::make_unique<Board>(m_file.Setup(), m_file.ChipMemory(), m_file.ChipEraseWords(),
                                      *m_faults, *this, start);
    m_recordings = std::make_unique<Recordings>(m_link, *m_board, isFirst);
    m_board->Restore(m_file.State());
    m_recordings->Begin();
    m_board->AddListener(*this);
    Record(session);
    if (session.pace > 0) {
        m_pacer = std::make_unique<RealTimePacer>(session.pace, start.time_since_epoch());
        m_board->Clock().SetPacer(m_pacer.get());
    }
    m_board->Clock().SetSharers(&BoardTurn::Sharers());
    if (session.limitNs > 0) {
        m_board->Clock().SetLimit(Instant{Duration{session.limitNs}}, [this] {
            EndProgram(Verdict::kTimeLimit, "still running at the time limit");
        });
    }
    m_made = true;
    if (isFirst && m_file.State().chip.mode == ChipMode::kUnpowered) {
        // A cut of the supply is an event of the run that ordered it: the next finds it back.
        m_board->SetPower(true);
    }
    static_cast<void>(pthread_atfork(BeforeFork, AfterForkInParent, AfterForkInChild));
    static_cast<void>(at_quick_exit(EndIfMade));
}

void World::Record(const Session& session) {
    if (session.outputDescriptors[Output::kTranscript] < 0) {
        return;
    }
    const auto write = m_link.WriterOf(Output::kTranscript);
    HeldText& held = m_link.Memory().transcript;
    const bool watched = session.pace > 0;
    const auto keep = [&held, write, watched](std::string_view lines) {
        held.Append(lines, write);
        if (watched) {
            held.HandOn(write);
        }
    };
    m_transcript = std::make_unique<Transcript>(m_board->Clock(), keep, true);
    m_board->AddListener(*m_transcript);
}

void World::TakeTurn() {
    if (m_report->over != 0) {
        FailRun("the run has ended, and a program that it left behind has no board any more");
    }
    if (m_report->owner != m_process && m_report->uses != m_lastUse) {
        Follow();
    }
    m_report->owner = m_process;
    m_lastUse = m_report->CountUse();
    const Pacer* pacer = m_pacer.get();
    if (pacer != nullptr && !BoardTurn::IsAlone()) {
        // Another thread has had its time meanwhile.
        const Instant now{pacer->Now()};
        m_board->Clock().SkipTo(std::min(now, m_board->Clock().NextAction().value_or(now)));
    }
}

/// Another program has used the board since this one did. After a fork each of the two has the same
/// characters on its way: they belong to the one that goes on first.
void World::Follow() {
    const Instant reached{Duration{m_report->boardTimeNs}};
    const bool isIdle = !m_board->Clock().NextAction().has_value();
    if (isIdle && reached == m_board->Clock().Now() && m_file.IsCurrent()) {
        return;
    }
    std::string problem;
    if (!m_file.Reload(problem)) {
        FailRun(Formatted("the board {}", problem));
    }
    m_board->Forget(reached, m_hasForked);
    m_made = false;
    m_board->Restore(m_file.State());
    m_made = true;
}

Duration World::Pause(Duration length) {
    // From the program's own time on: others may have let theirs pass at the same time.
    const Instant begin = Now();
    const Instant end = EndOf(begin, length);
    Host& host = TheHost();
    const Duration rest = std::max(Duration::zero(), end - Now());
    const Duration possible = std::min(rest, kLastInstant - Now());
    const Duration left = host.Pause(possible);
    if (end < Now()) {
        m_behind = end;
    }
    Keep();
    if (possible < rest && left == Duration::zero()) {
        WaitsForEver("a pause", {}, "a time after the year 2261");
    }
    return left;
}

Instant World::AskTime() {
    const Instant now = Now();
    if (m_behind) {
        m_behind = now + kTimeOfAsking;
        return now;
    }
    if (m_report->owner == m_process || m_report->uses == m_lastUse) {
        return TheHost().AskTime();
    }
    // The time of its own, while another program has the board.
    m_board->Clock().SkipTo(now + kTimeOfAsking);
    return now;
}

void World::PassOutside(Instant end) {
    Host& host = TheHost();
    static_cast<void>(host);
    m_board->Clock().Pass(std::max(Duration::zero(), std::min(end, kLastInstant) - Now()));
    Keep();
}

void World::HearOfOthers() {
    m_behind.reset();
    m_board->Clock().SkipTo(Instant{Duration{m_report->boardTimeNs}});
}

void World::OrderFaults(const Session& session) {
    std::vector<FaultRule> rules;
    std::string problem;
    if (session.faultsDescriptor >= 0 &&
        !ParseFaultPlan(ReadAll(session.faultsDescriptor), rules, problem)) {
        FailRun(problem);
    }
    if (rules.empty() && session.noiseRate <= 0 && session.outputDescriptors[Output::kCalls] < 0) {
        m_faults = std::make_unique<Faults>();
        return;
    }
    const FaultNames names{m_file.Setup().PortPath(), m_file.Setup().CommPath()};
    auto plan = std::make_unique<FaultPlan>(std::move(rules), names);
    if (session.noiseRate > 0) {
        plan->SetNoise(NoiseSource(session.noiseRate, session.noiseSeed));
    }
    if (session.outputDescriptors[Output::kCalls] >= 0) {
        m_calls = std::make_unique<LineFile>(m_link.WriterOf(Output::kCalls));
        plan->SetCallLine([this](std::string_view line) { m_calls->Add(line); });
    }
    m_faults = std::move(plan);
}

void World::Keep() {
    m_file.Store(m_board->State());
    m_report->ReachTime(m_board->Clock().Now().time_since_epoch().count());
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
    if (command.command == kSyncByte) {
        return;
    }
    const bool written = command.command == kReceiveBlock && command.answer == kAckByte;
    const std::pair<unsigned, unsigned> block{command.address, command.lengthBytes};
    // A program that did not hear the answer sends the block again; it is the same one.
    if (written && m_lastBlock != block) {
        m_report->bytesProgrammed += command.lengthBytes;
        ++m_report->blocksProgrammed;
    }
    m_lastBlock = written ? std::optional(block) : std::nullopt;
}

void World::LetSettle() {
    const std::int64_t endNs =
        std::max(m_report->boardTimeNs, m_board->Clock().Now().time_since_epoch().count());
    m_board->Settle();
    Keep();
    m_report->virtualTimeNs = endNs;
}

void World::CompleteRecords() {
    if (m_transcript) {
        m_transcript->Finish();
    }
    if (m_calls) {
        m_calls->HandOn();
    }
}

void World::End() {
    if (m_ended || getpid() != m_process) {
        return;
    }
    m_ended = true;
    m_recordings->ProgramEnded();
    m_board->Clock().SetPacer(nullptr);
    m_board->Clock().SetSharers(nullptr);
    m_board->Clock().SetLimit(Instant::max(), {});
    if (m_report->owner == m_process) {
        LetSettle();
    }
    CompleteRecords();
    m_recordings->Finish();
}

void World::EndIfMade() {
    const BoardTurn turn;
    if (s_world != nullptr) {
        s_world->End();
    }
}

void World::GoOnIfMade() {
    if (s_world != nullptr && getpid() == s_world->m_process) {
        s_world->m_ended = false;
    }
}

void World::BeforeFork() {
    BoardTurn::Take();  // The child gets a board that is in nobody's hands.
    if (s_world->m_report->owner == s_world->m_process) {
        s_world->Keep();
    }
    s_world->CompleteRecords();
}

void World::AfterForkInParent() {
    s_world->m_hasForked = true;
    BoardTurn::GiveBack();
}

void World::AfterForkInChild() {
    BoardTurn::BeginAnew();
    s_world->m_process = getpid();
    s_world->m_hasForked = true;
}

void World::NoteVerdict(Verdict verdict, std::string_view text) {
    if (m_transcript) {
        m_transcript->OnNote("verdict", text);
    }
    m_report->virtualTimeNs = m_board->Clock().Now().time_since_epoch().count();
    if (m_report->verdict != static_cast<std::uint32_t>(Verdict::kNone)) {
        return;  // The first of a run stays.
    }
    m_report->verdict = static_cast<std::uint32_t>(verdict);
    m_report->verdictTimeNs = m_report->virtualTimeNs;
    const std::size_t length = std::min(text.size(), m_report->verdictText.size() - 1);
    std::copy_n(text.begin(), length, m_report->verdictText.begin());
    m_report->verdictText[length] = '\0';
}

void World::EndProgram(Verdict verdict, std::string_view text) {
    NoteVerdict(verdict, text);
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
    Real()._exit(kExitWaitsForEver);
    std::abort();
}

void World::Kill() {
    EndProgram(Verdict::kKilled, "killed at an ordered fault");
}

void World::WaitsForEver(std::string_view call, std::string_view path, std::string_view awaited) {
    EndProgram(Verdict::kStuck, Formatted("would wait for ever in {}{}{} for {}", call,
                                          path.empty() ? "" : " of ", path, awaited));
}

}  // namespace vboard

namespace {
// Runs at exit() and at the return of main. What is left in a stream belongs to the program's run:
// libc would flush it when all is over.
__attribute__((destructor)) void EndOfProgram() {
    if (vboard::World::IfMade() != nullptr) {
        static_cast<void>(std::fflush(nullptr));
    }
    vboard::World::EndIfMade();
}
}  // namespace
