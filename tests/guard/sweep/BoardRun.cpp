// SPDX-License-Identifier: MIT
#include "tests/guard/sweep/BoardRun.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <new>
#include <stdexcept>
#include <utility>

#include "tests/guard/sweep/HostCalls.h"
#include "vboard/board/StartState.h"
#include "vboard/chip/EraseMargins.h"
#include "vboard/faults/FaultPlan.h"
#include "vboard/faults/FaultPlanParser.h"
#include "vboard/text/Format.h"

namespace guard_sweep {
namespace {

using std::chrono_literals::operator""s;

constexpr vboard::Duration kTimeLimit = 100'000s;

/// Says nothing to anybody.
class Silent : public guard::Progress {
public:
    void OnPhase(guard::Phase, std::uint32_t) override {}
    void OnAdvance(std::uint32_t) override {}
    void OnNote(std::string_view) override {}
    void OnFrame(bool, std::span<const std::uint8_t>) override {}
    void OnLog(std::string_view) override {}
    void OnVerdict(const guard::Verdict&) override {}
};

/// Ends the child where the world outside would.
class Executioner : public vboard::ProgramControl {
public:
    explicit Executioner(Shared& shared) : m_shared(shared) {}
    void Connect(vboard::Board* board) { m_board = board; }

    [[noreturn]] void Leave(End end) {
        m_shared.endNs = m_board->Clock().Now().time_since_epoch().count();
        m_shared.end = end;
        m_board->Clock().SetLimit(vboard::Instant::max(), {});
        m_board->Settle();
        m_shared.state = m_board->State();
        _exit(0);
    }
    void Kill() override { Leave(End::kKilled); }
    void WaitsForEver(std::string_view, std::string_view, std::string_view awaited) override {
        Leave(awaited.find("ordered") == std::string_view::npos ? End::kForEver
                                                                : End::kHeldByOrder);
    }

private:
    Shared& m_shared;
    vboard::Board* m_board = nullptr;
};

/// A plan of faults, with a look at when it strikes first and at what goes by.
class Watch : public vboard::FaultPlan {
public:
    Watch(std::vector<vboard::FaultRule> rules, const vboard::FaultNames& names, Shared& shared)
        : FaultPlan(std::move(rules), names), m_shared(shared) {}

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
        if (m_shared.struckNs < 0 && Strikes() > 0) {
            m_shared.struckNs = m_clock->Now().time_since_epoch().count();
        }
        return result;
    }

    Shared& m_shared;
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

BoardRun::BoardRun(const std::vector<std::string>& settings) {
    std::string problem;
    for (const std::string& setting : settings) {
        const std::size_t equals = setting.find('=');
        if (!m_setup.Set(setting.substr(0, equals), setting.substr(equals + 1), problem)) {
            throw std::logic_error(problem);
        }
    }
    void* memory =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::bad_alloc();
    }
    m_shared = new (memory) Shared;
    Renew();
}

BoardRun::~BoardRun() {
    munmap(m_shared, sizeof(Shared));
}

void BoardRun::Renew() {
    *m_shared = Shared();
    std::string problem;
    if (!vboard::FillMemory(m_setup, nullptr, m_shared->memory, problem)) {
        throw std::logic_error(problem);
    }
    m_shared->state = vboard::StateAtStart(m_setup, m_shared->memory);
}

void BoardRun::RunInChild(const Operation& operation, const Faults& faults) {
    Executioner executioner(*m_shared);
    Watch plan(RulesOf(faults.rules), {m_setup.PortPath(), m_setup.CommPath()}, *m_shared);
    if (faults.noiseRate > 0) {
        plan.SetNoise(vboard::NoiseSource(faults.noiseRate, faults.noiseSeed));
    }
    vboard::Board board(m_setup, m_shared->memory, m_shared->eraseWords, plan, executioner,
                        vboard::Instant{});
    executioner.Connect(&board);
    board.Restore(m_shared->state);
    board.Clock().SetLimit(vboard::Instant{kTimeLimit},
                           [&executioner] { executioner.Leave(End::kTimeLimit); });
    if (m_shared->state.chip.mode == vboard::ChipMode::kUnpowered) {
        board.SetPower(true);
    }
    ConnectHost(&board.TheHost());
    Silent nobody;
    const guard::Verdict verdict = operation(nobody);
    m_shared->status = verdict.status;
    m_shared->chip = verdict.chip;
    const std::size_t length = std::min(verdict.problem.size(), m_shared->problem.size() - 1);
    std::copy_n(verdict.problem.begin(), length, m_shared->problem.begin());
    executioner.Leave(End::kItself);
}

const Shared& BoardRun::Run(const Operation& operation, const Faults& faults) {
    m_shared->end = End::kCrashed;
    m_shared->problem = {};
    m_shared->struckNs = -1;
    const pid_t child = fork();
    if (child == 0) {
        RunInChild(operation, faults);
        _exit(1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0) {
        m_shared->end = End::kCrashed;
    }
    return *m_shared;
}

Counts BoardRun::Count(const Operation& operation) {
    Executioner executioner(*m_shared);
    Watch plan({}, {m_setup.PortPath(), m_setup.CommPath()}, *m_shared);
    plan.SetCallLine([&plan](std::string_view line) { plan.counts.calls.emplace_back(line); });
    vboard::Board board(m_setup, m_shared->memory, m_shared->eraseWords, plan, executioner,
                        vboard::Instant{});
    executioner.Connect(&board);
    board.Restore(m_shared->state);
    ConnectHost(&board.TheHost());
    Silent nobody;
    static_cast<void>(operation(nobody));
    ConnectHost(nullptr);
    m_shared->state = board.State();
    return plan.counts;
}

std::size_t BoardRun::WeakBytes() const {
    const vboard::Segments segments(m_setup.Part());
    const vboard::WeakBytes weak =
        vboard::EraseMargins(segments, m_shared->eraseWords).Count(m_shared->memory);
    return weak.erased + weak.programmed;
}

std::string BoardRun::LeftBehind() const {
    for (unsigned gpio = 0; gpio < vboard::kGpioCount; ++gpio) {
        const vboard::GpioState& state = m_shared->state.gpios.at(gpio);
        if (state.exported || state.output) {
            return vboard::Formatted("line {} is left {}", gpio,
                                     state.exported ? "exported" : "driven");
        }
    }
    return m_shared->state.tristate ? "the tristate switch is left on" : "";
}

}  // namespace guard_sweep
