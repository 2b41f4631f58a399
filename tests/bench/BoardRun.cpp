// SPDX-License-Identifier: MIT
#include "tests/bench/BoardRun.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "tests/bench/HostCalls.h"
#include "vboard/board/StartState.h"
#include "vboard/chip/EraseMargins.h"
#include "vboard/faults/FaultPlan.h"
#include "vboard/faults/FaultPlanParser.h"
#include "vboard/record/Transcript.h"
#include "vboard/text/Format.h"

namespace bench {
namespace {

using std::chrono_literals::operator""s;

constexpr vboard::Duration kTimeLimit = 100'000s;
constexpr int kExitSignalBase = 128;

/// Ends the child where the world outside would.
class Executioner : public vboard::ProgramControl {
public:
    explicit Executioner(Record& record) : m_record(record) {}
    /// `transcript` may be nullptr.
    void Connect(vboard::Board* board, vboard::Transcript* transcript) {
        m_board = board;
        m_transcript = transcript;
    }

    /// By itself, or by the board for a reason.
    [[noreturn]] void Leave(End end, std::string_view verdict) {
        if (end != End::kItself && m_transcript != nullptr) {
            m_transcript->OnNote("verdict", verdict);
        }
        m_record.verdict = {};
        verdict.copy(m_record.verdict.data(), m_record.verdict.size() - 1);
        m_record.endNs = m_board->Clock().Now().time_since_epoch().count();
        m_record.end = end;
        m_board->Clock().SetLimit(vboard::Instant::max(), {});
        m_board->Settle();
        m_record.state = m_board->State();
        if (m_transcript != nullptr) {
            m_transcript->Finish();
        }
        _exit(0);
    }
    void Kill() override { Leave(End::kKilled, "killed at an ordered fault"); }
    void WaitsForEver(std::string_view call, std::string_view path,
                      std::string_view awaited) override {
        Leave(awaited.find("ordered") == std::string_view::npos ? End::kForEver : End::kHeldByOrder,
              vboard::Formatted("would wait for ever in {}{}{} for {}", call,
                                path.empty() ? "" : " of ", path, awaited));
    }

private:
    Record& m_record;
    vboard::Board* m_board = nullptr;
    vboard::Transcript* m_transcript = nullptr;
};

/// A plan of faults, with a look at when it strikes first and at what goes by.
class Watch : public vboard::FaultPlan {
public:
    Watch(std::vector<vboard::FaultRule> rules, const vboard::FaultNames& names, Record& record)
        : FaultPlan(std::move(rules), names), m_record(record) {}

    void Begin(vboard::VirtualClock& clock, vboard::Probe& probe,
               vboard::FaultControl& control) override {
        m_clock = &clock;
        FaultPlan::Begin(clock, probe, control);
    }
    vboard::CallFault FaultOfCall(vboard::CallKind kind, std::string_view path,
                                  std::size_t size) override {
        return Looked(FaultPlan::FaultOfCall(kind, path, size));
    }
    vboard::CharacterFault FaultOfCharacter(bool toChip, std::uint8_t value) override {
        ++(toChip ? counts.charactersToChip : counts.charactersToHost);
        return Looked(FaultPlan::FaultOfCharacter(toChip, value));
    }
    vboard::AnswerFault FaultOfAnswer(std::uint8_t command, std::uint16_t address,
                                      std::span<const std::uint8_t> answer) override {
        ++counts.answers;
        return Looked(FaultPlan::FaultOfAnswer(command, address, answer));
    }
    bool EdgeArrives(std::string_view line, bool high) override {
        constexpr std::array<std::string_view, 3> kLines{"reset_gpio", "rxd_nmi_gpio",
                                                         "msp_tck_gpio"};
        const auto* found = std::find(kLines.begin(), kLines.end(), line);
        ++counts.edges.at(static_cast<std::size_t>(found - kLines.begin()));
        return Looked(FaultPlan::EdgeArrives(line, high));
    }

    Counts counts;

private:
    template <class Result>
    Result Looked(Result result) {
        if (m_record.struckNs < 0 && Strikes() > 0) {
            m_record.struckNs = m_clock->Now().time_since_epoch().count();
        }
        return result;
    }

    Record& m_record;
    vboard::VirtualClock* m_clock = nullptr;
};

std::vector<vboard::FaultRule> RulesOf(const std::vector<std::string>& texts) {
    std::vector<vboard::FaultRule> rules;
    for (const std::string& text : texts) {
        vboard::FaultRule rule;
        std::string problem;
        if (!vboard::ParseFaultRule(text, rule, problem)) {
            throw std::logic_error(problem);
        }
        rules.push_back(rule);
    }
    return rules;
}

}  // namespace

BoardRun::BoardRun(const std::vector<std::string>& settings, Record& record) : m_record(record) {
    std::string problem;
    for (const std::string& setting : settings) {
        const std::size_t equals = setting.find('=');
        if (!m_setup.Set(setting.substr(0, equals), setting.substr(equals + 1), problem)) {
            throw std::logic_error(problem);
        }
    }
    Renew();
}

void BoardRun::Renew() {
    m_record = Record();
    std::string problem;
    if (!vboard::FillMemory(m_setup, nullptr, m_record.memory, problem)) {
        throw std::logic_error(problem);
    }
    m_record.state = vboard::StateAtStart(m_setup, m_record.memory);
}

/// What is thrown ends the child: behind it lies the parent's work.
void BoardRun::RunInChild(const Program& program, const Faults& faults,
                          const Writings& writings) noexcept {
    Executioner executioner(m_record);
    Watch plan(RulesOf(faults.rules), {m_setup.PortPath(), m_setup.CommPath()}, m_record);
    if (faults.noiseRate > 0) {
        plan.SetNoise(vboard::NoiseSource(faults.noiseRate, faults.noiseSeed));
    }
    if (writings.calls != nullptr) {
        plan.SetCallLine([&writings](std::string_view line) {
            writings.calls->Append(line);
            writings.calls->Append("\n");
        });
    }
    vboard::Board board(m_setup, m_record.memory, m_record.eraseWords, plan, executioner,
                        vboard::Instant{});
    board.Restore(m_record.state);
    std::unique_ptr<vboard::Transcript> transcript;
    if (writings.transcript != nullptr) {
        transcript = std::make_unique<vboard::Transcript>(
            board.Clock(),
            [&writings](std::string_view lines) { writings.transcript->Append(lines); }, false);
        board.AddListener(*transcript);
    }
    executioner.Connect(&board, transcript.get());
    board.Clock().SetLimit(vboard::Instant{kTimeLimit}, [&executioner] {
        executioner.Leave(End::kTimeLimit, "still running at the time limit");
    });
    if (m_record.state.chip.mode == vboard::ChipMode::kUnpowered) {
        board.SetPower(true);
    }
    ConnectHost(&board.TheHost(), &executioner);
    m_record.exitStatus = program();
    executioner.Leave(End::kItself, {});
}

void BoardRun::Run(const Program& program, const Faults& faults, const Writings& writings) {
    m_record.end = End::kCrashed;
    m_record.struckNs = -1;
    std::fflush(stdout);  // The child must not say again what has been said.
    const pid_t child = fork();
    if (child == 0) {
        RunInChild(program, faults, writings);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0 || child < 0) {
        m_record.end = End::kCrashed;
        m_record.exitStatus =
            WIFSIGNALED(status) ? kExitSignalBase + WTERMSIG(status) : WEXITSTATUS(status);
    }
}

Counts BoardRun::RunHere(const Program& program) {
    Executioner executioner(m_record);
    Watch plan({}, {m_setup.PortPath(), m_setup.CommPath()}, m_record);
    plan.SetCallLine([&plan](std::string_view line) { plan.counts.calls.emplace_back(line); });
    vboard::Board board(m_setup, m_record.memory, m_record.eraseWords, plan, executioner,
                        vboard::Instant{});
    executioner.Connect(&board, nullptr);
    board.Restore(m_record.state);
    ConnectHost(&board.TheHost(), &executioner);
    static_cast<void>(program());
    ConnectHost(nullptr, nullptr);
    m_record.state = board.State();
    return plan.counts;
}

std::size_t BoardRun::WeakBytes() const {
    const vboard::Segments segments(m_setup.Part());
    const vboard::WeakBytes weak =
        vboard::EraseMargins(segments, m_record.eraseWords).Count(m_record.memory);
    return weak.erased + weak.programmed;
}

std::string BoardRun::LeftBehind() const {
    for (unsigned gpio = 0; gpio < vboard::kGpioCount; ++gpio) {
        const vboard::GpioState& state = m_record.state.gpios.at(gpio);
        if (state.exported || state.output) {
            return vboard::Formatted("line {} is left {}", gpio,
                                     state.exported ? "exported" : "driven");
        }
    }
    return m_record.state.tristate ? "the tristate switch is left on" : "";
}

}  // namespace bench
