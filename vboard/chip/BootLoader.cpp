// SPDX-License-Identifier: MIT
#include "vboard/chip/BootLoader.h"

#include <array>
#include <utility>

#include "vboard/chip/CommandWords.h"
#include "vboard/probe/LoaderCodes.h"
#include "vboard/text/Format.h"

namespace vboard {
namespace {

constexpr std::size_t kDataFrameHeadBytes = 4;
constexpr std::size_t kMaxAnswerBytes = kDataFrameHeadBytes + kMaxBlockBytes + kChecksumBytes;

// 80 00 L1 L2 data… CKL CKH: the loader's own frames carry no address.
void PutDataFrame(std::span<const std::uint8_t> data, std::vector<std::uint8_t>& out) {
    const auto length = static_cast<std::uint8_t>(data.size());
    const std::array<std::uint8_t, kDataFrameHeadBytes> head{kFrameHeader, 0x00, length, length};
    out.assign(head.begin(), head.end());
    out.insert(out.end(), data.begin(), data.end());
    const FrameChecksum sum = ChecksumOf(out);
    out.push_back(sum.low);
    out.push_back(sum.high);
}

}  // namespace

BootLoader::BootLoader(VirtualClock& clock, Probe& probe, Faults& faults, const ChipModel& model,
                       const ChipOptions& options, Flash& flash, Jump jump)
    : m_clock(clock),
      m_probe(probe),
      m_faults(faults),
      m_flash(flash),
      m_jump(std::move(jump)),
      m_answerDelay(options.loaderAnswer),
      m_silent(options.silent),
      m_commands(model, options, flash),
      m_stateSignal(probe, Signal::kLoaderState),
      m_lockedSignal(probe, Signal::kLoaderLocked),
      m_busySignal(probe, Signal::kChipBusy) {
    m_answer.reserve(kMaxAnswerBytes);
}

BootLoader::~BootLoader() {
    m_clock.Cancel(m_ticket);
}

void BootLoader::Enter() {
    Listen(LoaderState::kSync);
}

void BootLoader::Leave() {
    m_clock.Cancel(m_ticket);
    if (m_state == LoaderState::kAnswering && m_sink != nullptr) {
        m_sink->Stop();
    }
    m_flash.Abort(m_clock.Now() - m_workStart);
    m_commands.Enter(false);
    m_format = SerialFormat{};
    m_busySignal.Set(0);
    m_lockedSignal.Set(1);
    SetState(LoaderState::kOff);
}

void BootLoader::Restore(bool running, bool unlocked) {
    m_clock.Cancel(m_ticket);
    m_flash.Drop();
    m_commands.Enter(running && unlocked);
    m_format = SerialFormat{};
    m_state = running ? LoaderState::kSync : LoaderState::kOff;
    m_hearsSince = Instant::min();
    m_stateSignal.Announce(static_cast<std::uint32_t>(m_state));
    m_lockedSignal.Announce(m_commands.Unlocked() ? 0 : 1);
    m_busySignal.Announce(0);
}

// A step is kept beside the action, which so stays small enough to need no allocation.
void BootLoader::After(Duration delay, Step step) {
    if (delay <= Duration::zero()) {
        (this->*step)();
        return;
    }
    m_step = step;
    m_ticket = m_clock.After(delay, [this] { (this->*m_step)(); });
}

void BootLoader::SetState(LoaderState state) {
    m_state = state;
    m_stateSignal.Set(static_cast<std::uint32_t>(state));
}

void BootLoader::Listen(LoaderState state) {
    m_decoder.Reset();
    m_hearsSince = m_clock.Now();
    SetState(state);
}

bool BootLoader::Hears(const ReceivedCharacter& character) const {
    return (m_state == LoaderState::kSync || m_state == LoaderState::kFrame) &&
           character.start >= m_hearsSince;
}

void BootLoader::Receive(const ReceivedCharacter& character) {
    if (m_state == LoaderState::kOff) {
        NoteCharacter(character, "lost: the loader does not run");
    } else if (!m_commands.BitsPerSecond()) {
        NoteCharacter(character, "lost: the loader's clock does not fit its speed");
    } else if (!Hears(character)) {
        NoteCharacter(character, "lost: the loader was busy or answering");
    } else if (m_state == LoaderState::kSync) {
        TakeSync(character);
    } else {
        TakeFrameCharacter(character);
    }
}

void BootLoader::TakeSync(const ReceivedCharacter& character) {
    if (character.parityError || character.framingError) {
        NoteCharacter(character, "damaged in place of a sync: not answered");
        return;
    }
    if (character.value != kSyncByte) {
        NoteCharacter(character, "ignored: no sync");
        return;
    }
    m_frame = {kSyncByte, 0, 0, {}};
    m_result = {};
    m_result.after = LoaderCommands::After::kFrame;
    Answer();
}

void BootLoader::TakeFrameCharacter(const ReceivedCharacter& character) {
    switch (m_decoder.Take(character)) {
        case FrameDecoder::Status::kIncomplete:
            return;
        case FrameDecoder::Status::kWhole:
            TakeFrame();
            return;
        case FrameDecoder::Status::kDefect:
            RefuseFrame();
            return;
    }
}

void BootLoader::TakeFrame() {
    m_frame = m_decoder.Taken();
    m_result = m_commands.Execute(m_frame);
    m_lockedSignal.Set(m_commands.Unlocked() ? 0 : 1);
    if (!m_result.works) {
        Answer();
        return;
    }
    SetState(LoaderState::kWorking);
    m_busySignal.Set(m_result.workTime > Duration::zero() ? 1 : 0);
    m_workStart = m_clock.Now();
    After(m_result.workTime, &BootLoader::EndWork);
}

void BootLoader::RefuseFrame() {
    m_frame = m_decoder.Taken();
    m_result = {};
    m_result.answer = kNakByte;
    m_result.refusal = DefectWords(m_decoder.WhatIsWrong());
    Answer();
}

void BootLoader::EndWork() {
    m_result = m_commands.Finish(m_result);
    m_busySignal.Set(0);
    Answer();
}

void BootLoader::Answer() {
    PrepareAnswer();
    const AnswerFault fault = m_faults.FaultOfAnswer(m_frame.command, m_frame.address, m_answer);
    ApplyFault(fault);
    const Duration delay =
        m_answerDelay + (fault.kind == AnswerFault::Kind::kLate ? fault.delay : Duration::zero());
    if (delay > Duration::zero()) {
        SetState(LoaderState::kWorking);
    }
    After(delay, &BootLoader::SendAnswer);
}

void BootLoader::PrepareAnswer() {
    if (m_result.data.empty()) {
        m_answer.assign(1, m_result.answer);
    } else {
        PutDataFrame(m_result.data, m_answer);
        m_result.answer = m_answer.front();
    }
}

void BootLoader::ApplyFault(const AnswerFault& fault) {
    if (fault.kind == AnswerFault::Kind::kReplaced) {
        m_answer.assign(fault.bytes.begin(), fault.bytes.end());
    } else if (fault.kind == AnswerFault::Kind::kPreceded) {
        m_answer.insert(m_answer.begin(), fault.bytes.begin(), fault.bytes.end());
    }
}

void BootLoader::SendAnswer() {
    AnnounceCommand();
    if (m_silent || m_answer.empty()) {
        EndAnswer();
        return;
    }
    SetState(LoaderState::kAnswering);
    const auto count = static_cast<Duration::rep>(m_answer.size());
    After(count * m_format.CharacterTime(), &BootLoader::EndAnswer);
    if (m_sink != nullptr) {
        for (const std::uint8_t value : m_answer) {
            m_sink->Send(value, m_format);
        }
    }
}

void BootLoader::EndAnswer() {
    switch (m_result.after) {
        case LoaderCommands::After::kFrame:
            Listen(LoaderState::kFrame);
            return;
        case LoaderCommands::After::kSync:
            Listen(LoaderState::kSync);
            return;
        case LoaderCommands::After::kNewSpeed:
            SetState(LoaderState::kWorking);
            After(kChangeSpeedTime, &BootLoader::ChangeSpeed);
            return;
        case LoaderCommands::After::kJump:
            m_jump(m_commands.JumpsToFirmware());
            return;
    }
}

void BootLoader::ChangeSpeed() {
    m_format.bitsPerSecond = m_commands.BitsPerSecond().value_or(m_format.bitsPerSecond);
    Listen(LoaderState::kSync);
}

void BootLoader::UpdateMemory() {
    m_flash.Progress(m_clock.Now() - m_workStart);
}

void BootLoader::AnnounceCommand() {
    LoaderCommand command{
        m_frame.command, m_frame.address, m_frame.lengthField, m_result.answer, {}};
    if (!m_probe.Listening()) {
        m_probe.OnLoaderCommand(command);
        return;
    }
    std::string words;
    if (m_result.after == LoaderCommands::After::kFrame) {
        command.words = "sync";
    } else if (m_decoder.WhatIsWrong() != FrameDecoder::Defect::kNone) {
        command.words = m_result.refusal;
    } else {
        words = CommandWords(m_frame, m_result.refusal);
        command.words = words;
    }
    m_probe.OnLoaderCommand(command);
}

void BootLoader::NoteCharacter(const ReceivedCharacter& character, std::string_view what) {
    if (m_probe.Listening()) {
        m_probe.OnNote("chip", Formatted("character {:#04x} {}", character.value, what));
    }
}

}  // namespace vboard
