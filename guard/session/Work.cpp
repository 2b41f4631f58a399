// SPDX-License-Identifier: MIT
#include "guard/session/Work.h"

#include <utility>

#include "guard/link/StopRequest.h"
#include "guard/link/VersionQuery.h"
#include "guard/plan/Plan.h"

namespace guard {
namespace {

// SLAU319 2.4.4.7 and table 2-1; the two disagree about 1.50 to 1.59, whose refusal is taken for an
// answer that has to be looked for by reading. Loaders 2.x have neither command.
constexpr std::uint16_t kFirstWithCommands = 0x0150;
constexpr std::uint16_t kFirstWithKey = 0x0200;

constexpr const char* kInterruptedBy = "interrupted by signal ";

bool HasNewCommands(const LoaderIdentity& loader) {
    return loader.loaderVersion >= kFirstWithCommands && loader.loaderVersion < kFirstWithKey;
}

}  // namespace

Work::Work(const Request& request, Progress& progress)
    : m_request(request),
      m_progress(progress),
      m_lock(request.lockFolder, request.board.port),
      m_target(request.board),
      m_lines(m_target),
      m_port(m_target),
      m_exchange(m_port,
                 [this](bool toChip, std::span<const std::uint8_t> bytes) {
                     m_progress.OnFrame(toChip, bytes);
                 }),
      m_loader(m_port, m_exchange),
      m_begin(Now()),
      m_phaseBegin(m_begin) {
    m_verdict.command = request.command;
    m_verdict.board = request.board.name;
    m_verdict.port = request.board.port;
    if (request.image) {
        m_verdict.imagePath = request.image->path;
        m_verdict.imageSha256 = request.image->sha256;
        m_verdict.imageVersion = request.image->version;
        m_verdict.imageBytes = static_cast<std::uint32_t>(request.image->memory.CoveredBytes());
    }
}

bool Work::Lock() {
    constexpr Milliseconds kBetweenTries{100};
    Begin(Phase::kLock);
    PortLock::Answer answer = m_lock.Take();
    for (Duration left = m_request.wait;
         answer == PortLock::Answer::kBusy && left > Duration::zero() && !Stops();
         left -= kBetweenTries) {
        Pause(kBetweenTries);
        answer = m_lock.Take();
    }
    switch (answer) {
        case PortLock::Answer::kHeld:
            return true;
        case PortLock::Answer::kBusy:
            if (Stops()) {
                Fail(Status::kInterrupted, kInterruptedBy + std::to_string(m_verdict.signal),
                     "run the same command again");
                return false;
            }
            Fail(Status::kBusy, "another run has the port " + m_request.board.port,
                 "wait for its end, or give --wait a time");
            return false;
        case PortLock::Answer::kNoFile:
            break;
    }
    Fail(Status::kDeviceMissing, "the lock file " + m_lock.Path() + " cannot be opened",
         "give --lock-folder a folder that can be written to");
    return false;
}

void Work::EndPhase() {
    const Duration now = Now();
    if (m_phase != Phase::kCount) {
        m_verdict.phaseNs.at(static_cast<std::size_t>(m_phase)) += (now - m_phaseBegin).count();
    }
    m_phaseBegin = now;
}

void Work::Begin(Phase phase, std::uint32_t totalBytes) {
    EndPhase();
    m_phase = phase;
    m_progress.OnPhase(phase, totalBytes);
}

bool Work::Stops() {
    if (m_verdict.signal == 0) {
        m_verdict.signal = StopSignal();
    }
    return m_verdict.signal != 0 && !m_holdsStops;
}

std::optional<std::uint16_t> Work::AskVersion(Duration limit) {
    const auto& device = m_request.board.communication;
    return device ? VersionQuery(*device).Ask(limit) : std::nullopt;
}

Step Work::Enter() {
    Begin(Phase::kEnter);
    if (m_verdict.chip == ChipState::kUntouched) {
        m_verdict.chip = ChipState::kAsItWas;
    }
    for (int entry = 0; entry < kEntries; ++entry) {
        if (Stops()) {
            return Step::kStopped;
        }
        ++m_verdict.entries;
        m_port.Close();
        if (!m_lines.EnterLoader()) {
            m_verdict.problem = m_lines.Problem();
            return Step::kMissing;
        }
        if (!m_port.Open()) {
            m_verdict.problem = "the port " + m_request.board.port + " cannot be opened and set";
            return Step::kMissing;
        }
        if (m_loader.Greets()) {
            return Step::kDone;
        }
        Note("the loader does not answer entry " + std::to_string(entry + 1) + " of " +
             std::to_string(kEntries));
    }
    m_verdict.problem = "no chip answers at " + m_request.board.port;
    return Step::kNoChip;
}

Step Work::Unlock(const Password& password) {
    // The acknowledge says nothing, and on some parts a refusal is all that a wrong one brings.
    const Answer taken = m_loader.SendPassword(password);
    if (taken != Answer::kAck && taken != Answer::kNak) {
        return Step::kAgain;
    }
    LoaderIdentity identity;
    switch (m_loader.ReadIdentity(identity)) {
        case Answer::kAck:
            m_verdict.loader = identity;
            return Step::kDone;
        case Answer::kNak:
            return Step::kDiffers;
        default:
            return Step::kAgain;
    }
}

Step Work::MaySendPassword() {
    if (m_request.mayErase) {
        return Step::kDone;
    }
    LoaderIdentity identity;
    const Answer answer = m_loader.AskIdentity(identity);
    if (answer == Answer::kAck) {
        m_verdict.loader = identity;
    }
    if (answer == Answer::kAck && HasNewCommands(identity)) {
        return Step::kDone;
    }
    if (answer != Answer::kAck && answer != Answer::kNak) {
        return Step::kAgain;
    }
    m_verdict.problem = answer == Answer::kAck
                            ? "on this part a wrong password erases the chip"
                            : "the loader does not say which part this is, and on some parts a "
                              "wrong password erases the chip";
    return Step::kRefused;
}

Step Work::SpeedUp() {
    if (!m_request.speed || m_speedFails) {
        return Step::kDone;
    }
    const std::string speed = std::to_string(m_request.speed->baud) + " baud";
    switch (m_loader.ChangeSpeed(*m_request.speed)) {
        case Answer::kAck:
            return Step::kDone;
        case Answer::kNak:
            m_speedFails = true;
            Note("the loader refuses " + speed + ": going on with 9600");
            return Step::kDone;
        default:
            m_speedFails = true;
            m_verdict.problem = "the loader does not answer at " + speed;
            Note(m_verdict.problem + ": back to 9600 and into it again");
            return Step::kAgain;
    }
}

bool Work::HasEraseCheck() const {
    return m_verdict.loader && HasNewCommands(*m_verdict.loader);
}

void Work::Fail(Status status, std::string problem, std::string remedy) {
    m_verdict.status = status;
    m_verdict.problem = std::move(problem);
    m_verdict.remedy = std::move(remedy);
}

Verdict Work::Finish() {
    Begin(Phase::kRelease);
    m_port.Close();
    if (!m_lines.Free()) {
        Note("not all lines could be given back: run 'flashguard release'");
    }
    EndPhase();
    const ExchangeCounts& counts = m_exchange.Counts();
    m_verdict.retries = counts.retries;
    m_verdict.refusals = counts.refusals;
    m_verdict.lineErrors = counts.lineErrors;
    m_verdict.totalNs = (Now() - m_begin).count();
    if (m_verdict.status == Status::kDone) {
        // What went wrong on the way, and was overcome.
        m_verdict.problem.clear();
    }
    m_progress.OnVerdict(m_verdict);
    return m_verdict;
}

}  // namespace guard
