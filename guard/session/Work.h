// SPDX-License-Identifier: MIT
#pragma once

// The way to one chip for the length of a run: lines, port and loader, with what is announced and
// noted on the way. The steps of all commands are built on it.

#include <memory>
#include <string>

#include "guard/link/Lines.h"
#include "guard/link/PortLock.h"
#include "guard/link/Target.h"
#include "guard/loader/Loader.h"
#include "guard/session/Progress.h"
#include "guard/session/Request.h"

namespace guard {

/// How a step ended.
enum class Step : std::uint8_t {
    kDone,
    kAgain,    ///< Not done; a session from the beginning may do it.
    kNoChip,   ///< No entry was answered.
    kMissing,  ///< A device or a line is not there or refuses.
    kRefused,  ///< The chip must not be asked that way.
    kDiffers,  ///< Looked at, and not what it should be.
    kStopped   ///< A signal has come.
};

/// One run on one chip. Whatever it has taken is given back when it is destroyed.
class Work {
public:
    /// How often the way into the loader is tried.
    static constexpr int kEntries = 3;
    /// Sessions after the first.
    static constexpr int kReentries = 2;
    /// How long firmware that may be running is asked for its version.
    static constexpr Milliseconds kAskLimit{750};

    /// Both must outlive the work.
    Work(const Request& request, Progress& progress);

    /// The port for this run alone. Otherwise the verdict says kBusy or kDeviceMissing.
    [[nodiscard]] bool Lock();

    /// Ends the phase that goes on and begins another.
    void Begin(Phase phase, std::uint32_t totalBytes = 0);
    /// So many bytes of the phase are done, counted from its beginning.
    void Advance(std::uint32_t doneBytes) { m_progress.OnAdvance(doneBytes); }
    /// A line for people who want to know more.
    void Note(const std::string& text) { m_progress.OnNote(text); }

    /// Whether a signal asks for an end; kept in the verdict.
    [[nodiscard]] bool Stops();
    /// While held, no signal asks for an end.
    void HoldStops(bool hold) { m_holdsStops = hold; }

    /// The running firmware's version; nothing where it does not answer within `limit`, or the
    /// board has no way to ask.
    [[nodiscard]] std::optional<std::uint16_t> AskVersion(Duration limit);

    /// Into the loader, port open, first answer heard: kDone, kNoChip, kMissing or kStopped.
    [[nodiscard]] Step Enter();

    /// Sends the password and looks whether it has unlocked the loader, by reading what the boot
    /// ROM says of the chip. kDone; kDiffers for a wrong one; kAgain.
    [[nodiscard]] Step Unlock(const Password& password);
    /// Before a password is sent that may be wrong: kDone where that can do no harm or is allowed,
    /// else kRefused with the reason in the verdict; kAgain.
    [[nodiscard]] Step MaySendPassword();
    /// The speed that was asked for. kDone as well where the loader refuses it; kAgain where it can
    /// not be reached any more (and it is not tried again then).
    [[nodiscard]] Step SpeedUp();

    /// Whether the loader has an erase check.
    [[nodiscard]] bool HasEraseCheck() const;

    /// Lets go of everything, counts and times what is left, and announces the verdict.
    Verdict Finish();

    /// Says in the verdict how and why the run fails, in two clauses. What is said last stays.
    void Fail(Status status, std::string problem, std::string remedy);

    /// The parts of the work, for the steps that are built on it. They live as long as it does.
    [[nodiscard]] const Request& Asked() const { return m_request; }
    [[nodiscard]] const Board& TheBoard() const { return m_request.board; }
    [[nodiscard]] Verdict& TheVerdict() { return m_verdict; }
    [[nodiscard]] Lines& TheLines() { return m_lines; }
    [[nodiscard]] Port& ThePort() { return m_port; }
    [[nodiscard]] Loader& TheLoader() { return m_loader; }

private:
    void EndPhase();

    const Request& m_request;
    Progress& m_progress;
    Verdict m_verdict;
    PortLock m_lock;
    Target m_target;
    Lines m_lines;
    Port m_port;
    Exchange m_exchange;
    Loader m_loader;
    Duration m_begin;
    Duration m_phaseBegin;
    Phase m_phase = Phase::kCount;
    bool m_speedFails = false;
    bool m_holdsStops = false;
};

}  // namespace guard
