// SPDX-License-Identifier: MIT
#pragma once

// The virtual board inside the program under test: made at the first call that needs it, ended when
// the program ends.

#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "vboard/board/Board.h"
#include "vboard/board/BoardFile.h"
#include "vboard/faults/FaultPlan.h"
#include "vboard/process/LineFile.h"
#include "vboard/process/RealTimePacer.h"
#include "vboard/process/Recordings.h"
#include "vboard/process/RunLink.h"
#include "vboard/record/Transcript.h"
#include "vboard/session/Session.h"
#include "vboard/time/MustHold.h"

namespace vboard {

class World : public ProgramControl, private Probe {
public:
    /// nullptr when the program was not started by the runner.
    [[nodiscard]] static World* Get();
    /// The world if it has been made already, else nullptr.
    [[nodiscard]] static World* IfMade();

    /// The host, for a call of the program: the board is brought up to date first if another
    /// program of the run has used it meanwhile.
    [[nodiscard]] Host& TheHost() {
        m_behind.reset();
        TakeTurn();
        return m_board->TheHost();
    }
    /// The program's time.
    [[nodiscard]] Instant Now() const { return m_behind.value_or(m_board->Clock().Now()); }
    /// Returns what is left of it when a signal ended it.
    Duration Pause(Duration length);
    /// The time for a program that asks for it, which takes a moment.
    Instant AskTime();
    /// The program has waited for something else until `end`: the board has seen the same time.
    void PassOutside(Instant end);
    /// The program has heard of what others of the run have done: their time is its own as well.
    void HearOfOthers();

    /// The run has been ended from outside the program: the board takes no more of its calls.
    [[nodiscard]] bool Over() const { return m_over; }

    /// The program is ending: lets the board settle, keeps its state, completes what is recorded.
    void End();
    static void EndIfMade();

    /// The program did not end after all: it could not become another one.
    static void GoOnIfMade();

    void Kill() override;
    void WaitsForEver(std::string_view call, std::string_view path,
                      std::string_view awaited) override;

private:
    explicit World(RunLink& link) : m_link(link) {}
    void Make();
    void Record(const Session& session);
    void OrderFaults(const Session& session);
    void TakeTurn();
    void Follow();
    void LetSettle();
    void CompleteRecords();
    static void BeforeFork();
    static void AfterForkInParent();
    static void AfterForkInChild();
    void NoteVerdict(Verdict verdict, std::string_view text);
    [[noreturn]] void EndProgram(Verdict verdict, std::string_view text);
    void Keep();

    void OnSignal(Signal signal, std::uint32_t value) override;
    void OnCall(const HostCall& call) override;
    void OnLoaderCommand(const LoaderCommand& command) override;

    static World* s_world;

    RunLink& m_link;
    std::uint64_t m_lastUse = 0;  ///< RunReport::uses, when this program last had the board.
    bool m_hasForked = false;
    /// The process's own time where the board's is later: others have let theirs pass at the same
    /// time. Until it uses the board or hears of them.
    std::optional<Instant> m_behind;
    int m_process = 0;  ///< What a vforked child does is not this world's.
    bool m_ended = false;
    bool m_made = false;
    bool m_over = false;
    std::unique_ptr<Faults> m_faults;
    std::unique_ptr<LineFile> m_calls;
    BoardFile m_file;
    RunReport* m_report = nullptr;
    std::optional<std::pair<unsigned, unsigned>> m_lastBlock;  ///< Address and length, if written.
    std::unique_ptr<Board> m_board;
    std::unique_ptr<Transcript> m_transcript;
    std::unique_ptr<Recordings> m_recordings;
    std::unique_ptr<RealTimePacer> m_pacer;
};

/// Whoever was waited for has had its time, and so has this program. Needs the turn, and a run.
inline void HearOfOthers() {
    TheRunLink().HearOfOthers();
    if (World* world = World::IfMade()) {
        world->HearOfOthers();
    }
}

/// The host of a world that is known to exist, because one of its files is open. Needs the turn.
[[nodiscard]] inline Host& TheHost() {
    World* world = World::IfMade();
    MustHold(world != nullptr, "a file of the board is open on a board that has been made");
    return world->TheHost();
}

}  // namespace vboard
